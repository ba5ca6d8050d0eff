#!/usr/bin/env bash
# Tests of README.md, CHANGELOG.md and docs/*.md as pages: links, names of files, length of lines, and
# tables of numbers.
# Cases: Links Names Lines Numbers ShortNumbers
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

# The anchors of page $1: its heads in small letters, blanks as dashes, other marks left out.
Anchors() {
    sed -nE 's/^#+ +//p' "$1" | tr '[:upper:]' '[:lower:]' |
        sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'
}

# shellcheck disable=SC2016 # backticks of the pages
# What is wrong with the links and the names of files in the pages of folder $1.
DeadLinks() {
    local page link target anchor name
    for page in "$1"/*.md "$1"/docs/*.md; do
        # Blocks and what stands in backticks hold none.
        sed -E '/^    /d; s/`[^`]*`//g' "$page" | grep -oE '\]\([^) ]+\)' | sed 's/^](//; s/)$//' |
            while read -r link; do
                [[ $link != http*://* ]] || continue
                target=${link%%#*}
                anchor=${link#"$target"}
                target=${target:+$(dirname "$page")/$target}
                target=${target:-$page}
                [[ -e $target ]] || echo "${page#"$1/"}: $link"
                [[ -z $anchor || ! -f $target ]] || Anchors "$target" | grep -qxF -- "${anchor#\#}" ||
                    echo "${page#"$1/"}: $link"
            done
        # Pages and sources that are named in backticks.
        grep -oE '`[a-z]+/[A-Za-z0-9_/-]+\.(cpp|h|md|json|txt|sh|py)`|`[a-z-]+\.(md|sh)`' "$page" |
            tr -d '`' | while read -r name; do
            [[ -e $1/$name || -e $1/docs/$name || -e $1/tests/$name || -e $1/experiments/$name ]] ||
                [[ $name == result/* || $name == mine/* || $name == experiments/mine.json ]] || # what a reader makes
                echo "${page#"$1/"}: $name"
        done
    done
}

# shellcheck disable=SC2016
Links() {
    Equal 'dead links' "$(DeadLinks "$SOURCE")" ''
    mkdir -p copy/docs
    cp -r "$SOURCE/docs" copy
    printf '%s\n' '# Some head' '[a](docs/model.md#mac-the-frame-exchange) [b](#some-head)' \
        '[c](docs/no.md), [d](#no), [e](docs/model.md#no) `no.md`' '' '    [f](no.md)' >copy/README.md
    Equal 'dead links' "$(DeadLinks copy | grep '^README')" 'README.md: docs/no.md
README.md: #no
README.md: docs/model.md#no
README.md: no.md'
}

# The names of functions, constants and tests that the pages of folder $1 have in backticks, as
# words: those with a capital inside, or with an underscore. Files of results are something else.
# shellcheck disable=SC2016 # backticks of the pages
CodeNames() {
    sed '/^    /d' "$1"/README.md "$1"/docs/*.md | grep -oE '`[A-Za-z0-9_.:*]+`' |
        grep -vE '\.(txt|cpp|h)`$|^`\.|`_' | tr '.:*`' '\n' |
        grep -xE '[A-Za-z0-9]*[a-z][A-Z][A-Za-z0-9]*|[A-Za-z0-9]+(_[A-Za-z0-9]+)+' | sort -u
}

# What is named is there: a function that was renamed goes on living in no page.
# shellcheck disable=SC2016
Names() {
    grep -ohE '[A-Za-z0-9_]+' "$SOURCE"/*/*.cpp "$SOURCE"/*/*.h "$SOURCE"/tests/*.sh \
        "$SOURCE"/CMakeLists.txt | tr '/' '\n' | sort -u >words
    # Names of result files without their ending, and what several of them begin with.
    grep -oE '"[A-Za-z0-9_]+\.txt"' "$SOURCE/output/files.h" | tr -d '"' |
        sed 's/\.txt//; p; s/_[^_]*$//' >>words
    sort -u words -o words
    CodeNames "$SOURCE" >named
    (($(wc -l <named) > 200)) || Fail "only $(wc -l <named) names"
    Equal 'names that are nowhere' "$(comm -23 named words)" ''
    mkdir -p copy/docs
    local gone=Decrement
    gone+=NavTwice
    echo 'In `DecrementNavAll` and `'$gone'`.' | tee copy/README.md >copy/docs/model.md
    CodeNames copy >named
    Equal 'names that are nowhere' "$(comm -23 named words)" "$gone"
}

# Lines that are too long to be read in a terminal; tables and pictures cannot be broken, nor can
# addresses.
# scripts/wrap-documents mends the others.
LongLines() {
    LC_ALL=C.UTF-8 grep -nHE '^.{101,}$' "$@" | grep -vE '^[^:]*:[0-9]+:(\|| *!\[| *[^ ]+$)' |
        cut -d : -f 1,2
}

Lines() {
    printf '%0101d a\n| %0101d\n%0101d\n%098d a\n' 0 0 0 0 >page.md
    Equal 'long lines' "$(LongLines page.md)" page.md:1
    printf '%s\n' "- $(yes word | head -30 | tr '\n' ' ')\`a b\` [a b](c)" '' \
        "    $(yes block | head -30 | tr '\n' ' ')" >page.md
    cp page.md before
    "$SOURCE/scripts/wrap-documents" page.md
    Equal 'wrapped lines' "$(LongLines page.md)" page.md:4
    Equal 'words' "$(tr -s ' \n' ' ' <page.md)" "$(tr -s ' \n' ' ' <before)"
    Equal 'begin of the second line' "$(sed -n '2s/word.*//p' page.md)" '  '
    Equal 'long lines' "$(cd "$SOURCE" && LongLines ./*.md docs/*.md)" ''
}

CopyNumbers() {
    mkdir -p copy/scripts
    cp "$SOURCE"/scripts/numbers "$SOURCE"/scripts/number_tables.py copy/scripts
    cp -r "$SOURCE/docs" "$SOURCE/README.md" copy
}

# Every table between marks has a maker; those that are the same on every machine and take seconds
# are what dcfsim-validate prints now.
Numbers() {
    grep -q '^CMAKE_BUILD_TYPE:STRING=Release' "$BIN/CMakeCache.txt" ||
        Skip 'this takes minutes without optimisation'
    "$SOURCE/scripts/numbers" --check || Fail 'the marks of the pages'
    CopyNumbers
    sed -i 's/^| saturated, Mbit\/s | 30\./&9/' copy/docs/validation.md
    local status=0
    copy/scripts/numbers theory --compare --build "$BIN" >said || status=$?
    Equal 'status' "$status" 1
    Equal 'what differs' "$(cut -d '|' -f 1,2 said)" \
        'FAILED: docs/validation.md: alone: not there: | saturated, Mbit/s 
FAILED: docs/validation.md: alone: no longer so: | saturated, Mbit/s '
    sed -i 's/numbers: speed/numbers: sped/; s/^<!-- end -->/&/' copy/README.md
    echo '<!-- end -->' >>copy/docs/model.md
    status=0
    copy/scripts/numbers --check >said || status=$?
    Equal 'status' "$status" 1
    Equal 'what is wrong' "$(<said)" 'FAILED: README.md: sped: nothing makes this block
FAILED: docs/model.md: a mark without its end, or an end without its mark
FAILED: README.md: speed: stands there 0 times, not once'
}

# Tables that need whole runs are made of short ones, and go into their page.
ShortNumbers() {
    grep -q '^CMAKE_BUILD_TYPE:STRING=Release' "$BIN/CMakeCache.txt" ||
        Skip 'this takes minutes without optimisation'
    CopyNumbers
    cp "$SOURCE/scripts/damage-numbers" copy/scripts
    copy/scripts/numbers peers generators halves damage --short --build "$BIN" \
        --campaigns "$SCRATCH/campaigns" >made 2>err || Fail "$(<err)"
    Equal 'rows' "$(grep -c '^| ' made)" 20
    grep -qE '^\| replications \| 4, 4 \|' made || Fail "$(<made)"
    # The mean of the end flows is that of the summary.
    awk -F , '$1 == "throughput.txt" && $2 == 35 && $5 == "throughput" && ($4 == 0 || $4 == 4) {
        sum += $8 } END { printf "| saturated end flows, Mbit/s | %.2f", sum / 2 }' \
        campaigns/lcg-16807/summary.csv >wanted
    grep -qF -- "$(<wanted)" made || Fail "$(<made)"
    cp copy/docs/peers.md before
    copy/scripts/numbers peers --short --write 2>err && Fail 'short runs are in a page'
    grep -q 'short runs make no numbers' err && cmp before copy/docs/peers.md
}

RunCase
