#!/usr/bin/env bash
# Tests of dcfsim-compare, on quick replications.
# Cases: Same Paired Welch Trees Refusals
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

# Must end with status $1 and say $2; the rest is the command line.
Compared() {
    local status=0 wanted=$1 line=$2
    shift 2
    dcfsim-compare "$@" >out 2>err || status=$?
    [[ ! -s err ]] || Fail "$(cat err)"
    Equal "status of $*" "$status" "$wanted"
    grep -qE -- "$line" out || Fail "$*: '$(cat out)' does not match '$line'"
}

# Adds $2 and 0.01 for each seed before to the throughput of flow 1 at 20 Mbit/s in campaign $1.
Raise() {
    local tree i=0
    for tree in "$1"/seed-*/result/10node_design/1500; do
        awk -v more="$2" -v i=$((i++)) -v OFS='\t' \
            'NR == 22 { $3 = sprintf("%.5f", $3 + more + 0.01 * i) } { print }' \
            "$tree/throughput.txt" >new
        mv new "$tree/throughput.txt"
    done
}

# Names the replications of campaign $1 anew, by seeds from $2 on.
Rename() {
    local seed next=$2
    for seed in "$1"/seed-*; do
        sed -i "s/\"seed\": [0-9]*/\"seed\": $next/" "$seed/manifest.json"
        mv "$seed" "$1/seed-$((next++))"
    done
}

Same() {
    dcfsim-replicate --quick -r 4 -s 11 one >/dev/null
    dcfsim-replicate --quick -r 4 -s 21 other >/dev/null
    Compared 0 '^4 pairs .* same seeds \(lcg-16807\)\.$' one one
    Compared 0 '^Nothing differs\.$' one one
    Compared 0 '^4 and 4 independent runs, .* Welch' one other
    Compared 0 '^[0-9]+ tests\. Nothing differs\.$' one other
    # Only two of the seeds ran in both.
    Rename other 13
    Compared 0 '^2 pairs .*, 4 without a partner left out\.$' one other
    # The same seeds of another generator are others.
    sed -i 's/"seed"/"generator": "mt19937-64", "seed"/' other/seed-*/manifest.json
    Compared 0 '^4 and 4 independent runs' one other
}

Paired() {
    dcfsim-replicate --quick -r 4 -s 11 one >/dev/null
    cp -r one other
    Raise other 0.5
    # Differences 0.50, 0.51, 0.52, 0.53: mean 0.515, standard error 0.01291 / 2, t = 3.182 for three
    # degrees of freedom; of all quantities only this one and the total are not the same.
    Compared 1 '^2 tests\. 2 values differ' one other -o all.csv
    grep -qE '^throughput.txt +20  flow 1 +throughput .* 0\.515 +0\.0205 ' out || Fail "$(cat out)"
    awk -F, '$1 == "throughput.txt" && $2 == 20 && $4 == 1 && $5 == "throughput" {
        printf "%d %d %.5f %.5f %.5f %s\n", $7, $9, $10 - $8, $11, $12, $15 }' all.csv >actual
    Equal 'row of the table' "$(cat actual)" '4 4 0.51500 0.51500 0.02054 yes'
    Equal 'rows that differ' "$(grep -c ',yes$' all.csv)" 2
    Equal 'rows' "$(wc -l <all.csv)" "$(wc -l <one/summary.csv)"
    Compared 0 'Nothing differs' one other -m buf -m delay
    Compared 1 '^1 tests' one other -m throughput
    Compared 1 '^and 1 more' one other -r 1
}

Welch() {
    dcfsim-replicate --quick -r 4 -s 11 one >/dev/null
    dcfsim-replicate --quick -r 3 -s 21 other >/dev/null
    Raise other 40
    Compared 1 '^throughput.txt +20  flow 1 +throughput ' one other -o all.csv -m throughput
    # By hand: means and variances, and Welch's degrees of freedom.
    for i in one other; do
        awk 'FNR == 22 { n++; s += $3; q += $3 * $3 } END { printf "%.12g %.12g ", s / n,
            (q - s * s / n) / (n - 1) / n }' "$i"/seed-*/result/10node_design/1500/throughput.txt
    done | awk '{ print $3 - $1, sqrt($2 + $4), ($2 + $4) ^ 2 / ($2 ^ 2 / 3 + $4 ^ 2 / 2) }' >byhand
    local difference error freedom
    read -r difference error freedom <byhand
    # Quantiles for 2 and 5 degrees of freedom are 4.303 and 2.571: what lies between is the interval.
    awk -F, -v d="$difference" -v e="$error" '/^throughput.txt,20,flow,1,/ {
        if (($11 - d) ^ 2 > 1e-8 || $12 < 2.57 * e || $12 > 4.31 * e) exit 1 }' all.csv ||
        Fail "by hand $difference, error $error, freedom $freedom: $(grep '^thr.*,20,flow,1,' all.csv)"
    # One run against a campaign.
    Compared 1 '^1 and 3 independent runs' one/seed-11 other -m throughput
}

Trees() {
    MakeTree tree
    cp -r tree other
    Compared 0 '^One run each, so no intervals: any difference counts\.$' tree other
    Compared 0 '^Nothing differs\.$' tree other
    awk -v OFS='\t' 'NR == 22 { $3 = "77.00000" } { print }' tree/throughput.txt >other/throughput.txt
    Compared 1 '^2 values differ\.$' tree other
    # A value where the other has none.
    sed 's/-nan/0.00000/' tree/drop.txt >other/drop.txt
    Compared 1 '^drop.txt .* nan +0 +nan ' tree other -m drop_ratio
}

Refusals() {
    dcfsim-replicate --quick -r 2 -s 11 one >/dev/null
    cp -r one other
    Refused 2 'B is required' dcfsim-compare one
    Refused 2 "^dcfsim-compare: 'thr0' is no metric; " dcfsim-compare one one -m thr0
    Refused 2 '^dcfsim-compare: none/result.txt: cannot be read' dcfsim-compare one none
    Refused 2 '^dcfsim-compare: none/all.csv: cannot be written: .*; ' \
        dcfsim-compare one one -o none/all.csv
    sed -i 's/"quick": true/"quick": false/' other/seed-*/manifest.json
    Refused 2 'other: is a whole campaign, one a quick one' dcfsim-compare one other
    cp -r other/seed-12 one/seed-13
    sed -i 's/"seed": 12/"seed": 13/' one/seed-13/manifest.json
    Refused 2 'one: holds quick and whole replications.*; move' dcfsim-compare one other
    rm -r one/seed-13
    sed -i '30s/[0-9]/x/' other/seed-12/result/10node_design/1500/drop.txt
    sed -i 's/"quick": false/"quick": true/' other/seed-*/manifest.json
    Refused 2 '/seed-12/.*/drop.txt:30: .*; restore it' dcfsim-compare one other
    rm -r other/seed-*
    Refused 2 '^dcfsim-compare: other: holds no replications; run' dcfsim-compare one other
}

RunCase
