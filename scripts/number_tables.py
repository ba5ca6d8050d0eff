"""What scripts/numbers puts into the pages: makes each table from what the programs print."""
import collections
import csv
import datetime
import functools
import json
import os
import pathlib
import random
import re
import resource
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FIRST_SEED = "1700000000"  # of the campaigns


def Fail(text):
    sys.exit(f"numbers: {text}")


class Tools:
    """The programs of a build, and what they print; each command is run once."""

    def __init__(self, build, is_short, campaigns):
        self.build = build
        self.is_short = is_short
        self.campaigns = campaigns  # one that was interrupted is continued

    def Path(self, program):
        path = self.build / program
        if not path.exists():
            Fail(f"{path} is missing; run: cmake --build {self.build}")
        return str(path)

    @functools.lru_cache(maxsize=None)
    def Run(self, *command, statuses=(0,)):
        """What a command prints, program of the build or script."""
        path = str(ROOT / command[0]) if "/" in command[0] else self.Path(command[0])
        run = subprocess.run([path, *command[1:]], stdout=subprocess.PIPE, text=True, cwd=ROOT)
        if run.returncode not in statuses:
            Fail(f"{' '.join(command)}: status {run.returncode}\n{run.stdout}")
        return run.stdout

    def Campaign(self, generator="lcg-16807"):
        folder = self.campaigns / generator
        size = ["-r", "4", "--quick"] if self.is_short else ["-r", "20"]
        self.Run("dcfsim-replicate", *size, "-s", FIRST_SEED, "-g", generator, str(folder))
        return folder

    @functools.lru_cache(maxsize=None)
    def WholeRun(self):
        """Processor time in s of the published experiment."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        with tempfile.TemporaryDirectory() as scratch:
            command = [self.Path("dcfsim")]
            if self.is_short:
                command = [self.Path("dcfsim-replicate"), "--quick", "--one", "1", scratch]
            subprocess.run(command, cwd=scratch, check=True, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)
        return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before

    def Machine(self):
        info = pathlib.Path("/proc/cpuinfo")
        model = re.search(r"model name\s*: (.*)", info.read_text() if info.exists() else "")
        cache = (self.build / "CMakeCache.txt").read_text()
        compiler = re.search(r"CMAKE_CXX_COMPILER:\w+=(.*)", cache)[1]
        version = subprocess.run([compiler, "-dumpfullversion", "-dumpversion"], text=True,
                                 check=True, stdout=subprocess.PIPE).stdout.split()[0]
        return (f"{model[1] if model else 'unknown processor'}, {os.cpu_count()} cores, "
                f"{os.path.basename(compiler)} {version}, {datetime.date.today()}")


def Table(head, rows):
    def Line(cells):
        return "".join(f"| {cell} " if cell != "" else "| " for cell in cells) + "|"

    return [Line(head), "|" + "---|" * len(head), *(Line(row) for row in rows)]


# --- what dcfsim-validate prints ----------------------------------------------------------------

Row = collections.namedtuple("Row", "theory simulation deviation tolerance")


def Sections(tools):
    """Its rows, by head and label."""
    sections = collections.defaultdict(dict)
    head = None
    for line in tools.Run("dcfsim-validate").splitlines():
        row = re.match(r"  (\S.*?) +([\d.]+) +([\d.]+) +([+-][\d.]+) %  \(([\d.]+) %\)$", line)
        if row:
            sections[head][row[1]] = Row(*(float(x) for x in row.groups()[1:]))
        elif line.endswith("tolerance"):
            head = re.split(r"  +", line)[0]
    return sections


def Alone(tools):
    rows = []
    for label, row in Sections(tools)["A pair that is alone, mean of five"].items():
        name = re.sub(r"(\d+ Mbit/s): mean delay, ticks", r"mean delay at \1, us", label)
        rows.append([name.replace(": ", ", "), f"{row.theory:#.5g}", f"{row.simulation:#.5g}",
                     f"{row.deviation:+.2f} %"])
    return Table(["", "theory", "simulation", "deviation"], rows)


def Delays(tools):
    rows = []
    for head, labels in Sections(tools).items():
        load = re.match(r"A pair that is alone, delays at (\d+) Mbit/s", head)
        if load:
            *quantiles, distance = labels.values()
            rows.append([load[1]] + [f"{value:.0f}" for row in quantiles for value in row[:2]] +
                        [f"{distance.deviation:.2f} %"])
    return Table(["Mbit/s", "p50, theory", "simulation", "p95, theory", "simulation",
                  "p99, theory", "simulation", "distance"], rows)


def CellSections(tools):
    sections = Sections(tools)
    return {n: sections[f"{n} saturated pairs in one cell"] for n in (2, 3, 4, 5)}


def Cells(tools):
    rows = []
    for pairs, labels in CellSections(tools).items():
        rate, hits = labels["fixed point: Mbit/s"], labels["fixed point: collisions"]
        rows.append([pairs, f"{rate.theory:.3f}", f"{rate.simulation:.3f}",
                     f"{rate.deviation:+.1f} %", f"{hits.theory:.4f}", f"{hits.simulation:.4f}",
                     f"{hits.deviation:+.1f} %"])
    return Table(["pairs", "throughput, theory", "simulation", "", "collisions, theory",
                  "simulation", ""], rows)


def Steps(tools):
    names = {"fixed point": "fixed point",
             "the same by slots": "1. its rules, played",
             "busy slots do not count": "2. a busy slot does not count",
             "colliders one tick late": "3. colliders come one tick late"}
    rows = []
    for label, name in names.items():
        sections = CellSections(tools).values()
        rows.append([name] + [f"{s[label + ': Mbit/s'].deviation:+.2f} %" for s in sections] +
                    [f"{s[label + ': collisions'].deviation:+.2f} %" for s in sections])
    return Table(["", "Mbit/s, n = 2", "3", "4", "5", "collisions, n = 2", "3", "4", "5"], rows)


def Twins(tools):
    rows = []
    for load in (10, 35):
        labels = Sections(tools)[f"The experiment at {load} Mbit/s, 40 seeds"]
        row = [f"{load} Mbit/s"]
        for name in ("flow 4 against flow 0: Mbit/s", "flow 3 against flow 1: Mbit/s"):
            twin = labels[name]
            row += [f"{twin.theory:.3f}", f"{twin.simulation:.3f}",
                    f"{twin.deviation:+.2f} % of +-{twin.tolerance:.2f} %"]
        rows.append(row)
    return Table(["load", "flow 0", "flow 4", "", "flow 1", "flow 3", ""], rows)


def Starving(tools):
    labels = Sections(tools)["The experiment at 35 Mbit/s, 40 seeds"]
    names = {"flow 1 in the common gaps of 0 and 2: Mbit/s":
             "flow 1, in the common gaps of flows 0 and 2",
             "flow 0, alone less flow 1: Mbit/s": "flow 0, alone less the exchanges of flow 1",
             "flow 2, alone less flows 1 and 3: Mbit/s": "flow 2, alone less those of flows 1 and 3"}
    rows = []
    for label, name in names.items():
        row = labels[label]
        rows.append([name, f"{row.theory:.2f}", f"{row.simulation:.2f}", f"{row.deviation:+.1f} %"])
    return Table(["at 35 Mbit/s", "theory", "simulation", "deviation"], rows)


def Seeds(tools):
    rows = []
    for line in tools.Run("dcfsim-validate", "--seeds").splitlines()[1:]:
        row = re.match(r"  (\S.*?)(?: ([\d.]+) s before)? +(-?[\d.]+) +(-?[\d.]+) *$", line)
        if row:
            rows.append([row[1], row[2] or "do not meet", row[3], row[4]])
    return Table(["trials", "apart, s", "arrivals", "total throughput"], rows)


# --- whole campaigns ----------------------------------------------------------------------------

def Differing(text):
    """How many tests dcfsim-compare made, and how many differ."""
    tests = re.search(r"^(\d+) tests\. (?:Nothing differs|(\d+))", text, re.MULTILINE)
    if not tests:
        Fail(f"dcfsim-compare says: {text}")
    return int(tests[1]), int(tests[2] or 0)


def Generators(tools):
    lcg, twister = tools.Campaign(), tools.Campaign("mt19937-64")
    with tempfile.NamedTemporaryFile() as file:
        said = tools.Run("dcfsim-compare", str(lcg), str(twister), "-o", file.name, statuses=(0, 1))
        with open(file.name, encoding="utf-8", newline="") as text:
            rows = [row for row in csv.DictReader(text) if row["p_holm"] != "nan"]
    tests, differing = Differing(said)
    chances = [float(row["p"]) for row in rows]
    total = min((row for row in rows if row["metric"] == "total_throughput"),
                key=lambda row: float(row["p"]))

    def Below(limit):
        return f"{100 * sum(p < limit for p in chances) / len(chances):.2g} %"

    def Times(folder):
        return [json.loads(file.read_text())["wall_time_s"]
                for file in folder.glob("seed-*/manifest.json")]

    lines = Table(["lcg-16807 against mt19937-64", ""], [
        ["replications", f"{len(Times(lcg))}, {len(Times(twister))}"], ["tests", f"{tests:,}"],
        ["significant after Holm's correction", differing],
        ["rows below 0.05, uncorrected", Below(0.05)],
        ["rows below 0.001, uncorrected", Below(0.001)],
        ["smallest p of the total throughput, uncorrected",
         f"{float(total['p']):.2g}, at {total['load_mbps']} Mbit/s"],
        ["the means there, Mbit/s",
         f"{float(total['mean_a']):.3f}, {float(total['mean_b']):.3f}"],
        ["seconds of a replication, one per core", 
         f"{statistics.mean(Times(lcg)):.1f}, {statistics.mean(Times(twister)):.1f}"]])
    found = [[row["thing"], row["metric"], row["load_mbps"], f"{float(row['mean_a']):.6g}",
              f"{float(row['mean_b']):.6g}", f"{float(row['p_holm']):.2g}"]
             for row in rows if row["differs"] == "yes"]
    if found:
        lines += [""] + Table(["significant", "quantity", "Mbit/s", "lcg-16807", "mt19937-64",
                               "p after Holm"], found)
    return lines + ["", tools.Machine()]


def Halves(tools):
    """Parts a campaign at random, and counts the partings that dcfsim-compare reports."""
    partings = 5 if tools.is_short else 150
    folders = sorted(tools.Campaign().glob("seed-*"))
    draw = random.Random(1)
    reported = tests = 0
    with tempfile.TemporaryDirectory() as scratch:
        for number in range(partings):
            draw.shuffle(folders)
            halves = [pathlib.Path(scratch, str(number), half) for half in "ab"]
            for place, half in enumerate(halves):
                half.mkdir(parents=True)
                for member in folders[place::2]:
                    (half / member.name).symlink_to(member.resolve())
            said = tools.Run("dcfsim-compare", *map(str, halves), statuses=(0, 1))
            tests, differing = Differing(said)
            reported += differing > 0
    return Table(["partings", "tests of each", "reported", "share", "expected at most"],
                 [[partings, f"{tests:,}", reported, f"{100 * reported / partings:.1f} %", "5 %"]])


def Peers(tools):
    with open(tools.Campaign() / "summary.csv", encoding="utf-8", newline="") as text:
        rows = [row for row in csv.DictReader(line for line in text if not line.startswith("#"))
                if row["file"] == "throughput.txt" and row["metric"] == "throughput"]

    def At35(*flows):
        values = [row for row in rows if row["load_mbps"] == "35" and row["thing"] in flows]
        half = max(float(row["half_width_95"]) for row in values)
        return f"{statistics.mean(float(row['mean']) for row in values):.2f} +- {half:.2f}"

    first = min((int(row["load_mbps"]) for row in rows if row["steady"] == "no"), default=0)
    return Table(["quantity", "dcfsim", "ns-3 3.37"], [
        ["saturated end flows, Mbit/s", At35("0", "4"), "27.1"],
        ["saturated middle flow, Mbit/s", At35("2"), "25.0"],
        ["saturated flows between, Mbit/s", At35("1", "3"), "3.1"],
        ["knee, Mbit/s per flow", f"between {first - 1} and {first}", "between 12 and 15"],
        ["processor time of 72 load points, s", f"{tools.WholeRun():.1f}", "1300 to 1500"],
    ]) + ["", tools.Machine()]


# --- how fast, and how well tested ----------------------------------------------------------------

def Speed(tools):
    repetitions = 1 if tools.is_short else 5
    said = json.loads(tools.Run(
        "dcfsim_bench", "--benchmark_filter=Figures", "--benchmark_format=json",
        f"--benchmark_repetitions={repetitions}"))
    runs = [run for run in said["benchmarks"] if run["run_type"] == "iteration"]

    def Median(counter):
        return statistics.median(run[counter] for run in runs)

    return Table(["figure", "value"], [
        ["plain ticking / fast", f"{Median('plain_per_fast'):.0f}"],
        ["fast / its random numbers drawn one by one", f"{Median('fast_per_textbook'):.2f}"],
        ["random stream in blocks / drawn one by one", f"{Median('stream_per_textbook'):.2f}"],
        ["ticks run per load point of 4e7, stations visited in each",
         f"{Median('event_ticks_per_load') / 1e6:.2f}e6, {Median('visits_per_event_tick'):.1f}"],
        ["resident memory, MB", f"{Median('resident_mb'):.0f}"],
        ["processor time of a whole run, s", f"{tools.WholeRun():.1f}"],
    ]) + ["", tools.Machine()]


def Page(tools):
    said = json.loads(tools.Run("scripts/page-figures.mjs", str(tools.build),
                                *(["--short"] if tools.is_short else [])))
    return Table(["figure", "value"], [
        ["the page, MB", f"{said['bytes'] / 1e6:.2f}"],
        ["first curve of the published experiment, s", f"{said['first_s']:.1f}"],
        ["all of it: 36 loads, 2 trials, s", f"{said['all_s']:.0f}"],
        ["all of it / `dcfsim-experiment`", f"{said['ratio']:.2f}"],
    ]) + ["", tools.Machine()]


def ReportRows(report, folders):
    """Counts of a table of gcovr, [items, reached] by folder; long names have a line of their own."""
    counts = {folder: [0, 0] for folder in folders}
    for name, items, reached in re.findall(r"^(\w+/\S+)\s+(\d+)\s+(\d+)\s+\d+%", report,
                                           re.MULTILINE):
        folder = name.split("/")[0] + "/"
        counts[folder][0] += int(items)
        counts[folder][1] += int(reached)
    return counts


def CoverageTable(text, folders):
    reports = text.split("GCC Code Coverage Report")[1:]
    branches, lines = (ReportRows(report, folders) for report in reports[:2])
    rows = [[f"`{folder}`", lines[folder], branches[folder]] for folder in folders
            if lines[folder][0]]
    rows.append(["all"] + [[sum(row[i][j] for row in rows) for j in (0, 1)] for i in (1, 2)])
    return Table(["Folder", "lines", "reached", "branches", "reached"], [
        [name, *(cell for items, reached in kinds
                 for cell in (items, f"{100 * reached / max(items, 1):.1f} %"))]
        for name, *kinds in rows])


FOLDERS = ("driver/", "topology/", "mac/", "channel/", "output/", "fastforward/")


def Coverage(tools):
    return CoverageTable(tools.Run("scripts/coverage"), FOLDERS)


def ExperimentCoverage(tools):
    return CoverageTable(tools.Run("scripts/coverage", "--experiments"), FOLDERS[:5])


def Planted(tools):
    names = ["window-end"] if tools.is_short else []
    said = tools.Run("scripts/plant-faults", *names, statuses=(0, 1)).splitlines()
    caught = [line for line in said if re.search(r" caught\b", line) and "NOT" not in line]
    rows = [[line.split()[0], re.split(r"  +", line)[-1]] for line in said if line not in caught]
    return Table(["planted", "caught"], [[len(said), len(caught)]]) + (
        [""] + Table(["not caught", "why"], rows) if rows else [])


def Damage(tools):
    count = "5" if tools.is_short else "2000"
    campaign = tools.campaigns / "damage"
    tools.Run("dcfsim-replicate", *(["--quick"] if tools.is_short else []), "--one", "5",
              str(campaign))
    tree = str(campaign / "seed-5/result/10node_design/1500")
    rows = []
    for name, options in (("by what the values say of each other", []),
                          ("with `SHA256SUMS` beside the files", ["--hashes"])):
        said = tools.Run("scripts/damage-numbers", *options, "--check", tools.Path("dcfsim-check"),
                         "--count", count, tree, statuses=(0, 1))
        noticed, tried = map(int, re.search(r"^all +(\d+) of +(\d+)", said, re.MULTILINE).groups())
        missed = re.findall(r"^not noticed: (\w+\.txt)", said, re.MULTILINE)
        places = ", ".join(f"`{file}` {n}" for file, n in
                           collections.Counter(missed).most_common()) or "-"
        rows.append([name, tried, f"{noticed}, {100 * noticed / tried:.1f} %", places])
    return Table(["", "damages", "noticed", "not noticed, by file"], rows)
