#!/usr/bin/env bash
# Tests of campaigns on many machines, by the commands of docs/cluster.md as they stand there, but
# with few and quick replications.
# Cases: Parallel MoreThanTwenty Slurm WithoutSlurm
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"
# shellcheck source=tests/slurm_node.sh
source "$SOURCE/tests/slurm_node.sh"

# Runs the command of the document that begins with $1, with the lines that continue it.
AsWritten() {
    local command
    command=$(sed -n -e "/^    $1/{" -e ':more' -e '/\\$/{N;b more' -e '}' -e 'p' -e '}' \
        "$SOURCE/docs/cluster.md" |
        sed -e 's/dcfsim-replicate/& --quick/; s/sbatch --parsable/& --array=0-7/' \
            -e 's/--replications 20/--replications 8/; s/--replications 100/--replications 3/')
    Equal "commands '$1' of the document" "$(grep -c '^    [^ ]' <<<"$command")" 1
    eval "$command"
}

# Stops a replication in mid-run: a process at work in the folder that is renamed when it has ended.
# Sets `child` to it, and `seed`.
StopOne() {
    local begin=$SECONDS state
    while ((SECONDS - begin < 60)); do
        for child in $(find /proc -maxdepth 2 -name cwd -lname "$PWD/campaign/.partial-*" \
            2>/dev/null | cut -d/ -f3); do
            kill -STOP "$child" 2>/dev/null || continue
            until state=$(sed -n 's/^State:\t\(.\).*/\1/p' "/proc/$child/status" 2>/dev/null) &&
                [[ $state == [TZ] || ! $state ]]; do
                sleep 0.01
            done
            [[ $state == T ]] || continue # it had just ended
            seed=$(readlink "/proc/$child/cwd")
            seed=${seed##*/.partial-}
            return
        done
        sleep 0.005
    done
    Fail 'no replication was seen in mid-run'
}

# Waits until the replication that was stopped is gone, without a result.
Gone() {
    local tries=0
    while readlink "/proc/$child/cwd" >/dev/null 2>&1; do
        ((++tries < 500)) || Fail 'a replication outlives its command'
        sleep 0.02
    done
    [[ ! -e campaign/seed-$seed ]] || Fail "seed $seed has a result, but was killed in mid-run"
}

# Kills the command of a replication in mid-run, which cannot clear up.
KillOne() {
    StopOne
    kill -KILL "$(sed -n 's/^PPid:\t//p' "/proc/$child/status")"
    Gone
    [[ -d campaign/.partial-$seed ]] || Fail "seed $seed leaves nothing to clear up"
}

Finished() {
    find campaign -name 'seed-*' | wc -l
}

# The campaign in the working folder is whole, and is that of one machine, `wanted`.
IsWhole() {
    Equal 'replications' "$(Finished)" "$(find wanted -name 'seed-*' | wc -l)"
    Equal 'left over' "$(find campaign -name '.*' ! -name .)" ''
    cmp wanted/summary.csv campaign/summary.csv || Fail 'the summary is not that of one machine'
}

Parallel() {
    parallel --version >/dev/null 2>&1 || Skip 'GNU parallel is not installed'
    local status=0 command child seed
    mkdir 'shared folder' && cd 'shared folder'
    AsWritten 'dcfsim-replicate --replications 20' >/dev/null
    mv campaign wanted

    AsWritten 'dcfsim-replicate --list-seeds'
    AsWritten 'parallel dcfsim-replicate --one' >log 2>&1 &
    command=$!
    KillOne
    KillOne
    wait "$command" || status=$?
    Equal 'status of parallel' "$status" 2
    Equal 'replications' "$(Finished)" 6
    AsWritten 'parallel dcfsim-replicate --one' >log 2>&1 || Fail "$(cat log)"
    Equal 'finished before' "$(grep -c '^1 of 1 replications were finished before$' log)" 6
    AsWritten 'dcfsim-replicate --summarise' >/dev/null
    IsWhole

    # In the place of ssh: the same machine, but not the same folder and environment.
    cat >../ssh <<'END'
#!/bin/sh
echo "$1" >>/dev/fd/3
shift
[ "$1" != -- ] || shift
cd / && exec env -i SHELL=/bin/sh PATH=/usr/bin:/bin sh -c "$*"
END
    chmod +x ../ssh
    rm -r campaign
    PARALLEL_SSH="$SCRATCH/ssh" AsWritten 'parallel --env PATH' >log 2>&1 3>nodes ||
        Fail "$(cat log)"
    Equal 'nodes' "$(sort -u nodes | xargs)" 'node1 node2'
    AsWritten 'dcfsim-replicate --summarise' >/dev/null
    IsWhole
}

# The other generator, by the document.
MoreThanTwenty() {
    parallel --version >/dev/null 2>&1 || Skip 'GNU parallel is not installed'
    local other
    AsWritten 'other='
    # shellcheck disable=SC2086 # a list of words
    dcfsim-replicate $other --quick --replications 3 wanted >/dev/null
    # shellcheck disable=SC2016
    AsWritten 'dcfsim-replicate $other --list-seeds'
    # shellcheck disable=SC2016
    AsWritten 'parallel dcfsim-replicate $other' >/dev/null
    AsWritten 'dcfsim-replicate --summarise' >/dev/null
    IsWhole
}

Slurm() {
    HasSlurm || Skip 'munge or slurm-wlm is not installed'
    StartSlurm 4
    local array first child seed task
    mkdir 'shared folder' && cd 'shared folder'
    AsWritten 'dcfsim-replicate --replications 20' >/dev/null
    mv campaign wanted

    cp "$SOURCE/docs/slurm-array.sh" .
    export OPTIONS=--quick
    AsWritten 'export CAMPAIGN'
    AsWritten 'array='
    AsWritten 'sbatch --dependency' >/dev/null
    # One dies as if the machine had run out of memory, the other with its task.
    KillOne
    StopOne
    task=$(tr '\0' '\n' <"/proc/$child/environ" | sed -n 's/^SLURM_ARRAY_TASK_ID=//p')
    scancel --signal=KILL "${array}_$task"
    Gone
    WaitForJobs
    Equal 'replications' "$(Finished)" 6
    [[ ! -e campaign/summary.csv ]] || Fail 'a campaign that is not whole was summarised'

    first=$array
    AsWritten 'array='
    AsWritten 'sbatch --dependency' >/dev/null
    WaitForJobs
    Equal 'logs' "$(find . -name "dcfsim-$first-*.log" | wc -l)" 8
    Equal 'finished before' \
        "$(cat "dcfsim-$array"-*.log | grep -c '^1 of 1 replications were finished before$')" 6
    IsWhole
}

# What the array's script makes of its task.
WithoutSlurm() {
    local seed
    cp "$SOURCE/docs/slurm-array.sh" .
    AsWritten 'CAMPAIGN=trial' >/dev/null
    [[ -d trial/seed-1000 ]] || Fail 'the first task is not the first seed'
    Refused 2 'more than 20 replications' env SLURM_ARRAY_TASK_ID=20 CAMPAIGN=array \
        FIRST_SEED=41 OPTIONS=--quick sh slurm-array.sh
    SLURM_ARRAY_TASK_ID=20 CAMPAIGN=array FIRST_SEED=41 \
        OPTIONS='--quick --generator mt19937-64' sh slurm-array.sh >/dev/null
    seed=$(dcfsim-replicate --list-seeds -s 41 -r 21 -g mt19937-64 | tail -n 1)
    grep -q '"replication": 20' "array/seed-$seed/manifest.json" || Fail 'number of the last task'
}

RunCase
