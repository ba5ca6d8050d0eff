#!/usr/bin/env bash
# Tests of the guide to experiments, docs/changing-the-experiment.md.
# Cases: Page Examples
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"
GUIDE=$SOURCE/docs/changing-the-experiment.md

# The first file of the guide is one, and all that it names is there.
Page() {
    sed -n '/^    {$/,/^    }$/p; /^    }$/q' "$GUIDE" >mine.json
    dcfsim-experiment --check mine.json >checked.json 2>err
    Equal 'warnings' "$(cat err)" ''
    grep -q '"title": "Pairs that hear all others"' checked.json || Fail "$(cat checked.json)"
    local name
    for name in $(cd "$SOURCE/experiments" && echo example-*.json); do
        grep -qF "$name" "$GUIDE" || Fail "$name is not explained"
    done
    # The keys that it shows are those of the examples.
    for name in hidden short-packets one-sender unequal-flows; do
        grep -qF "](example-$name.svg)" "$GUIDE" || Fail "$name has no figure"
        sed -n "/^\`example-$name.json\`/,/^!/s/^    \\( *[\"[{].*\\)/\\1/p" "$GUIDE" |
            tr -d ' ,\n' >shown
        [[ -s shown ]] || Fail "$name: no key is shown"
        tr -d ' ,\n' <"$SOURCE/experiments/example-$name.json" | grep -qF -- "$(cat shown)" ||
            Fail "$name has not '$(cat shown)'"
    done
}

# Tables and figures are of the experiments as they stand; a row or a figure of others is told.
Examples() {
    grep -q '^CMAKE_BUILD_TYPE:STRING=Release' "$BIN/CMakeCache.txt" ||
        Skip 'whole experiments take minutes without optimisation'
    mkdir -p copy/scripts
    cp "$SOURCE/scripts/draw-examples" copy/scripts
    cp -r "$SOURCE/docs" "$SOURCE/experiments" copy
    sed -i 's/^| 5 | 4\.87 |/| 5 | 4.88 |/' copy/docs/changing-the-experiment.md
    sed -i 's/^<!-- values: ./&0/' copy/docs/example-one-sender.svg
    local status=0
    copy/scripts/draw-examples --compare "$BIN" >said || status=$?
    Equal 'status' "$status" 1
    Equal 'what differs' "$(cut -c 1-72 said)" \
        'FAILED: not in changing-the-experiment.md: | 5 | 4.87 | 4.96 | 5.02 | 4.
FAILED: docs/example-one-sender.svg: was drawn from other values'
    status=0
    copy/scripts/draw-examples --compare nowhere 2>err || status=$?
    Equal 'status' "$status" 2
}

RunCase
