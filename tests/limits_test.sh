#!/usr/bin/env bash
# Tests of the numbers that the tools take, and of what they make of them.
# Cases: Numbers Quick Jobs Children
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

# The first and last number that an option takes, and those beyond.
Numbers() {
    local option number
    while read -r option number; do
        Refused 2 "--[a-z-]*: Value $number not in range" dcfsim-replicate "$option" "$number" one
    done <<'END'
-r 0
-r 1000001
-s 0
-s 2147483647
-j 0
-j 10001
--one 0
--one 2147483647
END
    for number in 1x x 1.5 '' 99999999999999999999; do
        for option in -r -s -j --one; do
            Refused 2 "^dcfsim-replicate: .*; try 'dcfsim-replicate --help'" \
                dcfsim-replicate "$option" "$number" one
        done
    done
    [[ ! -e one ]] || Fail 'a refused command left something'
    dcfsim-replicate --quick --one 1 -j 10000 one >/dev/null
    dcfsim-replicate --quick --one 2147483646 -j 1 one >/dev/null
    Equal 'seeds' "$(cd one && echo seed-*)" 'seed-1 seed-2147483646'
}

# A thousandth of every load point: window and time before it.
Quick() {
    MakeTree tree
    Equal 'shares add up to' "$(awk '$1 ~ /^[0-9]$/ { print $NF }' tree/node_stat.txt | sort -u)" \
        0.001000
    # Active together at most from the first tick to the last, 40 ms.
    awk '/^node/ && $2 > 40000 / 3e7 { exit 1 }' tree/trans_con.txt || Fail 'active for too long'
    grep -q '"seed": 7,$' made/seed-7/manifest.json || Fail 'the seed of the manifest'
    # The seed tells the tree, in whatever campaign; another one gives another tree.
    dcfsim-replicate --quick --one 7 again >/dev/null
    dcfsim-replicate --quick --one 8 again >/dev/null
    cmp tree/node_stat.txt again/seed-7/result/10node_design/1500/node_stat.txt
    ! cmp -s tree/node_stat.txt again/seed-8/result/10node_design/1500/node_stat.txt ||
        Fail 'two seeds, one tree'
}

# As many processes at a time as asked for, as long as there is work for them.
Jobs() {
    local jobs command children most
    for jobs in 1 3; do
        dcfsim-replicate --quick -r 7 -j $jobs -s 5 "of$jobs" >log &
        command=$! most=0
        while kill -0 $command 2>/dev/null; do
            children=$(wc -w 2>/dev/null <"/proc/$command/task/$command/children") || break
            ((children <= jobs)) || Fail "$children at a time of $jobs"
            ((children <= most)) || most=$children
            sleep 0.01
        done
        wait "$command"
        Equal 'at a time' "$most" "$jobs"
        Equal 'replications' "$(find "of$jobs" -name 'seed-*' | wc -l)" 7
    done
}

# A child that is killed, and one whose program fails, leave nothing finished.
Children() {
    dcfsim-replicate --one 3 one >out 2>err &
    local command=$! child='' status=0
    until [[ -n $child ]]; do
        child=$(cat "/proc/$command/task/$command/children")
        sleep 0.02
    done
    kill -TERM "$child"
    wait "$command" || status=$?
    Equal 'status' "$status" 1
    grep -q '^dcfsim-replicate: seed 3: its process died of signal 15 (Terminated)' err ||
        Fail "$(cat err)"
    [[ ! -e one/seed-3 ]] || Fail 'finished by a child that was killed'
    dcfsim-replicate --quick --one 3 one >/dev/null
    dcfsim-check -q one/seed-3
}

RunCase
