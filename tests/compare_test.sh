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

# Gives each replication in campaign $1 a hash of what it holds now.
Rehash() {
    local seed hash
    for seed in "$1"/seed-*; do
        hash=$(cd "$seed" && find result -type f | LC_ALL=C sort | xargs sha256sum | sha256sum)
        sed -i "s/\(\"tree_sha256\": \"\)[^\"]*/\1${hash%% *}/" "$seed/manifest.json"
    done
}

# Adds $2 and 0.01 for each seed before to the mean queue of station 2 at 20 Mbit/s in campaign $1,
# which nothing else in the files tells.
Raise() {
    local tree i=0
    for tree in "$1"/seed-*/result/10node_design/1500; do
        awk -v more="$2" -v i=$((i++)) -v OFS='\t' '/^num_off/ { load = int($3) }
            load == 20 && /^ *2[ \t]/ { $17 = sprintf("%.5f", $17 + more + 0.01 * i) } { print }' \
            "$tree/node_stat.txt" >new
        mv new "$tree/node_stat.txt"
    done
    Rehash "$1"
}

Same() {
    dcfsim-replicate --quick -r 4 -s 11 one >/dev/null
    dcfsim-replicate --quick -r 4 -s 21 other >/dev/null
    Compared 0 '^4 pairs .* same seeds \(lcg-16807\)\.$' one one
    Compared 0 '^Nothing differs\.$' one one
    Compared 0 '^4 and 4 independent runs, .* Welch' one other
    Compared 0 '^[0-9]+ tests\. Nothing differs\.$' one other
    Compared 0 '^So few runs show none but large differences\.$' one other
    # Only two of the seeds ran in both.
    dcfsim-replicate --quick -r 4 -s "$(SeedsFrom 11 3 | tail -n 1)" third >/dev/null
    Compared 0 '^2 pairs .*, 4 without a partner left out\.$' one third
    # The same seeds of another generator are others.
    sed -i 's/lcg-16807/mt19937-64/' third/seed-*/manifest.json
    Compared 0 '^4 and 4 independent runs' one third
}

Paired() {
    dcfsim-replicate --quick -r 4 -s 11 one >/dev/null
    cp -r one other
    Raise other 0.5
    # Differences 0.50, 0.51, 0.52, 0.53: mean 0.515, standard error 0.01291 / 2, t = 3.182 for three
    # degrees of freedom; of all quantities only this one and what is reckoned from it differ.
    Compared 1 '^2 tests\. 2 values differ' one other -o all.csv
    grep -qE '^node_stat.txt +20  station 2 +buf .* 0\.515 +0\.0205 ' out || Fail "$(cat out)"
    awk -F, '$1 == "node_stat.txt" && $2 == 20 && $4 == 2 && $5 == "buf" {
        printf "%d %d %.5f %.5f %.5f %s\n", $7, $9, $10 - $8, $11, $12, $15 }' all.csv >actual
    Equal 'row of the table' "$(cat actual)" '4 4 0.51500 0.51500 0.02054 yes'
    Equal 'rows that differ' "$(grep -c ',yes$' all.csv)" 2
    Equal 'rows' "$(wc -l <all.csv)" "$(wc -l <one/summary.csv)"
    Compared 0 'Nothing differs' one other -m throughput -m delay
    Compared 1 '^1 tests' one other -m buf
    Compared 1 '^and 1 more' one other -r 1
    Compared 1 '^node_stat.txt .* buf ' one other -r 1 # the more certain one
}

Welch() {
    dcfsim-replicate --quick -r 4 -s 11 one >/dev/null
    dcfsim-replicate --quick -r 3 -s 21 other >/dev/null
    Raise other 4000
    Compared 1 '^node_stat.txt +20  station 2 +buf ' one other -o all.csv -m buf
    # By hand: means and variances, and Welch's degrees of freedom.
    for i in one other; do
        awk '/^num_off/ { load = int($3) }
            load == 20 && /^ *2[ \t]/ { sum[FILENAME] += $17 / 2 }
            END { for (of in sum) { n++; s += sum[of]; q += sum[of] ^ 2 }
                  printf "%.12g %.12g ", s / n, (q - s * s / n) / (n - 1) / n }' \
            "$i"/seed-*/result/10node_design/1500/node_stat.txt
    done | awk '{ printf "%.10g %.10g %.3f\n", $3 - $1, sqrt($2 + $4),
        ($2 + $4) ^ 2 / ($2 ^ 2 / 3 + $4 ^ 2 / 2) }' >byhand
    local difference error freedom
    read -r difference error freedom <byhand
    # Quantiles for 3 and 4 degrees of freedom are 3.182 and 2.776: what lies between is the interval.
    awk -v f="$freedom" 'BEGIN { exit !(f > 3 && f < 4) }' || Fail "degrees of freedom: $freedom"
    awk -F, -v d="$difference" -v e="$error" '/^node_stat.txt,20,station,2,/ {
        rows += ($11 - d) ^ 2 < 1e-10 && $12 > 2.777 * e && $12 < 3.182 * e } END { exit rows != 1 }' \
        all.csv ||
        Fail "by hand $difference, error $error, freedom $freedom: $(grep ',20,station,2,' all.csv)"
    # One run against a campaign.
    Compared 1 '^1 and 3 independent runs' one/seed-11 other -m buf
}

Trees() {
    MakeTree tree
    cp -r tree other
    Compared 0 '^One run each, so no intervals: any difference counts\.$' tree other
    Compared 0 '^Nothing differs\.$' tree other
    awk -v OFS='\t' '/^ *6[ \t]/ && ++n == 60 { $17 = "77.00000" } { print }' tree/node_stat.txt \
        >other/node_stat.txt
    Compared 1 '^2 values differ\.$' tree other
    # A value where the other has none.
    dcfsim-replicate --quick --one 8 made >/dev/null
    Compared 1 '^delay.txt +1  flow 1 +delay +nan +353.625 +nan ' tree made/seed-8 -m delay
    Compared 1 '^delay.txt +1  flow 1 +delay +353.625 +nan +nan ' made/seed-8 tree -m delay
}

Refusals() {
    local second
    dcfsim-replicate --quick -r 2 -s 11 one >/dev/null
    cp -r one other
    Refused 2 'B is required' dcfsim-compare one
    Refused 2 "^dcfsim-compare: 'thr0' is no metric; " dcfsim-compare one one -m thr0
    Refused 2 '^dcfsim-compare: none/result.txt: cannot be read' dcfsim-compare one none
    Refused 2 '^dcfsim-compare: none/all.csv: cannot be written: .*; ' \
        dcfsim-compare one one -o none/all.csv
    sed -i 's/"quick": true/"quick": false/' other/seed-*/manifest.json
    Refused 2 'other: is a whole campaign, one a quick one' dcfsim-compare one other
    second=$(SeedsFrom 11 2 | tail -n 1)
    cp -r "other/seed-$second" one/seed-13
    sed -i "s/\"seed\": $second/\"seed\": 13/" one/seed-13/manifest.json
    Refused 2 'one: holds quick and whole replications.*; move' dcfsim-compare one other
    rm -r one/seed-13
    sed -i '30s/[0-9]/x/' other/seed-"$second"/result/10node_design/1500/drop.txt
    sed -i 's/"quick": false/"quick": true/' other/seed-*/manifest.json
    Refused 2 '/seed-[0-9]*/.*/drop.txt:30: .*; restore it' dcfsim-compare one other
    MakeTree tree
    sed -i '31s/0.00000$/1.00000/' tree/dmac_node_node.txt
    Refused 2 "^dcfsim-compare: tree/dmac_node_node.txt:31: '1.00000' [^;]*; restore [^;]*\$" \
        dcfsim-compare tree one
    rm -r other/seed-*
    Refused 2 '^dcfsim-compare: other: holds no replications; run' dcfsim-compare one other
}

RunCase
