#!/usr/bin/env bash
# Tests of campaigns of experiments of one's own, from the replications to the figures.
# Cases: Pairs Flows Seeds Compared Damaged Honest Recorded Long
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

TREE=result/10node_design/1500

# Five pairs at distance $1, with more keys in $2.
FivePairs() {
    cat <<JSON
{ "title": "Pairs $1 m apart", "loads_kbps": [1500, 14000, 20000], "trials": 2, "ticks": 300000,
  "window": [100000, 300000]${2-},
  "stations_m": [[0, 0], [0, 1], [$1, 0], [$1, 1], [$(($1 * 2)), 0], [$(($1 * 2)), 1],
                 [$(($1 * 3)), 0], [$(($1 * 3)), 1], [$(($1 * 4)), 0], [$(($1 * 4)), 1]] }
JSON
}

# Relays and weights: two flows in a chain, of which the rows by pair know nothing.
Chain() {
    cat <<'JSON'
{ "seed": 5, "loads_kbps": [400, 2500], "ticks": 300000, "window": [50000, 299999],
  "stations_m": "chain", "routes": "chain",
  "flows": [{"from": 1, "to": 9}, {"from": 6, "to": 0, "weight": 2}] }
JSON
}

# Mean and half-width over files of one number per line; t = 4.302653 for two degrees of freedom.
Interval() {
    awk '{ sum += $1; v[NR] = $1 } END { m = sum / 3; for (i = 1; i <= 3; ++i) s += (v[i] - m) ^ 2
        printf "%.6f %.6f\n", m, 4.302653 * sqrt(s / 2 / 3) }'
}

# The whole way of a campaign whose rows are those of the five pairs.
Pairs() {
    FivePairs 25 >pairs.json
    dcfsim-replicate -e pairs.json -s 11 -r 3 one >log
    local seeds seed
    mapfile -t seeds < <(dcfsim-replicate --list-seeds -e pairs.json -s 11 -r 3)
    Equal 'seeds' "$(cd one && printf '%s\n' seed-* | sort)" \
        "$(printf 'seed-%s\n' "${seeds[@]}" | sort)"
    # A replication has the bytes of a run of its seed.
    sed "s/{ /{ \"seed\": ${seeds[1]}, /" pairs.json >alone.json
    dcfsim-experiment alone.json --out alone >/dev/null
    diff -r -x result.txt -x fig "alone/10node_design/1500" "one/seed-${seeds[1]}/$TREE" ||
        Fail 'a replication differs from a run'
    Equal 'files' "$(find "one/seed-${seeds[1]}/$TREE" -type f | wc -l)" 44
    dcfsim-check -q one/seed-11 && dcfsim-check -q alone

    # Loads are those of the experiment; two quantities by hand.
    Equal 'loads' "$(cut -d, -f2 one/summary.csv | sed 1d | sort -nu | xargs)" '1.5 14 20'
    for seed in "${seeds[@]}"; do
        awk 'NR == 4 { print $2 + $3 + $4 + $5 + $6 }' "one/seed-$seed/$TREE/throughput.txt"
    done | Interval >wanted
    awk -F, '$2 == 20 && $5 == "total_throughput" { printf "%.6f %.6f\n", $8, $10 }' \
        one/summary.csv | cmp - wanted || Fail 'total throughput'
    for seed in "${seeds[@]}"; do
        awk -F, '$1 == 14000 && $3 == 4 { s += $7 } END { printf "%.9f\n", s / 2 }' \
            "one/seed-$seed/$TREE/flows.csv"
    done | Interval | awk '{ printf "%.6g %.6g\n", $1, $2 }' >wanted
    grep '^flows.csv,14,flow,4->5,delay,us,3,' one/summary.csv |
        awk -F, '{ printf "%.6g %.6g\n", $8, $10 }' | cmp - wanted || Fail 'delay of a flow'

    # The same command goes on, with or without the experiment; not with another one.
    dcfsim-replicate -r 4 one >log
    Equal 'replications' "$(grep -c ' done, ' log) $(find one -name 'seed-*' | wc -l)" '1 4'
    FivePairs 26 >other.json
    Refused 1 '^dcfsim-replicate: one: holds a campaign of another experiment; use another' \
        dcfsim-replicate -e other.json -r 5 one
    dcfsim-replicate --quick -r 2 -s 3 published >/dev/null
    Refused 1 'holds a campaign of the published experiment' \
        dcfsim-replicate --quick -e pairs.json published
    local name
    name=$(basename "$(find published -name 'seed-*' | tail -n 1)")
    rm -r "published/$name" && mv "one/seed-${seeds[2]}" published
    sed -i 's/"quick": false/"quick": true/' "published/seed-${seeds[2]}/manifest.json"
    Refused 1 'published: holds replications of different experiments' \
        dcfsim-replicate --summarise published
}

# Flows of one's own: rows, verdicts and figures come from flows.csv.
Flows() {
    Chain >chain.json
    dcfsim-replicate -e chain.json -r 3 one >/dev/null 2>warnings
    grep -q '^dcfsim-replicate: chain.json: warning: routes: ' warnings || Fail 'no warning'
    grep -q '"warnings": \[' one/seed-5/result/manifest.json || Fail 'no warning in a manifest'
    dcfsim-check -q one/seed-5
    awk -F, 'FNR > 1 { at = $1 / 1000 " " $3 "->" $4; n[at] += $5 * 249950 / 12000
            kept[at] += ($5 - $6) * 249950 / 12000 - $9 }
        END { for (at in n) print at, kept[at] <= 3.5 * sqrt(n[at]) ? "yes" : "no" }' \
        one/seed-*/$TREE/flows.csv | sort >wanted
    awk -F, '$1 == "flows.csv" && $5 == "delay" { print $2, $4, $11 }' one/summary.csv | sort |
        cmp - wanted || Fail "verdicts: $(cat wanted)"
    Equal 'verdicts' "$(cut -d' ' -f3 wanted | sort -u | xargs)" 'no yes'

    gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'
    dcfsim-figures one >/dev/null
    # shellcheck disable=SC2016
    sed -n '/^\$throughput1_0/,/^END/p' one/fig/figures.gp | awk 'NF == 6 && $2 != "nan" { print $1, $2 }' >drawn
    awk -F, '$5 == "total_throughput" { printf "%s %.6g\n", $2, $8 }' one/summary.csv >wanted
    cmp drawn wanted || Fail 'total throughput as drawn'
    local text
    for text in 'flow 1-&gt;9' '"loads":\[0.4,2.5\]' 'other than the published one in: flows, ' \
        '3 replications with 95 %'; do
        grep -q "${text/&gt;/>}" one/fig/index.html || Fail "not on the page: $text"
    done
    [[ ! -e one/fig/collisions.svg ]] || Fail 'collisions of flows that have no rows'
}

# What does not fit on the cycle of the published generator takes the other one.
Seeds() {
    echo '{ "ticks": 30000000, "loads_kbps": [1000, 2000] }' >long.json
    local limit=15 # 2^31 draws, of which a run takes 1.2e8 to 1.4e8
    Refused 2 "more than $limit replications of this experiment need --generator mt19937-64: one draws" \
        dcfsim-replicate -e long.json -r $((limit + 1)) --list-seeds -s 4
    Equal 'seeds' "$(dcfsim-replicate -e long.json -r $limit --list-seeds -s 4 | sort -u | wc -l)" $limit
    # Longer than the cycle.
    echo "{ \"ticks\": 40000000, \"loads_kbps\": [$(seq -s, 1000 1000 27000)] }" >longer.json
    Refused 2 'replications of this experiment need --generator mt19937-64' \
        dcfsim-replicate -e longer.json --quick one
    [[ ! -e one ]] || Fail 'a directory was made'
    dcfsim-replicate -e longer.json --quick -g mt19937-64 -r 2 -s 4 one >/dev/null
    Equal 'streams' "$(grep -h '^    "replication"' one/seed-*/manifest.json | sort | xargs)" \
        'replication: 0, replication: 1,'
    echo '{ "seed": 0 }' >zero.json
    Refused 2 'seed: stands at 0; allowed in a campaign: 1 \.\. 2147483646$' \
        dcfsim-replicate -e zero.json two
    echo '{ "trials": 0 }' >zero.json
    Refused 2 'trials: stands at 0; allowed: ' dcfsim-replicate -e zero.json two
    [[ ! -e two ]] || Fail 'a directory was made'
}

# Two experiments, load by load.
Compared() {
    local name
    FivePairs 25 >25.json
    FivePairs 30 >30.json
    FivePairs 30 ', "data_bytes": 500' | sed 's/1500, 14000/2000, 14000/' >short.json
    for name in 25 30 short; do
        dcfsim-replicate -e $name.json -s 1 -r 4 $name >/dev/null
    done
    # Who hears whom is the same.
    dcfsim-compare 25 30 >out
    Equal 'layouts' "$(grep -E '^(Two|Nothing)' out | xargs)" \
        'Two experiments, which differ in: stations_m. Nothing differs.'
    local status=0
    dcfsim-compare 30 short -m total_throughput -o all.csv >out || status=$?
    Equal 'status' "$status" 1
    grep -q '^Two experiments, which differ in: data_bytes, loads_kbps\.$' out || Fail "$(cat out)"
    grep -q '^Left out: 1 loads of A and 1 of B that the other one has not\.$' out ||
        Fail "$(cat out)"
    Equal 'loads' "$(cut -d, -f2 all.csv | xargs)" 'load_mbps 14 20'
    for name in 30 short; do
        awk -F, '$2 == 20 && $5 == "total_throughput" { print $8 }' $name/summary.csv
    done | xargs >wanted
    awk -F, '$2 == 20 { print $8, $10 }' all.csv | cmp - wanted || Fail 'means'
    # A total is one, whichever file tells the flows.
    FivePairs 25 ', "flows": [{"from": 0, "to": 1}]' >lone.json
    dcfsim-experiment lone.json --out lone >/dev/null
    dcfsim-compare 25 lone -m total_throughput -o all.csv >/dev/null || Equal 'status' $? 1
    Equal 'loads' "$(cut -d, -f2 all.csv | xargs)" 'load_mbps 1.5 14 20'
    awk 'NR == 4 { printf "%.4f\n", $2 }' lone/10node_design/1500/throughput.txt >wanted
    awk -F, '$2 == 20 { printf "%.4f\n", $10 }' all.csv | cmp - wanted || Fail 'total of one flow'
    sed -i 's/"loads_kbps": \[[0-9]*, 14000, 20000\]/"loads_kbps": [3000]/' short.json
    dcfsim-experiment short.json --out other >/dev/null
    Refused 2 'nothing can be compared: the experiments have no load in common' \
        dcfsim-compare 30 other
}

# Honest results of odd experiments pass.
Honest() {
    # Packets come in every tick; then also an exchange that the end of the run cuts off.
    cat >full.json <<'JSON'
{ "seed": 692173990, "ticks": 500, "window": [250, 500], "loads_kbps": [1234, 10000000],
  "data_bytes": 2 }
JSON
    cat >cut.json <<'JSON'
{ "seed": 797633241, "trials": 1, "ticks": 3000, "window": [0, 3000], "loads_kbps": [3000000] }
JSON
    local name
    for name in full cut; do
        dcfsim-experiment $name.json --out $name >/dev/null
        dcfsim-check -q $name
    done
    # Packets of two sizes in one directory: the manifest is that of the last run.
    dcfsim-experiment full.json --out cut >/dev/null
    dcfsim-check -q cut
    dcfsim-check -q cut/10node_design/30
    Refused 1 'cut/manifest.json is of a run with packets of 30 bytes; give each run a directory' \
        dcfsim-check -q cut/10node_design/1500
    # Results alone do not tell their experiment.
    cp -r full/10node_design/30 alone
    Refused 1 'alone/flows.csv:2: .* without a manifest.json these are taken for .*: copy the whole' \
        dcfsim-check -q alone
}

# Replications that were run one by one tell their experiment too.
Recorded() {
    FivePairs 25 >25.json
    FivePairs 26 >26.json
    dcfsim-replicate -e 25.json -s 7 --one 7 one >/dev/null
    Refused 1 '^dcfsim-replicate: one: holds a campaign of another experiment; use another' \
        dcfsim-replicate -e 26.json -s 7 -r 2 one
    dcfsim-replicate -s 7 -r 2 one >/dev/null
    dcfsim-replicate -e 25.json -r 3 one >/dev/null
    Equal 'replications' "$(find one -name 'seed-*' | wc -l)" 3

    echo '{ "loads_kbps": [0], "ticks": 1000, "window": [0, 999] }' >silent.json
    Refused 2 'dcfsim-replicate: --precision needs an experiment with a load above 0' \
        dcfsim-replicate -e silent.json -p 5 two
    [[ ! -e two ]] || Fail 'a directory was made'
}

# The summary of many loads is read again.
Long() {
    gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'
    echo "{ \"loads_kbps\": [$(seq -s, 0 100 35900)], \"trials\": 1, \"ticks\": 200, \"window\": [0, 199] }" >long.json
    dcfsim-replicate -e long.json -s 7 -r 1 one >/dev/null
    (($(wc -c <one/summary.csv) > 64 << 20)) || Fail 'the summary is not long'
    dcfsim-figures one >/dev/null
}

# dcfsim-check must refuse the directory $1, and say $2 in a line.
Blamed() {
    local status=0
    dcfsim-check -q "$1" 2>err || status=$?
    Equal "status of $1" "$status" 1
    grep -qE -- "$2" err || Fail "'$(cat err)' does not match '$2'"
}

# Files of other experiments are held to rules and hashes too.
Damaged() {
    FivePairs 25 | sed 's/{ /{ "seed": 4, /' >pairs.json
    dcfsim-experiment pairs.json --out run >/dev/null
    local tree=run/10node_design/1500 file
    cp -r run whole
    for file in delay.txt flows.csv; do
        sed -i '3s/[1-8]/9/' "$tree/$file"
        Blamed run "$file: differs from its hash in manifest.json: it was changed after the run"
        cp "whole/10node_design/1500/$file" "$tree"
    done
    dcfsim-check -q run
    # Without hashes the values tell.
    sed -i '/"sha256": {/,/}/d' run/manifest.json
    dcfsim-check -q run
    local damage
    while IFS='|' read -r file damage; do
        sed -i "$damage" "$tree/$file"
        Blamed run "/$file:[0-9]+: '"
        cp "whole/10node_design/1500/$file" "$tree"
    done <<'END'
flows.csv|2s/^\(\([^,]*,\)\{4\}\)[0-9]/\19/
flows.csv|3s/^\(\([^,]*,\)\{5\}\)[^,]*/\10.001/
flows.csv|4s/,[0-9]*$/,900/
flows.csv|5s/^1500,1/1500,2/
flows.csv|6s/\.[0-9]*,/.x,/
throughput.txt|3s/[1-9]\.[0-9]*/0.50000/
END
    rm $tree/flows.csv
    dcfsim-check -q run # results of pairs alone can do without
    sed -i 's/"flows": \[{"from": 0, "to": 1/"flows": [{"from": 1, "to": 0/' run/manifest.json
    Blamed run 'flows.csv: missing'
    sed -i 's/"trials": 2/"trials": 0/' run/manifest.json
    Blamed run 'manifest.json: experiment: trials: stands at 0; allowed: .*; restore it'
    dcfsim-export whole >all.csv
    Equal 'exported' "$(grep -c '^flows.csv,[12],1.5,flow,[0-9]->[0-9],throughput,Mbit/s,' all.csv)" 10
}

RunCase
