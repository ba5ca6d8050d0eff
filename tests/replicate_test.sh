#!/usr/bin/env bash
# Tests of dcfsim-replicate, on quick replications.
# Cases: Campaign Generators Precision Interrupt Signals Sharing Failures FullDisk BadJson
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

Seeds() { # of the replications in a directory, ascending
    (cd "$1" && printf '%s\n' seed-*) | sed 's/seed-//' | sort -n | xargs
}

Sorted() {
    printf '%s\n' "$@" | sort -n | xargs
}

Campaign() {
    dcfsim-replicate --quick -r 3 -s 11 -j 2 one >log
    local seeds
    mapfile -t seeds < <(SeedsFrom 11 4)
    Equal 'first seed' "${seeds[0]}" 11
    Equal 'seeds' "$(Seeds one)" "$(Sorted "${seeds[@]:0:3}")"
    Equal 'plain lines' "$(grep -c '^seed .* done, . of 3, about .* left$' log)" 3
    dcfsim-check -q "one/seed-${seeds[1]}"
    local hash seed
    for seed in "${seeds[@]:0:3}"; do
        hash=$(cd "one/seed-$seed" && find result -type f | LC_ALL=C sort | xargs sha256sum |
            sha256sum | cut -d' ' -f1)
        grep -q "\"tree_sha256\": \"$hash\"" "one/seed-$seed/manifest.json" || Fail "hash of $seed"
        echo "$hash"
    done | sort -u >hashes
    Equal 'different trees' "$(wc -l <hashes)" 3
    grep -q '"quick": true' one/seed-11/manifest.json || Fail 'the manifest does not say quick'

    # One quantity by hand: the mean over two trials, over three replications; t = 4.302653 for two
    # degrees of freedom.
    for seed in "${seeds[@]:0:3}"; do
        dcfsim-export "one/seed-$seed" | grep '^node_stat.txt,.,20,station,2,cw,slots,'
    done | awk -F, '{ sum[int((NR - 1) / 2)] += $8 / 2 }
        END { m = (sum[0] + sum[1] + sum[2]) / 3
              for (i in sum) s += (sum[i] - m) ^ 2
              s = sqrt(s / 2); printf "3 %.6f %.6f %.6f\n", m, s, 4.302653 * s / sqrt(3) }' >wanted
    grep '^node_stat.txt,20,station,2,cw,slots,' one/summary.csv |
        awk -F, '{ printf "%d %.6f %.6f %.6f\n", $7, $8, $9, $10 }' >actual
    cmp wanted actual || Fail "summary: $(cat actual), expected $(cat wanted)"
    # The queues that have no steady state, from the counts of all trials.
    for seed in "${seeds[@]:0:3}"; do
        dcfsim-export "one/seed-$seed" | grep -E '^node_stat.txt,.*,(gene|drop|rx1),'
    done | awk -F, '{ at = $3 " " int($5 / 2) }
        $6 == "gene" && $5 % 2 == 0 { gene[at] += $8 }
        $6 == "drop" && $5 % 2 == 0 { gone[at] += $8 }
        $6 == "rx1" && $5 % 2 == 1 { gone[at] += $8 }
        END { for (at in gene)
                  print at, (gene[at] - gone[at] > 3.5 * sqrt(gene[at]) ? "no" : "yes") }' |
        sort >wanted
    awk -F, '$1 == "node_stat.txt" && $5 == "buf" && $4 % 2 == 0 { print $2, $4 / 2, $11 }' \
        one/summary.csv | sort | cmp - wanted || Fail 'other flows without a steady state'
    Equal 'verdicts' "$(cut -d' ' -f3 wanted | sort -u | xargs)" 'no yes'
    Equal 'delay without load' "$(grep '^delay.txt,0,flow,0,delay' one/summary.csv)" \
        'delay.txt,0,flow,0,delay,us,0,nan,nan,nan,yes'

    # More replications are added, the first ones stay.
    cp one/seed-11/manifest.json before
    dcfsim-replicate --quick -r 4 one >/dev/null
    Equal 'seeds' "$(Seeds one)" "$(Sorted "${seeds[@]}")"
    cmp before one/seed-11/manifest.json
    Refused 1 'with --quick' dcfsim-replicate one
    Refused 1 'from seed 11 on' dcfsim-replicate --quick -s 12 one
    Refused 2 'no seed of the campaign from seed 11 on' dcfsim-replicate --quick --one 12 one

    # One of consecutive seeds, as they once were.
    echo '{"first_seed": 11, "quick": true}' >one/campaign.json
    Refused 1 'consecutive seeds.*; use another directory' dcfsim-replicate --quick -r 5 one
    cp one/summary.csv before
    dcfsim-replicate --summarise one >/dev/null
    cmp before one/summary.csv
}

Generators() {
    SeedsFrom 5 20 >twenty
    Equal 'usual seeds' "$(dcfsim-replicate --list-seeds -s 5)" "$(head -n 10 twenty)"
    Refused 2 'more than 20 replications need --generator mt19937-64: ' \
        dcfsim-replicate --list-seeds -s 5 -r 21
    Refused 2 'more than 20 replications need' dcfsim-replicate -r 21 one
    [[ ! -e one ]] || Fail 'a refused campaign leaves a directory'
    dcfsim-replicate --list-seeds -s 5 -r 21 -g mt19937-64 | head -n 20 | cmp - twenty ||
        Fail 'the seeds differ by generator'

    # The generator is that of the campaign; seed and number are what a replication depends on.
    dcfsim-replicate --quick -r 2 -s 5 -g mt19937-64 one >/dev/null
    dcfsim-replicate --quick -r 3 one >/dev/null
    local third other
    third=$(sed -n 3p twenty)
    other=$(sed -n 2p twenty)
    grep -q '"generator": "mt19937-64"' "one/seed-$third/manifest.json" || Fail 'generator'
    grep -q '"replication": 2' "one/seed-$third/manifest.json" || Fail 'number'
    dcfsim-replicate --quick --one "$third" -s 5 -g mt19937-64 two >/dev/null
    diff -r one/seed-"$third"/result/10node_design two/seed-"$third"/result/10node_design
    dcfsim-replicate --quick --one "$third" -s "$other" -g mt19937-64 three >/dev/null
    ! diff -rq one/seed-"$third"/result/10node_design three/seed-"$third"/result/10node_design \
        >/dev/null || Fail 'the number of the replication changes nothing'
    Refused 2 'needs --first-seed' dcfsim-replicate --quick --one 5 -g mt19937-64 four

    # Generators do not mix.
    Refused 1 'campaign of generator mt19937-64; use' dcfsim-replicate --quick -g lcg-16807 one
    Refused 2 'lcg-16807,mt19937-64' dcfsim-replicate -g rand one
    dcfsim-replicate --quick --one 6 two >/dev/null
    grep -q '"generator": "lcg-16807"' two/seed-6/manifest.json || Fail 'generator'
    Refused 1 'different generators' dcfsim-replicate --summarise two
}

# The least precise load, and the half-width there in percent of the mean.
Worst() {
    awk -F, '$5 == "total_throughput" && $2 > 0 && (p = 100 * $10 / $8) > worst { worst = p; at = $2 }
        END { print at, worst }' one/summary.csv
}

Precision() {
    # At least five, then as many more as it takes, five at a time.
    dcfsim-replicate --quick -s 3 --precision 90 one >log
    Equal 'replications' "$(Seeds one | wc -w)" 5
    local load five percent num
    read -r load five < <(Worst)
    grep -q "^the worst load, $load Mbit/s, is known to $(printf %.3g "$five") %, 90 % were" log ||
        Fail "$(cat log), by the summary $five at $load"
    dcfsim-replicate --quick --precision "$(awk "BEGIN { print $five * 0.99 }")" one >log
    num=$(Seeds one | wc -w)
    ((num > 5 && num <= 20 && num % 5 == 0)) || Fail "$num replications"
    read -r load percent < <(Worst)
    awk "BEGIN { exit !($percent <= $five * 0.99) }" || Fail "$percent % of $five %"

    # No further than asked for, or than the generator goes.
    Refused 1 'the worst load, [0-9]* Mbit/s, is known to .* after 7 replications, not to 0.001 %' \
        dcfsim-replicate --quick -s 3 -p 0.001 -r 7 two
    Refused 1 'after 20 replications, ' dcfsim-replicate --quick -p 0.001 one
    Refused 2 'not a number' dcfsim-replicate -p nan one
    Refused 2 'not in range|positive' dcfsim-replicate -p 0 one
}

Manifests() { # directory, seeds
    local dir=$1
    shift
    for seed in "$@"; do cat "$dir/seed-$seed/manifest.json"; done
}

Interrupt() {
    dcfsim-replicate --quick -r 6 -j 1 -s 21 one >/dev/null &
    local command=$! child tries=0
    local seeds
    mapfile -t seeds < <(SeedsFrom 21 6)
    until [[ -e one/seed-${seeds[1]} ]]; do sleep 0.02; done
    # A child that was stopped cannot end by itself.
    until child=$(tr -d ' ' <"/proc/$command/task/$command/children") &&
        kill -STOP "$child" 2>/dev/null; do
        sleep 0.02
    done
    kill -KILL "$command"
    wait "$command" 2>/dev/null || true
    while kill -0 "$child" 2>/dev/null; do
        ((++tries < 500)) || {
            kill -KILL "$child"
            Fail 'the child outlives its command'
        }
        sleep 0.02
    done
    [[ ! -e one/seed-${seeds[5]} ]] || Fail 'finished before it was interrupted'
    local finished
    finished=$(Seeds one | wc -w)
    Manifests one "${seeds[@]:0:finished}" >before
    for seed in one/seed-*; do dcfsim-check -q "$seed"; done

    dcfsim-replicate --quick -r 6 -j 1 one >log
    grep -q "^$finished of 6 replications were finished before$" log || Fail "$(cat log)"
    Equal 'seeds' "$(Seeds one)" "$(Sorted "${seeds[@]}")"
    Manifests one "${seeds[@]:0:finished}" | cmp - before ||
        Fail 'a finished replication was run again'
    Equal 'left over' "$(find one -name '.partial*')" ''
}

# A signal leaves what is finished, nothing else, and a hint that goes on.
Signals() {
    local signal command status seeds
    mapfile -t seeds < <(SeedsFrom 21 6)
    for signal in INT TERM HUP; do
        rm -rf 'my campaign'
        env --default-signal=INT dcfsim-replicate --quick -r 6 -j 2 -s 21 'my campaign' \
            >/dev/null 2>err &
        command=$! status=0
        until [[ -e 'my campaign/seed-21' ]]; do sleep 0.02; done
        kill "-$signal" "$command"
        { wait "$command" || status=$?; } 2>/dev/null # bash tells of some signals
        Equal 'status' "$status" $((128 + $(kill -l $signal)))
        Equal 'lines' "$(wc -l <err)" 1
        Equal 'left over' "$(find 'my campaign' -name '.partial*')" ''
        [[ ! -e "my campaign/seed-${seeds[5]}" ]] || Fail 'finished before it was interrupted'
    done
    eval "$(sed -n 's/^dcfsim-replicate: interrupted; .* To go on: //p' err)" >log
    grep -q ' of 6 replications were finished before$' log || Fail "$(cat log)"
    Equal 'seeds' "$(Seeds 'my campaign')" "$(Sorted "${seeds[@]}")"
    # What is ignored from the start, as under nohup, stays so.
    (trap '' HUP && exec dcfsim-replicate --quick -r 2 -s 21 other >/dev/null) &
    command=$!
    until [[ -e other/campaign.json ]]; do sleep 0.02; done
    kill -HUP "$command"
    wait "$command" || Fail 'ended by an ignored signal'
}

# Commands that run at the same time.
Sharing() {
    local round commands command
    for round in 1 2; do
        rm -rf one
        commands=()
        for command in '-r 5 -j 2' '-r 7' '-r 5'; do
            # shellcheck disable=SC2086 # a list of words
            dcfsim-replicate --quick $command one >"log$command" 2>err &
            commands+=($!)
            sleep "0.0$round"
        done
        for command in "${commands[@]}"; do
            wait "$command" || Fail "one of several failed: $(cat err)"
        done
        Equal 'seeds' "$(find one -name 'seed-*' | wc -l)" 7
        Equal 'runs' "$(cat log* | grep -c '^seed ')" 7
        Equal 'left over' "$(find one -name '.*' ! -name one)" ''
        grep -q 'summary of 7 QUICK replications, ' log* || Fail 'nobody has summarised all'
        cp one/summary.csv before
        dcfsim-replicate --summarise one >/dev/null
        cmp before one/summary.csv || Fail 'the summary of several commands is not that of all'
    done

    # Whoever holds a lock ends without a result: the seed is run here.
    local seed
    seed=$(SeedsFrom "$(sed -n 's/.*"first_seed": \([0-9]*\).*/\1/p' one/campaign.json)" 8 |
        tail -n 1)
    flock "one/.partial-$seed.lock" sh -c ': >held; sleep 1' &
    until [[ -e held ]]; do sleep 0.02; done
    dcfsim-replicate --quick --one "$seed" one >log
    grep -q '^1 .* being run by another process; waiting' log || Fail "$(cat log)"
    dcfsim-check -q "one/seed-$seed"
    Equal 'left over' "$(find one -name '.partial*')" ''
}

Failures() {
    Refused 2 'not expected: --fast' dcfsim-replicate --fast one
    Refused 2 'DIR is required' dcfsim-replicate
    Refused 2 'not in range' dcfsim-replicate -s 2147483647 one
    Refused 2 'excludes' dcfsim-replicate --one 3 -r 2 one
    echo in the way >file
    Refused 1 '^dcfsim-replicate: file/one: cannot be made: Not a directory; name' \
        dcfsim-replicate --one 3 file/one
    # A directory that even root cannot write is noticed before the first run.
    Refused 1 '^dcfsim-replicate: /proc: cannot be written: .*; make room' \
        dcfsim-replicate --one 3 /proc
    Refused 1 '^dcfsim-replicate: /proc/campaign.json: cannot be written: ' dcfsim-replicate /proc
    Refused 1 'holds no replications' dcfsim-replicate --summarise .

    local seeds
    mapfile -t seeds < <(SeedsFrom 31 3)
    # Children that outgrow a limit die of a signal; what is finished stays.
    dcfsim-replicate --quick -r 1 -s 31 one >/dev/null
    local status=0
    (ulimit -c 0 -f 100 && dcfsim-replicate --quick -r 3 one) >out 2>err || status=$?
    Equal 'status' "$status" 1
    grep -q "^dcfsim-replicate: seed ${seeds[2]}: its process died of signal 25 " err ||
        Fail "$(cat err)"
    grep -q '^dcfsim-replicate: 2 of 2 replications are missing; to run them: .* -r 3 one$' err ||
        Fail "$(cat err)"
    Equal 'seeds' "$(Seeds one)" 31
    # A disk that is full: the writes fail and nothing else does.
    (trap '' XFSZ && ulimit -f 100 &&
        Refused 1 "^dcfsim-replicate: seed ${seeds[1]}: .*/collision.txt:[0-9]*: " \
            dcfsim-replicate --quick -r 2 one)
    Equal 'left over' "$(find one -name '.partial*')" ''
    dcfsim-replicate --quick -r 2 one >/dev/null
    Equal 'seeds' "$(Seeds one)" "$(Sorted "${seeds[@]:0:2}")"

    cp -r "one/seed-${seeds[1]}" one/seed-032
    Refused 1 "one/seed-032: its manifest is of seed ${seeds[1]}; " dcfsim-replicate --summarise one
    rm -r one/seed-032
    sed -i 's/"quick": true/"quick": "yes"/' one/seed-31/manifest.json
    Refused 1 'one/seed-31/manifest.json: "quick", .*; remove' dcfsim-replicate --summarise one
    rm one/seed-31/manifest.json
    Refused 1 'one/seed-31/manifest.json: cannot be read: No such.*; remove' \
        dcfsim-replicate --summarise one

    # No machine that tests run on has room for ten thousand.
    dcfsim-replicate --quick -r 10000 -j 10000 -s 1 -g mt19937-64 two >log 2>err &
    local command=$! tries=0
    until grep -qE '^[0-9]+ replications at a time instead of 10000: .* memory available' log; do
        ((++tries < 500)) || Fail "$(head -1 log)"
        sleep 0.02
    done
    kill "$command"
    wait "$command" || true
}

# Manifests and campaigns that are none, deep and long ones among them.
BadJson() {
    dcfsim-replicate --quick -r 1 -s 61 one >/dev/null
    local file
    Nested() { # depth
        printf '{"a":%*s' "$1" '' | tr ' ' '['
        printf '1%*s}' "$1" '' | tr ' ' ']'
    }
    Bad() { # what is said; $file is bad
        Refused 1 "^dcfsim-replicate: $file: $1(; remove one/seed-61, .*)?\$" "${command[@]}"
    }
    for file in one/seed-61/manifest.json one/campaign.json; do
        local key=seed command=(dcfsim-replicate --summarise one)
        [[ $file != one/campaign.json ]] || key=first_seed command=(dcfsim-replicate --quick one)
        cp $file good
        Nested 31 >$file
        Bad "$key: missing, or not an integer.*"
        for depth in 32 1000000; do
            Nested $depth >$file
            Bad 'values nested deeper than 32; allowed: at most that'
        done
        printf '[1]' >$file
        Bad 'holds array, expected an object \{\.\.\.\}'
        printf '{"%s": 61' $key >$file
        Bad 'not JSON, line 1, column .*'
        printf '{"%s": 61.5}' $key >$file
        Bad "$key: missing, or not an integer.*"
        truncate -s $((16 * 1048576 + 1)) $file
        Bad 'is longer than 16 MiB; allowed: at most that'
        rm $file && mkfifo $file
        Bad 'is no plain file'
        rm $file && ln -s /dev/zero $file
        Bad 'is no plain file'
        rm $file && cp good $file
    done
    dcfsim-replicate --summarise one >/dev/null
}

# What was finished before the disk was full stays; the rest is not even begun.
FullDisk() {
    unshare --mount true 2>/dev/null || Skip 'no file system can be mounted here'
    mkdir disk
    # shellcheck disable=SC2016
    unshare --mount bash -c 'mount -t tmpfs -o size=7500k none disk || exit 77
        dcfsim-replicate --quick -r 5 -j 1 -s 61 disk/one >log 2>err && exit 3
        for seed in disk/one/seed-*; do dcfsim-check -q "$seed" || exit 4; done
        ls -A disk/one >left' || { (($? == 77)) && Skip 'no tmpfs'; Fail "$(cat log err)"; }
    Equal 'what is left' "$(grep -c '^seed-' left)" 2
    grep -q '^dcfsim-replicate: disk/one: the disk is full: .*; make room' err || Fail "$(cat err)"
    grep -q '^dcfsim-replicate: 3 of 5 replications are missing; to run' err || Fail "$(cat err)"
}

RunCase
