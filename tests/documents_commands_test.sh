#!/usr/bin/env bash
# Tests of the commands that *.md and docs/*.md show: those of a page are run in their order, in
# a copy of the sources, as a reader would.
#
# A block is what is indented by four blanks behind an empty line. It holds commands if it begins with
# one of COMMANDS below. If it begins with "$ ", the lines with "$ " are commands and those below are
# what they print. Any other block needs a line above it that tells what it is, an HTML comment:
#   file NAME   content of a file, which the commands below find in the copy
#   drawing, output, excerpt, formula    nothing to run
# What takes long, or builds, runs short: Substitute says how. What cannot be tried is in ELSEWHERE.
#
# Cases: Blocks CONTRIBUTING README changing_the_experiment cluster experiment_file page peers results validation
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

COMMANDS='\./[a-z]+|web/build|(build/[a-z]+/)?dcfsim[-_a-z]*|scripts/[-a-z]+|cmake|ctest|cpack|g\+\+'
COMMANDS+='|[a-z]+=.*|cd|cut|diff|export|parallel|python3|sbatch|sh|valgrind|(sudo )?apt-get'
KINDS='file [^ ]+|drawing|output|excerpt|formula'

# Lines with these words are not run.
ELSEWHERE=(
    'sbatch       needs a Slurm cluster'
    'sshlogin     needs other machines'
    'web/build    needs emscripten, and is tested by ./test itself'
    'lint-page    needs npm, and is run by ./test itself'
    'apt-get      needs root, and would change this machine'
)

# Leaves the blocks of page $1 in blocks/LINE, with what is said of them in blocks/LINE.mark.
ReadBlocks() {
    rm -rf blocks
    mkdir blocks
    awk '
        /^$/ { ++empty; next }
        /^    / && (empty || is_open) {
            if (!is_open) {
                file = sprintf("blocks/%04d", NR)
                print (last ~ /^ *<!-- .* -->$/ ? last : "") >(file ".mark")
                empty = 0
            }
            for (; empty; --empty) print "" >file
            print substr($0, 5) >file
            is_open = 1
            last = ""
            next
        }
        { is_open = 0; empty = 0; last = $0 }
    ' "$1"
    sed -i -E 's/^ *<!-- (.*) -->$/\1/; s/^end$//' blocks/*.mark 2>/dev/null || true
}

# What block $1 holds: commands, a session, or what its mark says; nothing if nobody has said it.
KindOf() {
    local mark
    mark=$(<"$1.mark")
    if [[ -n $mark ]]; then
        grep -xE -- "$KINDS" <<<"$mark" || true
    elif head -n 1 "$1" | grep -qE '^ *\$ '; then
        echo session
    elif head -n 1 "$1" | grep -qE "^ *([A-Z_]+=[^ ]+ )*($COMMANDS)( |$)"; then
        echo commands
    fi
}

Pages() {
    (cd "$SOURCE" && ls ./*.md docs/*.md)
}

# Every block is known, and every page with commands has a case here.
Blocks() {
    local page block kind name bad=0
    for page in $(Pages); do
        ReadBlocks "$SOURCE/$page"
        name=$(basename "$page" .md)
        for block in $(find blocks -name '[0-9]*' ! -name '*.mark' | sort); do
            kind=$(KindOf "$block")
            if [[ -z $kind ]]; then
                echo "FAILED: $page:$((10#${block#*/})): what does this block hold? Begin it with a" \
                    "command, or say what it is above it: see tests/documents_commands_test.sh" >&2
                bad=1
            elif [[ $kind == commands || $kind == session ]] &&
                ! grep -qE "^# Cases:.* ${name//-/_}( |$)" "$SOURCE/tests/documents_commands_test.sh"; then
                echo "FAILED: $page has commands and no case in tests/documents_commands_test.sh" >&2
                bad=1
            fi
        done
    done
    # What nobody knows is found.
    printf '%s\n' Text '' '    dcfsim-check made' '' '    more' '' Text '' '    sudo reboot' '' \
        '<!-- drawing -->' '' '    sudo reboot' '<!-- nonsense -->' '' '    cmake' >page.md
    ReadBlocks page.md
    Equal 'blocks' "$(cd blocks && echo [0-9]*)" '0003 0003.mark 0009 0009.mark 0013 0013.mark 0016 0016.mark'
    Equal 'kinds' "$(for block in 0003 0009 0013 0016; do echo "$(KindOf blocks/$block),"; done)" \
        $'commands,\n,\ndrawing,\n,'
    Equal 'a gap' "$(tr '\n' '|' <blocks/0003)" 'dcfsim-check made||more|'
    ((bad == 0))
}

# Puts a program into file $1 that is the shell commands $2, where REAL is the real one, BIN the
# folder of those just built, SOURCE that of the sources.
Substitute() {
    local real
    mkdir -p "$(dirname "$1")"
    real=$BIN/${1##*/}
    [[ $1 != scripts/* ]] || real=$SOURCE/$1
    rm -f "$1"
    printf '#!/bin/bash\nset -eu\nREAL=%q\nBIN=%q\nSOURCE=%q\n%s\n' "$real" "$BIN" "$SOURCE" "$2" >"$1"
    chmod +x "$1"
}

# Makes the copy, with programs that are short where the real ones are long.
# shellcheck disable=SC2016 # what is quoted are programs of their own
MakeCopy() {
    grep -q '^CMAKE_BUILD_TYPE:STRING=Release' "$BIN/CMakeCache.txt" ||
        Skip 'the pages tell of the release build'
    mkdir -p copy/build/release
    (cd "$SOURCE" && tar -c --exclude=./build --exclude=./result --exclude=./.git \
        --exclude=./web/node_modules .) | tar -x -C copy
    cd copy
    local program file
    for file in "$BIN"/dcfsim* "$BIN"/libdcfsim_core.a; do
        [[ ! -f $file ]] || ln -s "$file" build/release/
    done
    Substitute build/release/dcfsim-replicate '[[ $* != *--summarise* ]] || exec "$REAL" "$@"
        exec "$REAL" --quick $(sed -E "s/(^| )(-r|--replications) [0-9]+/\1\2 3/" <<<"$*")'
    Substitute build/release/dcfsim-validate 'case $* in
        "") exec "$REAL" --quick ;;
        --seeds) grep -q -e --seeds "$REAL" ;; # half a minute
        *) exec "$REAL" "$@" ;;
        esac'
    # Other runs may differ by chance, which is status 1.
    Substitute build/release/dcfsim-compare '"$REAL" "$@" || (($? == 1))'
    # All tests at once take long: their names are there.
    Substitute build/release/dcfsim_tests 'export DCFSIM_SCENES=20
        case $* in "" | --gtest_filter=-*)
            "$REAL" --gtest_list_tests "$@" >tests.txt
            [[ $(wc -l <tests.txt) -gt 50 ]] ;;
        *)
            "$REAL" "$@" >tests.txt
            cat tests.txt
            grep "^\[==========\] Running [1-9]" tests.txt ;;
        esac'
    # May not have been built: then it is a target at least.
    for program in dcfsim_bench dcfsim_signature; do
        Substitute build/release/$program "IsTarget $program"
    done
    Substitute build/release/dcfsim 'exec dcfsim-replicate --one 1 run-as-dcfsim'
    ln -s docs/slurm-array.sh . # its page begins where it is
    ln -s release build/before  # an older build
    ln -s release build/native
    # Presets and targets are those that there are; nothing is built.
    Substitute bin/IsTarget 'grep -E "^ *add_(executable|library|custom_target)\($1[ )]" \
        "$SOURCE/CMakeLists.txt" || { echo "no target $1" >&2 && exit 1; }'
    Substitute bin/cmake 'real=$(PATH=${PATH#*:} command -v cmake)
        while (($#)); do
            case $1 in
            --preset) "$real" --list-presets=all | grep -F "\"$2\""; shift ;;
            --target) IsTarget "$2"; shift ;;
            -DDCFSIM_*) name=${1#-D}; grep -E "^(option|set)\(${name%%=*} " CMakeLists.txt ;;
            --build | --install | -DCMAKE_CXX_FLAGS=* | build/*) ;;
            -S | -B | --prefix | --component) shift ;;
            *) exec "$real" "$@" ;;
            esac
            shift
        done'
    Substitute bin/ctest '[[ $1 != --preset ]] || exec cmake "$@"
        PATH=${PATH#*:} ctest "${@/build\/release/$BIN}" -N | grep "^Total Tests: [1-9]"'
    Substitute bin/cpack 'exec cmake --build build/release'
    # The tests print times, so files with what they print differ.
    Substitute bin/diff 'PATH=${PATH#*:} diff "$@" || (($? == 1))'
    # Without the tool, the program alone.
    Substitute bin/valgrind 'while [[ $1 == -* ]]; do shift; done && exec "$@"'
    # These look at the whole sources, or build several times: what they take, not what they find.
    for program in run test; do
        Substitute $program "exec $SOURCE/$program --help"
    done
    for program in bench-history build-guided coverage format lint lint-scripts; do
        Substitute scripts/$program 'grep -qF "usage: scripts/'$program'" "$REAL"
            for option in "$@"; do
                [[ $option != --* ]] || grep -qF -e "$option" "$REAL"
            done'
    done
    Substitute scripts/numbers '"$REAL" --list >list.txt
        for name in "$@"; do
            [[ $name == --list || $name == theory ]] || grep "^$name " list.txt
        done'
    Substitute scripts/plant-faults '[[ $# == 0 ]] || grep -q "^    .$1 " "$REAL"'
    Substitute scripts/plant-random-faults 'exec "$REAL" --list "$@"'
    Substitute scripts/damage-numbers \
        'exec "$REAL" --check "$BIN/dcfsim-check" --count 5 "$@"'
    # Tools.guide.Examples does the rest.
    Substitute scripts/draw-examples '[[ -x $1/dcfsim-experiment ]] && exec "$REAL" --help'
    Substitute scripts/record-experiments '[[ $1 == --compare ]] && exec "$REAL" "$@" few-ticks'
    PATH=$PWD/bin:$PWD/build/release:$PATH
}

# Runs the commands on standard input, for at most a minute. What they say is in the file `said`.
RunCommands() { # page:line
    local line words
    # A list that stops at its first command would not stop the shell.
    sed '/^ *cmake/s/ && /\n/g' | sed ':more; /\\$/ { N; s/\\\n//; t more }' | while IFS= read -r line; do
        for words in "${ELSEWHERE[@]}"; do
            [[ $line != *"${words%% *}"* ]] || line="echo '${words#* }: not run'"
        done
        printf '%s\n' "$line"
    done >commands.sh
    timeout 60 bash -euo pipefail commands.sh >said 2>&1 </dev/null ||
        Fail "$1: status $? of: $(cat commands.sh)"$'\n'"$(cat said)"
}

# Standard input on one line, single blanks between the words.
Squeeze() {
    tr -s ' \t\n' ' ' | sed 's/^ //; s/ $//'
}

# Runs a session: what each command prints is compared but for blanks, as lines may be folded, and
# for what a page leaves out as "...".
RunSession() { # page:line, file
    local number wanted said
    csplit -s -z -f part- "$2" '/^ *\$ /' '{*}'
    for number in part-*; do
        # The status is seen from what is printed.
        sed -n '1s/^ *\$ \(.*\)/\1 || true/p' "$number" | RunCommands "$1"
        wanted=$(sed 1d "$number" | Squeeze | sed 's/[][*?\\]/\\&/g; s/\.\.\./*/g')
        said=$(Squeeze <said)
        # shellcheck disable=SC2053 # a pattern
        [[ $said == $wanted ]] || Fail "$1: $(head -n 1 "$number"): got '$said', expected '$wanted'"
        rm "$number"
    done
}

RunPage() {
    local block kind ran=0 place
    [[ -e $SOURCE/$1 ]] || Skip "there is no $1"
    MakeCopy
    ReadBlocks "$1"
    for block in $(find blocks -name '[0-9]*' ! -name '*.mark' | sort); do
        kind=$(KindOf "$block")
        place=$1:$((10#${block#*/}))
        case $kind in
        commands)
            RunCommands "$place" <"$block"
            ;;
        session)
            RunSession "$place" "$block"
            ;;
        file\ *)
            mkdir -p "$(dirname "${kind#* }")"
            cp "$block" "${kind#* }"
            continue
            ;;
        *)
            continue
            ;;
        esac
        ran=$((ran + 1))
    done
    ((ran > 0)) || Fail "$1: no commands"
}

if [[ $CASE != Blocks ]]; then
    page=${CASE//_/-}.md
    [[ $CASE == [A-Z]* ]] || page=docs/$page
    eval "$CASE() { RunPage $page; }"
fi
RunCase
