"""Copies of the sources with their build, in which faults are tried: is it built, and which test
notices it?"""

import collections
import os
import re
import shutil
import signal
import subprocess
import sys
from typing import NamedTuple

ROOT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))

CHEAP_S = 0.3  # suites that take less are run together
RANDOM = "RandomScenes"  # the suite of scenes, of which few are run first; then as many as ever
FEW_SCENES = {"DCFSIM_SCENES": "1000"}
EXPERIMENTS = "recorded experiments"  # the workshop of what no test has noticed

OPTIMISED = "-O1 -DNDEBUG"  # quick to build and to run
SANITIZED = "-O1 -D_GLIBCXX_ASSERTIONS -fsanitize=address,undefined -fno-sanitize-recover=all"
SANITIZED_FACTOR = 5  # its tests may take that many times as long

# Where a build or a run of tests is given up. A test that writes or takes memory without end would
# else harm the machine.
BUILD_LIMIT_S = 900
CPU_FACTOR = 10  # times the processor time without any fault, and
CPU_SPARE_S = 5  # that much more
MEMORY_KIB = 8 << 20
FILE_KIB = 1 << 18


class Outcome(NamedTuple):
    verdict: str  # NOTICED, SURVIVED, EQUIVALENT_ONE or NO_BUILD
    detail: str


NOTICED, SURVIVED, EQUIVALENT_ONE, NO_BUILD = "caught", "SURVIVED", "equivalent", "does not build"


def Fail(message, status=1):
    print(f"plant-random-faults: {message}", file=sys.stderr)
    sys.exit(status)


def TrackedFiles():
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return [file for file in listed.split("\0") if file and os.path.isfile(f"{ROOT}/{file}")]


class Workshop:
    """A copy of the sources with its build, which is as at first before each fault."""

    target, tools = "dcfsim_tests", "OFF"

    def __init__(self, scratch, options, flags):
        self.source, self.build = f"{scratch}/source", f"{scratch}/build"
        self.clean, self.tmp, self.log = f"{scratch}/clean", f"{scratch}/tmp", f"{scratch}/log"
        self.flags = flags
        self.memory = MEMORY_KIB if flags == OPTIMISED else "unlimited"
        self.timeout = options.timeout * (1 if flags == OPTIMISED else SANITIZED_FACTOR)
        self.leave_out = options.leave_out
        self.children = set()
        for file in TrackedFiles():
            os.makedirs(os.path.dirname(f"{self.source}/{file}"), exist_ok=True)
            shutil.copy2(f"{ROOT}/{file}", f"{self.source}/{file}")
        os.makedirs(self.tmp)

    def Configure(self):
        """Builds the sources as they are. Later, a warning of what a fault leaves unused, or of
        the precedence of a new operator, does not do away with it."""
        command = ["cmake", "-S", self.source, "-B", self.build, "-DCMAKE_CXX_COMPILER=g++",
                   "-DCMAKE_BUILD_TYPE=Release", "-DDCFSIM_IPO=OFF",
                   f"-DDCFSIM_TOOLS={self.tools}",
                   f"-DCMAKE_CXX_FLAGS_RELEASE={self.flags} -Wno-parentheses -Wno-unused"
                   " -Wno-implicit-fallthrough",
                   "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
        command += ["-G", "Ninja"] if shutil.which("ninja") else []
        if self._Run(command, BUILD_LIMIT_S, {}) != 0 or not self.Build():
            Fail("the sources do not build as they are:\n" + self._Log()[-2000:])
        shutil.copytree(self.build, self.clean, symlinks=True)
        self.times = {path: os.stat(path).st_mtime_ns for path in self._Files(self.build)}

    def Build(self):
        return self._Run(["cmake", "--build", self.build, "--parallel", "1", "--target",
                          self.target], BUILD_LIMIT_S, {}) == 0

    def Test(self, names, cpu_s, environment):
        """The first test of a filter to fail, and how, or None."""
        command = [f"{self.build}/dcfsim_tests", "--gtest_fail_fast", f"--gtest_filter={names}"]
        status = self._RunLimited(command, cpu_s, environment)
        if status == 0:
            return None
        log = self._Log()
        failed = re.findall(r"^\[  FAILED  \] ([^\s,]+)", log, re.MULTILINE)
        begun = re.findall(r"^\[ RUN      \] (\S+)", log, re.MULTILINE)
        name = failed[0] if failed else begun[-1] if begun else "its start"
        how = {None: " (time-out)", -signal.SIGXCPU: " (time-out)"}.get(status, "")
        return name + (how or (" (crash)" if status < 0 else ""))

    def _RunLimited(self, command, cpu_s, environment):
        """As _Run, for a program with a fault in it."""
        limits = f"ulimit -c 0 -t {cpu_s} -f {FILE_KIB} -v {self.memory}; exec \"$@\""
        return self._Run(["bash", "-c", limits, "bash"] + command, self.timeout,
                         {"TMPDIR": self.tmp, **environment})

    def _Log(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()

    def _Run(self, command, limit_s, environment):
        """The exit status, None after a time-out."""
        with open(self.log, "wb") as log:
            child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                     cwd=self.tmp, env={**os.environ, **environment},
                                     start_new_session=True)
        self.children.add(child)
        try:
            return child.wait(limit_s)
        except subprocess.TimeoutExpired:
            return None
        finally:
            self.End(child)

    def End(self, child):
        """Ends `child` and what it has left behind, which is in a session of its own."""
        self.children.discard(child)
        try:
            os.killpg(child.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        child.wait()

    @staticmethod
    def _Files(directory):
        return [os.path.join(path, name) for path, _, names in os.walk(directory) for name in names]

    def Restore(self, file):
        """Puts back the source, and what was built, with their times: nothing is built twice."""
        shutil.copy2(f"{ROOT}/{file}", f"{self.source}/{file}")
        for path in set(self._Files(self.build)) | set(self.times):
            if path not in self.times:
                os.remove(path)
            elif not os.path.exists(path) or os.stat(path).st_mtime_ns != self.times[path]:
                os.makedirs(os.path.dirname(path), exist_ok=True)
                shutil.copy2(self.clean + path[len(self.build):], path, follow_symlinks=False)
        shutil.rmtree(self.tmp, ignore_errors=True)
        os.makedirs(self.tmp, exist_ok=True)

    def Try(self, source, fault, stages):
        try:
            with open(f"{self.source}/{fault.file}", "w", encoding="utf-8") as stream:
                stream.write(source.Apply(fault))
            if not self.Build():
                error = re.search(r"error: (.*)", self._Log())
                return Outcome(NO_BUILD, error[1] if error else "")
            for stage in stages:
                failed = self.Test(*stage)
                if failed:
                    return Outcome(NOTICED, "by " + failed)
            return Outcome(SURVIVED, "")
        finally:
            self.Restore(fault.file)

    def PlanStages(self):
        """What to run in which order, with limits of processor time: the cheap suites at once, the
        others by what they take, the random scenes last. All must pass without any fault."""
        left_out = ":".join(f"{suite}.*" for suite in self.leave_out)
        failed = self.Test(f"-{left_out}", self.timeout, {})
        if failed:
            Fail(f"a test fails without any fault: {failed}")
        times = collections.Counter()
        for suite, ms in re.findall(r"^\[       OK \] ([^.\s]+)\..* \((\d+) ms\)$", self._Log(),
                                    re.MULTILINE):
            times[suite] += int(ms) / 1000
        if not times:
            Fail("no tests are run")
        order = sorted(times.keys() - {RANDOM}, key=lambda suite: times[suite])
        cheap = [suite for suite in order if times[suite] < CHEAP_S]
        stages = [cheap] if cheap else []
        stages += [[suite] for suite in order if suite not in cheap]
        planned = [(stage, {}) for stage in stages]
        if RANDOM in times:
            planned += [([RANDOM], FEW_SCENES), ([RANDOM], {})]
        return [(":".join(f"{suite}.*" for suite in stage),
                 min(self.timeout, CPU_SPARE_S + int(CPU_FACTOR * sum(times[k] for k in stage))),
                 environment) for stage, environment in planned]


class ExperimentShop(Workshop):
    """The same for the recorded experiments, whose results hold every line of output."""

    target, tools = "dcfsim-experiment", "ON"

    def Test(self, names, cpu_s, environment):
        """The first experiment that differs from what is recorded, and which way, or None."""
        command = [f"{self.source}/scripts/record-experiments", "--compare", self.build]
        status = self._RunLimited(command, cpu_s, environment)
        if status == 0:
            return None
        failed = re.search(r"^FAILED: ([^:]*)", self._Log(), re.MULTILINE)
        return failed[1] if failed else "experiments" + (" (time-out)" if status is None else "")

    def PlanStages(self):
        failed = self.Test("", self.timeout, {})
        if failed:
            Fail(f"an experiment is not as recorded without any fault: {failed}")
        return [("", self.timeout, {})]


class Bench:
    """Where one fault after the other is tried: on the tests, survivors on the experiments, and
    with sanitizers, if that is wanted."""

    def __init__(self, scratch, options):
        self.options = options
        self.scratch = scratch
        self.shops = {}
        self.stages = {}
        self._Open(OPTIMISED)

    def _Open(self, name):
        if name not in self.shops:
            where = f"{self.scratch}/{len(self.shops)}"
            shop = (ExperimentShop(where, self.options, OPTIMISED) if name == EXPERIMENTS else
                    Workshop(where, self.options, name))
            self.shops[name] = shop
            shop.Configure()
            self.stages[name] = shop.PlanStages()
        return self.shops[name]

    def _TryIn(self, name, source, fault):
        return self._Open(name).Try(source, fault, self.stages[name])

    def Try(self, source, fault, listed):
        outcome = self._TryIn(OPTIMISED, source, fault)
        if outcome.verdict == SURVIVED and not listed:
            outcome = self._TryIn(EXPERIMENTS, source, fault)
        if outcome.verdict != SURVIVED or listed or not self.options.sanitizers:
            return outcome
        outcome = self._TryIn(SANITIZED, source, fault)
        if outcome.verdict == NO_BUILD:  # for a warning of what it does, as it does build
            return Outcome(NOTICED, "by the compiler of the sanitized build")
        detail = outcome.detail + ", sanitized" if outcome.detail else ""
        return outcome._replace(detail=detail)

    def Close(self):
        for shop in self.shops.values():
            for child in list(shop.children):
                shop.End(child)
