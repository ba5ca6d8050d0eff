#!/usr/bin/env bash
# Tests of dcfsim-experiment and of experiment files.
# Cases: Files Values Sizes Out Again Options Schema Recording List Warnings
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"
BAD=$SOURCE/tests/bad-experiments

# Runs a command that must fail with status $1, with nothing on standard output and one line on
# standard error, all of it of pattern $2.
RefusedSilently() {
    local status=0 wanted=$1 line=$2
    shift 2
    timeout 20 "$@" >out 2>err || status=$?
    Equal "status of $*" "$status" "$wanted"
    Equal "standard output of $*" "$(head -c 200 out)" ''
    Equal "lines on standard error of $*" "$(wc -l <err)" 1
    grep -qxE -- "dcfsim-experiment: $line" err || Fail "$*: '$(cat err)' is not of '$line'"
}

# Experiment $1 must be refused, with a message of pattern $2 behind its name, and leave nothing.
RefusedFile() {
    RefusedSilently 2 "$1: $2" dcfsim-experiment "$1" --out results
    [[ ! -e results ]] || Fail "$1: results were written"
    RefusedSilently 2 "$1: $2" dcfsim-experiment --check "$1"
}

# Experiment $1 must be accepted, and come out of --check as it goes into it again.
Accepted() {
    dcfsim-experiment --check "$1" >checked.json 2>err || Fail "$(head -c 200 "$1"): $(cat err)"
    dcfsim-experiment --check checked.json >again.json 2>err || Fail "checked $1: $(cat err)"
    cmp checked.json again.json || Fail "$1: --check of --check differs"
}

# The lines of table $1 that are no comment.
Table() {
    grep -v '^#' "$BAD/$1"
}

Files() {
    local kind name message
    cp "$BAD"/*.json .
    Table files.txt | awk '{ print $2 ".json" }' | sort >listed
    find . -maxdepth 1 -name '*.json' -printf '%P\n' | sort | diff - listed || Fail 'files not listed'
    while read -r kind name message; do
        RefusedFile "$name.json" "$message"
    done < <(Table files.txt)
}

Values() {
    local kind line accepted=0
    while read -r kind line; do
        printf '%s\n' "${line%% | *}" >value.json
        if [[ $kind == ok ]]; then
            Accepted value.json
            accepted=$((accepted + 1))
        else
            RefusedFile value.json "${line#* | }"
        fi
    done < <(Table values.txt)
    ((accepted > 20)) || Fail "only $accepted values were accepted"
}

# An experiment with $2 times the entry $3, a blank at its end, as the list $1.
ManyEntries() {
    printf '{%s "%s": [' "${4-}" "$1"
    local i
    for ((i = 0; i < $2; ++i)); do
        # shellcheck disable=SC2059 # the entry has the place of its number
        printf "$3, " "$i"
    done | sed 's/, $//'
    printf ']}\n'
}

# Limits of length, and files that are none.
Sizes() {
    ManyEntries loads_kbps 1000 '%d' >loads.json
    Accepted loads.json
    ManyEntries loads_kbps 1001 '%d' >loads.json
    RefusedFile loads.json 'loads_kbps: has 1001 entries; allowed: a list of 1 \.\. 1000 .*'
    ManyEntries flows 100 '{"from": 0, "to": 1, "weight": 10}' >flows.json
    Accepted flows.json
    ManyEntries flows 101 '{"from": 0, "to": 1}' >flows.json
    RefusedFile flows.json 'flows: has 101 entries; allowed: a list of 1 \.\. 100 .*'
    ManyEntries routes 10 '[0, 1, 1]' '"flows": [{"from": 0, "to": 1}],' >routes.json
    Accepted routes.json
    ManyEntries routes 101 '[0, 1, 1]' >routes.json
    RefusedFile routes.json 'routes: has 101 entries; allowed: .* at most 100 rows .*'

    local mebibyte=1048576
    printf '{"seed": 1}' >long.json
    head -c $((mebibyte - 11)) /dev/zero | tr '\0' ' ' >>long.json
    Accepted long.json
    printf ' ' >>long.json
    RefusedFile long.json 'is longer than 1 MiB; allowed: at most that'
    truncate -s 4G long.json
    RefusedFile long.json 'is longer than 1 MiB; allowed: at most that'
    # The message of a long text is short.
    { printf '{"seed": "' && head -c 100000 /dev/zero | tr '\0' a && printf '"}'; } >long.json
    RefusedFile long.json 'seed: stands at "a{59}\.\.\.; allowed: an integer .*'
    { printf '{"seed": "' && head -c 100000 /dev/zero | tr '\0' a && printf '\n"}'; } >long.json
    RefusedFile long.json 'seed: not JSON, line 2, .{0,220}'

    mkdir directory
    RefusedFile directory 'is no plain file'
    mkfifo fifo
    RefusedFile fifo 'is no plain file'
    RefusedFile /dev/null 'is no plain file'
    RefusedFile missing 'cannot be read: No such file or directory'
    RefusedFile long.json/in 'cannot be read: Not a directory'
    RefusedSilently 2 'two\?lines: cannot be read: No such file or directory' \
        dcfsim-experiment $'two\nlines'
    if ((EUID != 0)); then
        touch unreadable
        chmod 0 unreadable
        RefusedFile unreadable 'cannot be read: Permission denied'
    fi
}

# A run that works: every file, and not a word.
Out() {
    local short=$SOURCE/experiments/few-ticks.json tree=10node_design/1500
    dcfsim-experiment "$short" --out new/deep >out 2>err
    Equal 'printed' "$(cat out err)" ''
    Equal 'result files' "$(find new/deep/$tree -name '*.txt' | wc -l)" 43
    grep -q '"complete": true' new/deep/manifest.json || Fail "$(cat new/deep/manifest.json)"
    echo 'of an older run' >new/deep/$tree/throughput.txt
    (cd new/deep && dcfsim-experiment "$short" --out .)
    Equal 'old results' "$(grep -rl 'of an older run' new)" ''

    # What stands in the way is named, and nothing is run.
    touch plain
    RefusedSilently 1 "plain/$tree: cannot be made: Not a directory" dcfsim-experiment "$short" -o plain
    mkdir -p taken/$tree/delay.txt noted/manifest.json/in
    RefusedSilently 1 "taken/$tree/delay.txt: cannot be written: Is a directory" \
        dcfsim-experiment "$short" -o taken
    RefusedSilently 1 'noted/manifest.json: cannot be written: .*' dcfsim-experiment "$short" -o noted
    if ((EUID != 0)); then
        mkdir -m 500 locked
        RefusedSilently 1 "locked/$tree: cannot be made: Permission denied" \
            dcfsim-experiment "$short" -o locked
    fi
    mkdir -p full/$tree
    ln -s /dev/full full/$tree/collision.txt
    RefusedSilently 1 "full/$tree: not all results could be written; is the disk full\\?" \
        dcfsim-experiment "$short" -o full
    grep -q '"complete": false' full/manifest.json || Fail "$(cat full/manifest.json)"
}

# The experiment that a manifest holds, run again, leaves the same hashes, which are those of the
# files but for the line of the clock.
Again() {
    local tree=10node_design/1500 kind
    printf '{"ticks": 300000, "window": [50000, 299999], "loads_kbps": [2000, 9000], "trials": 1,
        "generator": "mt19937-64"}' >mersenne.json
    printf '{"ticks": 300000, "window": [50000, 299999], "loads_kbps": [9000]}' >published.json
    for kind in mersenne published; do
        dcfsim-experiment "$kind.json" -o $kind
        python3 -c 'import json, sys
json.dump(json.load(open(sys.argv[1] + "/manifest.json"))["experiment"], sys.stdout)' \
            $kind >again.json
        grep -q '"seed"' again.json || Fail 'the seed is missing'
        dcfsim-experiment --plain again.json -o again-$kind
        Hashes $kind >sums
        [[ $(wc -l <sums) -ge 43 ]] || Fail "only $(wc -l <sums) hashes"
        Hashes again-$kind | diff sums - || Fail "$kind: other hashes"
        sed -i '/^simulation run time : /d' $kind/$tree/result.txt
        (cd $kind && sha256sum --quiet --check ../sums) || Fail 'hashes are not those of the files'
    done
    grep -q '"generator": "mt19937-64"' mersenne/manifest.json || Fail 'the generator is missing'
    ! cmp -s mersenne/$tree/throughput.txt published/$tree/throughput.txt || Fail 'one generator'
}

# The hashes that the manifest in $1 lists, as sha256sum prints them.
Hashes() {
    python3 -c 'import json, sys
for name, hash in json.load(open(sys.argv[1] + "/manifest.json"))["sha256"].items():
    print(hash + "  " + name)' "$1"
}

Options() {
    local short=$SOURCE/experiments/few-ticks.json
    RefusedSilently 2 'FILE is required; .*' dcfsim-experiment
    RefusedSilently 2 '.* not expected: more.json; .*' dcfsim-experiment "$short" more.json
    RefusedSilently 2 '.* not expected: --fast; .*' dcfsim-experiment --fast "$short"
    RefusedSilently 2 '--out: .* missing; .*' dcfsim-experiment "$short" --out
    RefusedSilently 2 '--out: no directory is named; .*' dcfsim-experiment "$short" --out ''
    # The man page and the help know the same options.
    dcfsim-experiment --help | grep -oE -- '--[a-z-]+' | sort -u >helped
    sed 's/\\-/-/g' "$SOURCE/docs/man/dcfsim-experiment.1" | grep -oE -- '--[a-z-]+' |
        sort -u | diff helped - || Fail 'options of the man page'
    # Standard output that cannot be written is a failure of --check.
    local status=0
    dcfsim-experiment --check "$short" 2>err >/dev/full || status=$?
    Equal 'status' "$status" 1
    Equal 'said' "$(cat err)" 'dcfsim-experiment: standard output cannot be written'
}

# Every file of experiments/ has its line, and none is without a title.
List() {
    (cd "$SOURCE" && dcfsim-experiment --list) >listed
    (cd "$SOURCE" && printf '%s\n' experiments/*.json) | LC_ALL=C sort >files
    awk '{ print $1 }' listed | diff files - || Fail 'other files'
    ! grep -n 'without a title' listed || Fail 'a file has no title'
    grep -qE "^$SOURCE/experiments/few-ticks.json +Load" <(dcfsim-experiment --list) || Fail 'elsewhere'
    RefusedSilently 2 'FILE excludes --list; .*' dcfsim-experiment --list x.json
    RefusedSilently 2 '.* excludes .*; .*' dcfsim-experiment --list --plain
    local status=0
    dcfsim-experiment --list 2>err >/dev/full || status=$?
    Equal 'status' "$status" 1
    Equal 'said' "$(cat err)" 'dcfsim-experiment: standard output cannot be written'
    # One that cannot be run is told, and the others are listed.
    mkdir -p moved/bin moved/share/dcfsim/experiments
    cp "$BIN/dcfsim-experiment" moved/bin
    RefusedSilently 1 '/.*/moved/share/dcfsim/experiments: no experiments can be found; .*' \
        moved/bin/dcfsim-experiment --list
    echo '{"trials": 0}' >moved/share/dcfsim/experiments/bad.json
    echo '{}' >moved/share/dcfsim/experiments/untitled.json
    status=0
    moved/bin/dcfsim-experiment --list >listed 2>err || status=$?
    Equal 'status' "$status" 1
    Equal 'listed' "$(cat listed)" 'moved/share/dcfsim/experiments/untitled.json  (without a title)'
    grep -q 'experiments/bad.json: trials: stands at 0' err || Fail "$(cat err)"
}

# The warnings of file $1, from standard error, in the words of experiment-warnings.txt.
Warned() {
    sed -E "s|^dcfsim-experiment: $1: warning: ||
        s/^rts_threshold: RTS .* delivered to stations? ([0-9, ]+), .*/rts \\1/
        s/^rts_threshold: RTS .*/rts none/
        s/^rts_threshold: .* of stations? ([0-9, ]+) is .*/shares \\1/
        s/^routes: stations? ([0-9, ]+) relay.*/relays \\1/
        s/^stations_m: stations? ([0-9, ]+) can .*/overwritten \\1/" err | paste -sd ';' | sed 's/;/; /g'
}

# Kept behaviour that changes what results mean is warned of, on standard error and in the manifest,
# with an entry of kept-behaviour.md that is there; nothing else is.
Warnings() {
    local kept file name wanted entry
    kept=$(tr -s '\n ' '  ' <"$SOURCE/docs/kept-behaviour.md")
    Table ../experiment-warnings.txt >wanted
    printf '%s\n' "$SOURCE"/experiments/*.json | sed 's|.*/||; s/\.json//' |
        diff - <(awk '{ print $1 }' wanted) || Fail 'files not listed'
    while read -r name wanted; do
        file=$SOURCE/experiments/$name.json
        dcfsim-experiment --check "$file" 2>err >checked.json
        Equal "warnings of $name" "$(Warned "$file")" "$wanted"
        cat err >>all
    done < <(cat wanted)
    while read -r entry; do
        [[ $kept == *"**$entry"* || $kept == *"## $entry "* ]] || Fail "no entry '$entry'"
    done < <(grep -oE 'read kept-behaviour.md.*' all | grep -oE '"[^"]+"' | tr -d '"' | sort -u)
    # Only what sends is heard: a hidden station without packets is none, nor is a longer way
    # without a flow.
    echo '{"routes": "chain", "flows": [{"from": 8, "to": 9}], "stations_m": "chain"}' >silent.json
    dcfsim-experiment --check silent.json 2>err >checked.json
    Equal 'warnings of one hop' "$(Warned silent.json)" ''
    # RTS begins at a threshold below the duration value, which goes by the packet size.
    for name in 247 248; do
        echo "{\"rts_threshold\": $name}" >rts.json
        dcfsim-experiment --check rts.json 2>err >checked.json
        Equal "warnings at $name" "$(Warned rts.json)" "$([[ $name == 248 ]] || echo 'rts 1, 3, 5, 7, 9')"
    done
    dcfsim-experiment "$SOURCE/experiments/rts-pairs.json" -o out 2>err
    sed -nE '/"warnings": \[/,/^    \]/s/^        "(.*)",?$/\1/p' out/manifest.json | sed 's/\\"/"/g' |
        diff <(sed 's/.*: warning: //' err) - || Fail 'another manifest'
    Equal 'warnings' "$(wc -l <err)" 2
    dcfsim-experiment "$SOURCE/experiments/few-ticks.json" -o quiet 2>err
    Equal 'standard error' "$(cat err)" ''
    ! grep -q warnings quiet/manifest.json || Fail 'warnings in the manifest'
}

# A comparison with recorded results fails where it should, and says where; recording is on purpose.
Recording() {
    mkdir -p copy/experiments/recorded/few-ticks copy/scripts
    cp "$SOURCE/experiments/few-ticks.json" copy/experiments
    cp "$SOURCE/experiments/recorded/few-ticks.sha256" copy/experiments/recorded
    cp "$SOURCE/scripts/record-experiments" copy/scripts
    Compare() {
        local status=0
        copy/scripts/record-experiments --compare "$BIN" >said || status=$?
        Equal 'status' "$status" "$1"
    }
    Compare 0
    Equal 'said of equal results' "$(cat said)" ''
    copy/scripts/record-experiments --record "$BIN" few-ticks
    sed -i 's/"window": \[6/"window": [5/' copy/experiments/few-ticks.json
    Compare 1
    grep -qx 'FAILED: few-ticks, plain: throughput.txt differs' said || Fail "$(cat said)"
    grep -qx 'FAILED: few-ticks, fast: throughput.txt differs' said || Fail "$(cat said)"
    grep -qE '^  throughput.txt:3: recorded *[0-9]+\.' said || Fail "$(cat said)"
    grep -qE '^  throughput.txt:3: got *[0-9]+\.' said || Fail "$(cat said)"
    ! grep -q 'check.txt' said || Fail 'an empty file differs'
    copy/scripts/record-experiments --record "$BIN" >said
    Equal 'said of what is recorded' "$(cat said)" 'few-ticks: recorded'
    Compare 0
    sed -i 2d copy/experiments/recorded/few-ticks.sha256
    Compare 1
    mv copy/experiments/recorded/few-ticks.sha256 copy/experiments/recorded/other.sha256
    Compare 1
    grep -qx 'FAILED: few-ticks: nothing is recorded of it' said || Fail "$(cat said)"
    grep -qx 'FAILED: other: of no experiment' said || Fail "$(cat said)"
    for arguments in '' --record "--compare $BIN missing" '--compare nowhere'; do
        local status=0
        # shellcheck disable=SC2086 # several arguments
        copy/scripts/record-experiments $arguments >said 2>&1 || status=$?
        Equal "status of '$arguments'" "$status" 2
    done
}

# The schema and the program agree on what they both can tell.
Schema() {
    python3 -W ignore -c 'import jsonschema' 2>/dev/null || Skip 'python3-jsonschema is not installed'
    local kind name line
    mkdir valid invalid
    cp "$SOURCE"/experiments/*.json valid
    # A name where the tables say that the program alone refuses the file.
    while read -r kind name line; do
        case $kind in
        schema) cp "$BAD/$name.json" invalid ;;
        run) cp "$BAD/$name.json" valid ;;
        esac
    done < <(Table files.txt)
    local number=0
    while read -r kind line; do
        number=$((number + 1))
        name=valid
        [[ $kind != schema ]] || name=invalid
        printf '%s\n' "${line%% | *}" >"$name/values-$number.json"
    done < <(Table values.txt)
    python3 -W ignore - "$SOURCE/docs/experiment.schema.json" valid/*.json -- invalid/*.json <<'END'
import json
import sys

import jsonschema

schema = json.load(open(sys.argv[1]))
judge = jsonschema.validators.validator_for(schema)
judge.check_schema(schema)
judge = judge(schema)
border = sys.argv.index("--")
wrong = [f for f in sys.argv[2:border] if not judge.is_valid(json.load(open(f)))]
wrong += [f for f in sys.argv[border + 1:] if judge.is_valid(json.load(open(f)))]
for key, part in schema["properties"].items():
    for value in part.get("examples", []) + ([part["default"]] if "default" in part else []):
        if not judge.is_valid({key: value}):
            wrong.append("the example " + json.dumps(value) + " of " + key)
for file in wrong:
    print("FAILED:", file, open(file).read()[:200] if file.endswith(".json") else "")
sys.exit(len(wrong) > 0)
END
}

RunCase
