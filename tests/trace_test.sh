#!/usr/bin/env bash
# Tests of dcfsim-trace.
# Cases: Continues Capture Reception Drawing Viewer Options Drawings
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"
[[ -x $BIN/dcfsim-trace ]] || Skip 'dcfsim-trace is not built: libpcap-dev is not installed'

# Two senders that do not hear each other and their receiver between them; all else is far away.
# Nothing but an ACK ever reaches a sender, so each attempt ends with an ACK or a time-out.
Star() {
    cat <<'END'
{"seed": 10, "trials": 1, "loads_kbps": [4000], "ticks": 400000, "window": [0, 400000],
 "stations_m": [[0, 0], [20, 0], [40, 0], [1000, 0], [2000, 0], [3000, 0], [4000, 0], [5000, 0],
                [6000, 0], [7000, 0]],
 "transmission_range_m": 25, "carrier_sense_range_m": 25,
 "routes": [[0, 1, 1], [2, 1, 1], [1, 0, 0], [1, 2, 2]],
 "flows": [{"from": 0, "to": 1}, {"from": 2, "to": 1}]}
END
}

# The columns $4 ... of station $2 in load point $3, from 1 on, of the results in $1; 3 tx, 6 retx,
# 9 drop, 12 rxsu, 13 rx, 16 dis.
Counters() {
    local columns=("${@:4}")
    awk -v station="$2" -v point="$3" -v columns="${columns[*]}" '
        /^trial =/ { ++seen }
        seen == point && $1 == station && NF > 20 {
            num = split(columns, column, " ")
            for (i = 1; i <= num; ++i) printf "%d%s", $column[i], i < num ? " " : "\n"
        }' "$1"/10node_design/1500/node_stat.txt
}

# How many events $3 of DATA the table $1 has of station $2.
Events() {
    awk -F, -v station="$2" -v event="$3" '$2 == station && $3 == event && $4 == "DATA"' "$1" | wc -l
}

# What is watched in a load point is what counts in the results of the whole experiment.
Continues() {
    echo '{"seed": 3, "loads_kbps": [1000, 6000, 25000], "ticks": 150000, "window": [0, 150000],
        "queue_limit": 50}' >own.json
    dcfsim-experiment own.json --out results
    local point=0 trial load station counted=0
    for trial in 1 2; do
        for load in 1000 6000 25000; do
            point=$((point + 1))
            dcfsim-trace own.json --load $load --trial $trial --from 0 --ticks 150000 \
                --csv all.csv >said
            grep -q "^Load $load kbit/s, trial $trial, ticks 0 to 150000, seed 3: " said ||
                Fail "$(cat said)"
            for station in {0..9}; do
                Equal "station $station of trial $trial, load $load" \
                    "$(for event in end timeout drop deliver duplicate; do
                        Events all.csv "$station" $event
                    done | paste -s -d ' ')" \
                    "$(Counters results "$station" $point 3 6 9 13 16)"
            done
            counted=$((counted + $(grep -c ',collision,DATA,.*,con by DATA of' all.csv || true)))
        done
    done
    ((counted > 50)) || Fail "only $counted collisions"
    # A part of it is a part of the whole, time by time; the frame of a time-out may lie before it.
    dcfsim-trace own.json --load 25000 --trial 2 --from 70000 --ticks 30000 --csv part.csv >said
    grep -v timeout all.csv | awk -F, '$1 + 0 >= 70500 && $1 < 100000' >wanted
    grep -v timeout part.csv | awk -F, '$1 + 0 >= 70500' | diff - wanted >/dev/null || Fail 'part.csv'
    (($(wc -l <wanted) > 1000)) || Fail 'too few events'
}

# Fields $2 ... of the frames of capture $1, a line each.
Fields() {
    local file=$1 options=() field
    shift
    for field; do
        options+=(-e "$field")
    done
    tshark -n -o wlan.check_checksum:TRUE -o ip.check_checksum:TRUE -r "$file" -T fields \
        -E separator=, -E occurrence=f "${options[@]}" 2>log || Fail "$(cat log)"
}

# Frames of capture $1 that pass filter $2.
Frames() {
    tshark -n -o wlan.check_checksum:TRUE -r "$1" -Y "$2" 2>log | wc -l
}

# No frame of capture $1 may be malformed, or give reason to a warning; the check sums are left out.
Malformed() {
    Equal "malformed in $1" \
        "$(tshark -n -r "$1" -Y '_ws.malformed || _ws.expert.severity >= 0x600000' 2>log)" ''
    Equal "complaints of $1" "$(grep -v '^Running as user' log)" ''
}

Capture() {
    tshark --version >/dev/null 2>&1 || Skip 'tshark is not installed'
    Star >star.json
    dcfsim-experiment star.json --out results
    dcfsim-trace star.json --load 4000 --from 0 --ticks 400000 --pcap all.pcap --csv all.csv >said
    local sender tx retx drop
    for sender in 0 2; do
        read -r tx retx drop < <(Counters results $sender 1 3 6 9)
        ((retx > 20)) || Fail "only $retx time-outs"
        local data="wlan.fc.type_subtype == 0x20 && wlan.ta == 02:00:00:00:00:0$sender"
        Equal "DATA of $sender" "$(Frames all.pcap "$data")" "$tx"
        Equal "repeated DATA of $sender" "$(Frames all.pcap "$data && wlan.fc.retry == 1")" \
            $((retx - drop))
        Equal "ACK for $sender" \
            "$(Frames all.pcap "wlan.fc.type_subtype == 0x1d && wlan.ra == 02:00:00:00:00:0$sender")" \
            $((tx - retx))
    done
    Equal 'frames' "$(Frames all.pcap wlan)" "$(grep -c ,begin, all.csv)"
    # Frame by frame: time, type, sender, receiver, retry, packet.
    Fields all.pcap frame.time_epoch wlan.fc.type_subtype wlan.ta wlan.ra wlan.fc.retry wlan.seq |
        awk -F, '{ split($1, time, "."); tick = time[1] * 1000000 + substr(time[2], 1, 6)
                   acks = $2 == "0x001d"; station = substr($3, 17); to = substr($4, 17)
                   print tick, acks ? "ACK" : "DATA", acks ? "" : station, to, $5 + 0,
                         acks ? "" : $6 }' >captured
    awk -F, '$3 == "begin" { acks = $4 == "ACK"; packet = $7; sub(/.*packet=/, "", packet)
        print $1, $4, acks ? "" : $2, $5, ($6 > 0), acks ? "" : packet % 4096 }' all.csv |
        diff captured - >differences || Fail "frames differ: $(head differences)"
    # All types, with what they reserve of the medium, in the experiment that has most of them.
    dcfsim-trace "$SOURCE/experiments/rts-pairs.json" --load 5000 --from 0 --ticks 300000 \
        --pcap rts.pcap --csv rts.csv >said
    Fields rts.pcap wlan.fc.type_subtype wlan.duration radiotap.datarate \
        radiotap.channel.freq | sort -u >kinds
    Equal 'kinds of frames' "$(tr '\n' ' ' <kinds)" \
        '0x001b,356,24,5180 0x001c,312,24,5180 0x001d,0,24,5180 0x0020,44,54,5180 '
    local type subtype
    for type in RTS:0x1b CTS:0x1c DATA:0x20 ACK:0x1d; do
        subtype=${type#*:}
        Equal "${type%:*} frames" "$(Frames rts.pcap "wlan.fc.type_subtype == $subtype")" \
            "$(grep -c ",begin,${type%:*}," rts.csv)"
    done
    local file
    for file in all.pcap rts.pcap; do
        Malformed "$file"
        Equal "wrong check sums in $file" \
            "$(Frames "$file" 'wlan.fcs.status != 1 || (ip && ip.checksum.status == 0)')" 0
    done
    Fields all.pcap ip.src ip.dst udp.length data.data >packets
    grep -m 1 ^10.0.1.2 packets >first
    [[ $(cut -d, -f 1-3 first) == 10.0.1.2,10.0.1.1,1480 ]] || Fail "$(head -c 200 first)"
    cut -d, -f 4 first | head -c 62 | sed 's/../\\x&/g' | xargs -0 printf '%b' >text
    grep -qx 'dcfsim flow 2 to 1 packet 0' text || Fail "$(cat text)"
}

# At the receiver, whose clean DATA is what it counts.
Reception() {
    tshark --version >/dev/null 2>&1 || Skip 'tshark is not installed'
    Star >star.json
    dcfsim-experiment star.json --out results
    dcfsim-trace star.json --load 4000 --from 0 --ticks 400000 --pcap at.pcap --at 1 \
        --csv all.csv >said
    Equal 'clean DATA' "$(Frames at.pcap 'wlan.fcs.status == 1')" "$(Counters results 1 1 12)"
    Equal 'spoiled DATA' "$(Frames at.pcap 'wlan.fcs.status == 0')" \
        "$(grep -c '^[0-9]*,1,hear,.*,spoiled$' all.csv)"
    Equal 'flags that are not the check sums' \
        "$(Frames at.pcap '(wlan.fcs.status == 0) != radiotap.flags.badfcs')" 0
    (($(Frames at.pcap radiotap.flags.badfcs==1) > 20)) || Fail 'hardly a spoiled frame'
    Malformed at.pcap
    # Senders receive nothing but ACKs, and a station far away nothing at all.
    dcfsim-trace star.json --load 4000 --from 0 --ticks 400000 --pcap at.pcap --at 0 >said
    Equal 'at a sender' "$(Fields at.pcap wlan.fc.type_subtype | sort -u)" 0x001d
    dcfsim-trace star.json --load 4000 --from 0 --ticks 400000 --pcap at.pcap --at 9 >said
    Equal 'far away' "$(Frames at.pcap frame)" 0
}

HasPython() {
    python3 -c '' 2>/dev/null || Skip 'python3 is not installed'
}

# Every block has a title, and all that happens is drawn.
Drawing() {
    HasPython
    local experiment=$SOURCE/experiments/hidden-senders.json
    dcfsim-trace "$experiment" --load 6000 --from 101000 --ticks 1000 --svg one.svg --csv one.csv >said
    dcfsim-trace "$experiment" --load 6000 --from 100000 --ticks 20000 --svg long.svg --csv long.csv >said
    dcfsim-trace "$experiment" --load 6000 --from 101000 --ticks 1000 --svg some.svg --stations 7,0 >said
    python3 - <<'END' || Fail 'a drawing'
import csv
import xml.etree.ElementTree as tree

SVG = "{http://www.w3.org/2000/svg}"


def read(name):
    root = tree.parse(name).getroot()
    kinds = {}
    for group in root.iter(SVG + "g"):
        title = group.find(SVG + "title")
        assert title is not None and title.text, "a group without a title"
        rect = group.find(SVG + "rect")
        kind = rect.get("class") if rect is not None else group.get("class")
        kinds.setdefault(kind, []).append((title.text, group, rect))
    for rect in root.iter(SVG + "rect"):
        if rect.get("class"):
            assert 0 < float(rect.get("width"))
            assert float(rect.get("x")) + float(rect.get("width")) <= float(root.get("width"))
            assert float(rect.get("y")) + float(rect.get("height")) <= float(root.get("height"))
    names = [t.text for t in root.iter(SVG + "text") if (t.text or "").startswith("station ")]
    return kinds, names


for name, strips, first in (("one", 1, 101000), ("long", 20, 100000)):
    kinds, names = read(name + ".svg")
    assert names == ["station %d" % i for i in range(10)] * strips, names
    rows = list(csv.DictReader(open(name + ".csv")))
    num = {}
    for row in rows:
        num[row["event"]] = num.get(row["event"], 0) + 1
    frames = {title for title, _, _ in kinds["frame"]}
    begun = sum(int(f.split("from tick ")[1].split()[0]) >= first for f in frames)
    assert begun == num["begin"], (begun, num["begin"])
    assert len(kinds["queue"]) == sum(num.get(k, 0) for k in ("arrival", "relay", "acked", "drop"))
    assert len(kinds.get("timeout", [])) == num["timeout"]
    hits = {(row["tick"], row["station"]) for row in rows if row["event"] == "collision"}
    assert len(kinds.get("collision", [])) == len(hits) > strips // 20, hits
    for title, group, _ in kinds.get("collision", []):
        told = {row["detail"].split(" by ")[0] for row in rows if row["event"] == "collision"
                and title.endswith("tick " + row["tick"])
                and title.startswith("station " + row["station"] + ":")}
        assert set(group.find(SVG + "text").text.split()[1:]) == told, title
    # The lane of states has no gap: its blocks fill the strips.
    width = sum(float(rect.get("width")) for _, _, rect in kinds["state"])
    assert abs(width - 10 * strips * 1600) < len(kinds["state"]) * 0.1 + 1, width
assert read("some.svg")[1] == ["station 0", "station 7"]
END
}

# What the viewers ask for: slices nest, arrows have both ends inside slices, counters ascend.
Viewer() {
    HasPython
    dcfsim-trace "$SOURCE/experiments/hidden-senders.json" --load 6000 --from 100000 --ticks 30000 \
        --perfetto all.json --csv all.csv >said
    python3 - <<'END' || Fail 'trace events'
import csv
import json

events = json.load(open("all.json"))["traceEvents"]
rows = list(csv.DictReader(open("all.csv")))
kinds = {}
for event in events:
    kinds.setdefault(event["ph"], []).append(event)
assert set(kinds) == {"M", "X", "C", "s", "f", "i"}, set(kinds)

tracks = {}
for event in kinds["X"]:
    assert event["dur"] > 0 and 100000 <= event["ts"] and event["ts"] + event["dur"] <= 130000
    tracks.setdefault((event["pid"], event["tid"]), []).append(event)
for slices in tracks.values():
    open_ends = []
    for event in sorted(slices, key=lambda e: (e["ts"], -e["dur"])):
        while open_ends and open_ends[-1] <= event["ts"]:
            open_ends.pop()
        assert not open_ends or event["ts"] + event["dur"] <= open_ends[-1], event
        open_ends.append(event["ts"] + event["dur"])
for pid in range(1, 11):  # the states of a station leave no gap
    assert sum(e["dur"] for e in tracks[pid, 1] if e["cat"] == "state") == 30000

begins = {event["id"]: event for event in kinds["s"]}
ends = {event["id"]: event for event in kinds["f"]}
assert len(begins) == len(kinds["s"]) and len(ends) == len(kinds["f"]) and set(begins) == set(ends)
frames = {(e["pid"], e["ts"]): e for e in kinds["X"] if e["cat"] == "frame"}
heard = {}
for event in kinds["X"]:
    if event["cat"] == "hear":
        heard.setdefault((event["pid"], event["ts"]), []).append(event["args"]["frame"])
for number, begin in begins.items():
    end = ends[number]
    frame = frames[begin["pid"], begin["ts"]]
    assert frame["args"]["frame"] in heard[end["pid"], end["ts"]], frame
    assert frame["ts"] + frame["dur"] == end["ts"] + 1 and end["pid"] != begin["pid"]
received = [r for r in rows if r["event"] == "hear" and r["detail"] in ("clean", "spoiled")]
assert len(begins) == len(received) > 50, (len(begins), len(received))
assert len(kinds["i"]) == sum(r["event"] == "collision" for r in rows) > 0

counters = {}
for event in kinds["C"]:
    counters.setdefault((event["pid"], event["name"]), []).append(event)
assert len(counters) == 30
for (pid, name), steps in counters.items():
    times = [event["ts"] for event in steps]
    assert times == sorted(set(times))
    if name == "queue":
        changes = [r for r in rows if int(r["station"]) == pid - 1 and "queue=" in r["detail"]]
        if changes:
            assert steps[-1]["args"][name] == int(changes[-1]["detail"].split("queue=")[1])
END
}

Options() {
    local own=(--load 1000 --from 0 --ticks 10)
    echo '{"seed": 1, "loads_kbps": [0, 1000], "ticks": 1000, "window": [0, 10]}' >own.json
    Refused 2 '^dcfsim-trace: --load is required; ' dcfsim-trace own.json
    Refused 2 ': nothing to write; give --svg, --pcap, --perfetto or --csv$' dcfsim-trace own.json "${own[@]}"
    Refused 2 ': --load: 500 is no load of the experiment; allowed: 0, 1000$' \
        dcfsim-trace own.json --load 500 --from 0 --ticks 10 --csv a
    Refused 2 ': --trial: 3; the experiment has 1 to 2$' dcfsim-trace own.json "${own[@]}" --trial 3 --csv a
    Refused 2 ': --from 995 --ticks 6: behind the end; a load point has 1000 ticks$' \
        dcfsim-trace own.json --load 0 --from 995 --ticks 6 --csv a
    Refused 2 ': --svg: at most 200000 ticks are drawn, not 200001$' \
        dcfsim-trace --load 0 --from 0 --ticks 200001 --svg a
    Refused 2 ': \./a: named twice; ' dcfsim-trace own.json "${own[@]}" --svg a --csv ./a
    Refused 2 ': --at requires --pcap; ' dcfsim-trace own.json "${own[@]}" --csv a --at 1
    Refused 2 ': --stations requires --svg; ' dcfsim-trace own.json "${own[@]}" --csv a --stations 1
    Refused 2 ': --stations: .*10.*; ' dcfsim-trace own.json "${own[@]}" --svg a --stations 1,10
    Refused 2 ': --from: .*; ' dcfsim-trace own.json --load 0 --from=-1 --ticks 1 --csv a
    Refused 2 ': --csv: no file is named; ' dcfsim-trace own.json "${own[@]}" --csv ''
    Refused 2 ': missing.json: cannot be read: ' dcfsim-trace missing.json "${own[@]}" --csv a
    Equal 'written' "$(find . -name 'a*')" ''
    # What cannot be written is told before anything is run, and an older file stays.
    Refused 1 ': no/a: cannot be written: No such file or directory; ' \
        dcfsim-trace own.json "${own[@]}" --csv no/a
    Refused 1 ': /dev/null: is no plain file; ' dcfsim-trace own.json "${own[@]}" --csv /dev/null
    echo old >a
    Refused 1 ': no/b: cannot be written' dcfsim-trace own.json "${own[@]}" --csv a --svg no/b
    Equal 'older file' "$(cat a)" old
    if ((EUID == 0)) && mkdir small && mount -t tmpfs -o size=64k tmpfs small 2>/dev/null; then
        echo old >small/a
        Refused 1 ': small/a: cannot be written: No space left on device; make room' \
            dcfsim-trace "$SOURCE/experiments/rts-pairs.json" --load 5000 --from 0 --ticks 300000 \
            --pcap small/a
        ls small >left
        Equal 'older file on a full disk' "$(cat small/a) $(cat left)" 'old a'
        umount small
    fi
    dcfsim-trace own.json "${own[@]}" --csv a >said
    Equal 'said' "$(cut -d: -f 1 said)" 'Load 1000 kbit/s, trial 1, ticks 0 to 10, seed 1'
    Equal 'head' "$(head -1 a)" 'tick,station,event,frame,peer,retry,detail'
    dcfsim-trace own.json "${own[@]}" --seed 77 --csv a >said
    grep -q ', seed 77: ' said || Fail "$(cat said)"
    # The man page and the help know the same options.
    dcfsim-trace --help | grep -oE -- '--[a-z-]+' | sort -u >helped
    sed 's/\\-/-/g' "$SOURCE/docs/man/dcfsim-trace.1" | grep -oE -- '--[a-z-]+' |
        sort -u | diff helped - || Fail 'options of the man page'
}

# Those of the documents are drawn by this program, and the command of the README draws an exchange.
Drawings() {
    sed -n '\|^    build/release/dcfsim-trace|,/--svg/p' "$SOURCE/README.md" |
        sed "s|build/release|$BIN|" | bash >said
    Equal 'frames of the README' "$(grep -o '>\(DATA\|ACK\) to [^<]*' exchange.svg | paste -s)" \
        $'>DATA to 1, packet 0\t>ACK to 0'
    "$SOURCE/scripts/draw-exchanges" --compare "$BIN" || Fail 'run scripts/draw-exchanges BUILD_DIR'
    local drawing
    for drawing in exchange same-start between; do
        grep -q "]($drawing.svg)" "$SOURCE/docs/model.md" || Fail "$drawing.svg is not shown"
    done
    Refused 2 '' bash -c "'$SOURCE/scripts/draw-exchanges' nowhere 2>&1 | head -1 >&2; exit 2"
}

RunCase
