# shellcheck shell=bash
# A Slurm cluster of one node for the test that sources this: its own configuration, key, ports and
# folders, all below the scratch folder.
#
# Slurm detaches what runs a task from the daemon that started it, so no parent leads to all that
# has to be ended. But daemons and tasks alike have SLURM_CONF in the environment they were started
# with, and the configuration is this test's own.

# Whether the programs are there.
HasSlurm() {
    [[ $(PATH=$PATH:/usr/sbin:/sbin type -t munged slurmctld slurmd sbatch | wc -l) == 4 ]]
}

# Kills all that belongs to the cluster of configuration $1, until nothing of it is left.
KillSlurm() {
    unset SLURM_CONF # what looks for the others is none of them
    local left tries=0
    # Of processes that end meanwhile nothing can be read, which is no failure.
    while left=$(grep -lzsxF "SLURM_CONF=$1" /proc/[0-9]*/environ | cut -d/ -f3 || true) &&
        [[ $left ]]; do
        ((++tries <= 500)) || return 1
        # shellcheck disable=SC2086 # a list of processes
        kill -KILL $left 2>/dev/null || true
        sleep 0.02
    done
}

# Kills the cluster of configuration $1 when this test is gone, should it be killed itself.
KillSlurmLater() {
    # shellcheck disable=SC2016
    (setsid bash -c 'while kill -0 "$2" 2>/dev/null; do sleep 0.2; done
        source "$1"; KillSlurm "$3"' _ "${BASH_SOURCE[0]}" $$ "$1" </dev/null >/dev/null 2>&1 &)
}

# A port that nobody listens at, below those that the system hands out by itself.
FreePort() {
    local port
    while port=$((20000 + RANDOM % 10000)) && (: <"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do
        :
    done
    echo $port
}

WriteSlurmConf() { # folder, jobs at a time
    local user host
    user=$(id -un)
    host=$(uname -n)
    host=${host%%.*}
    cat <<END
ClusterName=test
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$(FreePort)
SlurmdPort=$(FreePort)
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
AuthInfo=socket=$1/munge.socket
CredType=cred/munge
StateSaveLocation=$1/state
SlurmdSpoolDir=$1/spool
SlurmctldPidFile=$1/slurmctld.pid
SlurmdPidFile=$1/slurmd.pid
PlugStackConfig=$1/plugstack.conf
MailProg=/bin/true
MpiDefault=none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
NodeName=one NodeHostname=$host NodeAddr=127.0.0.1 CPUs=$2 RealMemory=4096
PartitionName=all Nodes=one Default=YES
END
}

# Starts the cluster in a new folder of the scratch folder, and waits until it takes jobs. From then
# on the commands of Slurm mean this cluster.
StartSlurm() { # jobs at a time
    local dir=$SCRATCH/slurm begin=$SECONDS
    PATH=$PATH:/usr/sbin:/sbin
    unset "${!SLURM_@}" "${!SBATCH_@}" # of a job that this test may be part of itself
    trap 'KillSlurm "$SCRATCH/slurm/slurm.conf"; rm -rf "$SCRATCH"' EXIT
    KillSlurmLater "$dir/slurm.conf"
    mkdir "$dir" "$dir/state" "$dir/spool"
    WriteSlurmConf "$dir" "$1" >"$dir/slurm.conf"
    : >"$dir/plugstack.conf"
    (umask 077 && head -c 128 /dev/urandom >"$dir/munge.key")
    export SLURM_CONF=$dir/slurm.conf
    # Its socket is in a folder of one account only, which it takes for a mistake unless forced.
    munged --foreground --force --socket="$dir/munge.socket" --key-file="$dir/munge.key" \
        --pid-file="$dir/munged.pid" --seed-file="$dir/munged.seed" >"$dir/munged.log" 2>&1 &
    slurmctld -D >"$dir/slurmctld.log" 2>&1 &
    slurmd -D -N one >"$dir/slurmd.log" 2>&1 &
    disown -a # their end is no news
    until [[ $(timeout --foreground 5 sinfo -h -o %T 2>"$dir/sinfo.log") == idle ]]; do
        ((SECONDS - begin < 60)) || {
            tail -n 20 "$dir"/*.log >&2
            Fail 'the daemons of Slurm do not get ready'
        }
        sleep 0.1
    done
}

# Waits until no job is left, running or waiting.
WaitForJobs() {
    local begin=$SECONDS queue
    while
        queue=$(timeout --foreground 30 squeue -h) || Fail 'the queue cannot be read'
        [[ $queue ]]
    do
        ((SECONDS - begin < 90)) || Fail "jobs that do not end: $queue"
        sleep 0.1
    done
}
