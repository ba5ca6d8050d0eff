#!/usr/bin/env bash
# Tests of what dcfsim-experiment tells of flows: flows.csv, --packets, --series.
# Cases: Published Own Packets Series Figures Damaged Refusals
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

# Five pairs; the queues are short, so that packets are refused, in front of the window too.
Pairs() {
    printf '{"seed": 3, "loads_kbps": [0, 9000, 35000], "ticks": 1500000, "window": [500000, 1499999],
        "queue_limit": 60}' >pairs.json
}

# Reads the tables below; what follows is Python.
READ='
import csv, glob, re, sys
def table(path):
    return [{k: float(v) if v else None for k, v in row.items()} for row in csv.DictReader(open(path))]
def lines(tree, name):
    path = glob.glob(tree + "/10node_design/*/" + name)[0]
    return open(path, errors="replace").read().split("\n")
def node_stat(tree):  # a list of ten rows for each load point, cells by their heads
    points = []
    for line in lines(tree, "node_stat.txt"):
        cells = line.split()
        if cells and cells[0] == "n":
            heads = cells
        elif cells and cells[0].isdigit() and len(cells) > 20:
            if cells[0] == "0":
                points.append([])
            points[-1].append({h: float(c) for h, c in zip(heads, cells)})
    return points
def flows(tree):  # a list of flows for each load point
    points = {}
    for row in table(glob.glob(tree + "/10node_design/*/flows.csv")[0]):
        points.setdefault((row["trial"], row["load_kbps"]), []).append(row)
    return list(points.values())
def same(what, got, expected, within=0):
    if abs(got - expected) > within:
        sys.exit("FAILED: %s: %r, expected %r" % (what, got, expected))
'

# Flows of the published experiment beside what the result files say of them.
Published() {
    Pairs
    dcfsim-experiment pairs.json -o pairs
    python3 -c "$READ"'
points, stations = flows("pairs"), node_stat("pairs")
same("load points", len(points), 6)
same("blocks", len(stations), 6)
total = lines("pairs", "throughput.txt")
delay = lines("pairs", "delay.txt")
for p, rows in enumerate(points):
    same("flows", len(rows), 5)
    for k, row in enumerate(rows):
        sender, receiver = stations[p][2 * k], stations[p][2 * k + 1]
        rate = 12000 / 1e6
        same("offered", row["offered_mbps"], sender["gene"] * rate, 1e-9)
        same("delivered", row["delivered_mbps"], receiver["rx"] * rate, 1e-9)
        for mine, theirs in (("retries", "retx"), ("drops", "drop"), ("refused", "over")):
            same(mine, row[mine], sender[theirs])
for load in range(3):
    both = points[load], points[load + 3]
    means = [float(cell) for cell in total[load + 1].split()]
    for k in range(5):
        same("throughput", means[k + 1], sum(p[k]["delivered_mbps"] for p in both) / 2, 6e-6)
    if load > 0:
        found = [l.split() for l in delay if len(l.split()) == 5][load]
        for k in range(4):
            same("delay", float(found[k + 1]), sum(p[k]["delay_us"] for p in both) / 2, 6e-6)
same("refused", points[2][1]["refused"] > 0, True)
' || exit 1
}

# Whatever the flows are, the time-outs, drops and refused packets of all stations are those of all
# flows, but for frames of nobody: where senders are hidden, a record that is relayed may have been
# overwritten by an ACK, which is of no flow.
Own() {
    local name
    for name in hidden-relays hidden-senders one-cell-weights relay-chain rts-hidden-star; do
        dcfsim-experiment "$SOURCE/experiments/$name.json" -o $name
        python3 -c "$READ"'
points, stations = flows(sys.argv[1]), node_stat(sys.argv[1])
same("load points", len(points), len(stations))
for rows, nodes in zip(points, stations):
    for mine, theirs in (("retries", "retx"), ("drops", "drop"), ("refused", "over")):
        told, known = sum(r[mine] for r in rows), sum(n[theirs] for n in nodes)
        print(sys.argv[1], mine, int(told), int(known))
        if told > known or told < 0.95 * known - 1:
            sys.exit("FAILED: %s %s: %d of %d" % (sys.argv[1], mine, told, known))
' $name >>told || exit 1
    done
    Equal 'told of relays' "$(grep -c '^relay-chain' told)" 18
    grep -E '^(one-cell|relay)' told | awk '$3 != $4 { exit 1 }' || Fail "$(cat told)"
    # Entries with the same ends are one flow; its row stands where the first one does.
    printf '{"seed": 3, "trials": 1, "loads_kbps": [4000], "ticks": 400000, "window": [0, 399999],
        "flows": [{"from": 2, "to": 3}, {"from": 0, "to": 1}, {"from": 2, "to": 3}]}' >twice.json
    dcfsim-experiment twice.json -o twice
    Equal 'ends' "$(cut -d, -f 3,4 twice/10node_design/1500/flows.csv | xargs)" 'from,to 2,3 0,1'
    python3 -c "$READ"'
rows, nodes = flows("twice")[0], node_stat("twice")[0]
same("offered", rows[0]["offered_mbps"], nodes[2]["gene"] * 12000 / 4e5, 1e-9)
' || exit 1
}

# One row a packet, the same by plain ticking, that add up to what is known of the flow.
Packets() {
    Pairs
    dcfsim-experiment pairs.json -o fast --packets fast.csv
    dcfsim-experiment --plain pairs.json -o plain --packets plain.csv
    cmp fast.csv plain.csv || Fail 'fast and plain differ'
    python3 -c "$READ"'
rows, points = table("fast.csv"), flows("fast")
for flow in (flow for point in points for flow in point):
    own = [r for r in rows if all(r[k] == flow[k] for k in ("load_kbps", "trial", "from", "to"))]
    done = [r for r in own if r["delivery"] is not None]
    same("packets", len(done) * 12000 / 1e6, flow["delivered_mbps"], 1e-9)
    if done:
        delay = sum(r["delivery"] - r["arrival"] for r in done) / len(done)
        same("delay", delay, flow["delay_us"], 1e-6)
for r in rows:
    if not r["arrival"] <= r["first_attempt"]:
        sys.exit("FAILED: an attempt before the arrival: %r" % r)
    # A DATA frame takes 252 ticks and is taken in the tick behind its last one.
    if r["delivery"] is not None:
        if not 500000 <= r["delivery"] < 1500000:
            sys.exit("FAILED: outside of the window: %r" % r)
        if (r["delivery"] - r["first_attempt"] == 252) != (r["attempts"] == 1):
            sys.exit("FAILED: attempts do not fit: %r" % r)
same("more than one attempt", any(r["attempts"] > 1 for r in rows), True)
' || exit 1
    # Packets with relays and RTS: all attempts of all hops, and drops without a delivery.
    local name
    for name in hidden-senders relay-chain rts-hidden-star; do
        dcfsim-experiment "$SOURCE/experiments/$name.json" -o own-$name --packets own.csv
        python3 -c "$READ"'
rows, points = table("own.csv"), flows("own-" + sys.argv[1])
dropped = sum(r["delivery"] is None for r in rows)
drops = sum(flow["drops"] for point in points for flow in point)
if not dropped <= drops:
    sys.exit("FAILED: %d packets dropped of %d" % (dropped, drops))
if any(r["delivery"] is None and r["attempts"] < 8 for r in rows):
    sys.exit("FAILED: dropped too early")
if not all(1 <= r["attempts"] <= 8 * 9 for r in rows):
    sys.exit("FAILED: attempts")
print(dropped)
' $name >>dropped || exit 1
    done
    awk '{ sum += $1 } END { exit sum == 0 }' dropped || Fail 'nothing was dropped'
    # They end in the manifest, with the hash of their bytes.
    grep -q "\"own.csv\": \"$(sha256sum <own.csv | cut -c 1-64)\"" own-rts-hidden-star/manifest.json ||
        Fail 'the hash is not that of the packets'
}

# The intervals of the window add up to its totals, and those in front of it are there too.
Series() {
    Pairs
    dcfsim-experiment pairs.json -o fast --series 50 fast.csv
    dcfsim-experiment --plain pairs.json -o plain --series 50 plain.csv
    cmp fast.csv plain.csv || Fail 'fast and plain differ'
    dcfsim-experiment pairs.json -o long --series 400 long.csv
    python3 -c "$READ"'
rows, points, stations = table("fast.csv"), flows("fast"), node_stat("fast")
same("rows", len(rows), 6 * 5 * 30)
hits, link = {}, None
for line in lines("fast", "collision.txt"):
    head = re.match(r"\S+ +(\d) -> +(\d) *$", line)
    counts = re.match(r"col[ \t]+(\d+)\([ \d]+\)[ \t]+(\d+)\([ \d]+\)[ \t]+(\d+)", line)
    if head:
        link = head.groups()
        hits.setdefault(link, []).append(None)
    elif counts and hits[link][-1] is None:
        hits[link][-1] = int(counts[2]) + int(counts[3])
x = [line.split() for line in lines("fast", "x_node_flow1.txt")]
busy = {}
for p, point in enumerate(points):
    for k, flow in enumerate(point):
        own = [r for r in rows if all(r[c] == flow[c] for c in ("load_kbps", "trial", "from", "to"))]
        same("intervals", [r["begin_ms"] for r in own] == [50.0 * i for i in range(30)], True)
        window = [r for r in own if r["begin_ms"] >= 500]
        same("in window", window == [r for r in own if r["in_window"]], True)
        add = lambda head: sum(r[head] for r in window)
        same("arrived", add("arrived") * 12000 / 1e6, flow["offered_mbps"], 1e-9)
        same("delivered", add("delivered") * 12000 / 1e6, flow["delivered_mbps"], 1e-9)
        same("refused", add("refused"), flow["refused"])
        same("retries", add("retries"), flow["retries"])
        same("collisions", add("collisions"), hits[str(2 * k), str(2 * k + 1)][p])
        same("mean queue", add("mean_queue") / 20, stations[p][2 * k]["buf"], 1e-5)
        busy[p, k] = add("share") / 20
        long = [r for r in table("long.csv")
                if all(r[c] == flow[c] for c in ("load_kbps", "trial", "from", "to"))]
        same("long intervals", len(long), 4)
        same("all arrived", sum(r["arrived"] for r in long), sum(r["arrived"] for r in own))
        ticks = [400, 400, 400, 300]
        for head in ("mean_queue", "share"):
            same(head, sum(r[head] * t for r, t in zip(long, ticks)),
                 sum(r[head] for r in own) * 50, 1e-6)
for load in range(3):
    for k in range(5):
        same("share", (busy[load, k] + busy[load + 3, k]) / 2, float(x[load + 1][6 + 2 * k]), 6e-6)
early = [r for r in rows if r["begin_ms"] < 500 and r["load_kbps"] == 35000]
same("refused early", sum(r["refused"] for r in early) > 0, True)
same("retried early", sum(r["retries"] for r in early) > 0, True)
same("hit early", sum(r["collisions"] for r in early) > 0, True)
' || exit 1
}

# The tables of the figures, beside the same reckoned from the files.
Figures() {
    gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'
    Pairs
    dcfsim-experiment pairs.json --packets p.csv --series 20 s.csv
    dcfsim-figures p.csv >drawn 2>said
    dcfsim-figures s.csv >>drawn 2>>said
    Equal 'said' "$(cat said)" ''
    Equal 'drawn' "$(xargs <drawn)" "$(echo ./fig/{delay.csv,delay-{9000,35000}.svg} \
        ./fig/{warm-up.csv,series-{0,9000,35000}.svg})"
    local file
    while read -r file; do
        [[ -s $file ]] || Fail "$file is empty or missing"
    done <drawn
    Equal 'pictures' "$(find fig -name '*.png' -size +1k | wc -l)" 5
    grep -q '>2 to 3<' fig/delay-9000.svg || Fail 'a flow is missing in the picture'
    python3 -c "$READ"'
import math
rows, told = table("p.csv"), table("fig/delay.csv")
same("rows", len(told), 10)
for t in told:
    own = [r for r in rows if all(r[c] == t[c] for c in ("load_kbps", "from", "to"))]
    delays = sorted(r["delivery"] - r["arrival"] for r in own if r["delivery"])
    same("delivered", t["delivered"], len(delays))
    same("dropped", t["dropped"], len(own) - len(delays))
    same("mean", t["mean_us"], sum(delays) / len(delays), 1e-5)
    for head, share in (("p50_us", 50), ("p95_us", 95), ("p99_us", 99), ("max_us", 100)):
        rank = -(-len(delays) * share // 100)
        same(head, t[head], delays[rank - 1])
def mser5(values):
    means = [sum(values[5 * i:5 * i + 5]) / 5 for i in range(len(values) // 5)]
    errors = []
    for cut in range(len(means) // 2 + 1):
        rest = means[cut:]
        mean = sum(rest) / len(rest)
        errors.append(sum((m - mean) ** 2 for m in rest) / len(rest) ** 2)
    cut = min(range(len(errors)), key=lambda i: errors[i])
    return None if cut == len(means) // 2 else 5 * cut
rows, cuts = table("s.csv"), set()
for t in table("fig/warm-up.csv"):
    own = [r for r in rows if all(r[c] == t[c] for c in ("load_kbps", "trial", "from", "to"))][:-1]
    same("window", t["window_s"], 0.5)
    for head, values in (("delivered", [r["delivered"] / 0.02 for r in own]),
                         ("queue", [r["mean_queue"] for r in own])):
        cut = mser5(values)
        cuts.add(cut)
        got = t[head + "_mser5_s"]
        same(head + " has a cut", got is None, cut is None)
        if cut is not None:
            same(head, got, cut * 0.02, 1e-9)
same("different cuts", len(cuts) > 2, True)
' || exit 1
}

# Files that are none of these are refused, with the line.
Damaged() {
    Pairs
    dcfsim-experiment pairs.json --packets p.csv --series 100 s.csv
    sed '3s/,[0-9]*$//' p.csv >short.csv
    Refused 1 '^dcfsim-figures: short.csv:3: is no whole row' dcfsim-figures short.csv
    head -c -4 s.csv >cut.csv
    Refused 1 "^dcfsim-figures: cut.csv:$(wc -l <s.csv): is no whole row" dcfsim-figures cut.csv
    sed '4s/,/,-/2' s.csv >negative.csv
    Refused 1 '^dcfsim-figures: negative.csv:4: is no whole row' dcfsim-figures negative.csv
    sed '5s/^[0-9]*/99999999999/' p.csv >large.csv
    Refused 1 '^dcfsim-figures: large.csv:5: is no whole row' dcfsim-figures large.csv
    sed '5p' s.csv >twice.csv
    Refused 1 '^dcfsim-figures: twice.csv:6: is no whole row' dcfsim-figures twice.csv
    sed 1d p.csv >headless.csv
    Refused 1 '^dcfsim-figures: headless.csv:1: heads of neither' dcfsim-figures headless.csv
    : >empty.csv
    Refused 1 '^dcfsim-figures: empty.csv: cannot be read: is empty' dcfsim-figures empty.csv
    [[ ! -e fig ]] || Fail 'something was drawn'
}

# What cannot be done is refused before anything runs, and nothing is left of it.
Refusals() {
    Pairs
    Refused 2 '^dcfsim-experiment: --series: an interval of 0 ms; allowed: 1 \.\. 2000000$' \
        dcfsim-experiment pairs.json --series 0 s.csv
    Refused 2 '^dcfsim-experiment: Could not convert: --series = ten' \
        dcfsim-experiment pairs.json --series ten s.csv
    Refused 2 'name one file; give each its own$' \
        dcfsim-experiment pairs.json --series 10 s.csv --packets s.csv
    Refused 1 '^dcfsim-experiment: none/p.csv: cannot be written: No such file or directory; ' \
        dcfsim-experiment pairs.json --packets none/p.csv
    [[ ! -e s.csv && ! -e result/manifest.json ]] || Fail 'something was written'
    # Flows of older results do not outlive them.
    mkdir -p old/result/10node_design/1500
    touch old/result/10node_design/1500/flows.csv
    printf '{"ticks": 10, "window": [0, 9], "loads_kbps": [0], "trials": 1}' >few.json
    dcfsim-experiment few.json -o old/result
    [[ -s old/result/10node_design/1500/flows.csv ]] || Fail 'the flows are not those of the run'
    Equal 'left' "$(find . -name '*.csv.*')" ''
}

RunCase
