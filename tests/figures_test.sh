#!/usr/bin/env bash
# Tests of dcfsim-figures.
# Cases: Figures Browser
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

FIGURES='throughput delay queue time collisions'

Figures() {
    gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'
    MakeTree tree
    dcfsim-replicate --quick -r 2 -s 51 "a campaign" >/dev/null
    local dir name
    for dir in tree 'a campaign'; do
        dcfsim-figures "$dir" >/dev/null 2>err
        Equal 'complaints' "$(cat err)" ''
        for name in $FIGURES; do
            [[ $(head -c 4 "$dir/fig/$name.png") == $'\x89PNG' ]] || Fail "$name.png"
            grep -q '</svg>' "$dir/fig/$name.svg" || Fail "$name.svg"
            grep -q "src=\"$name.svg\"" "$dir/fig/index.html" || Fail "$name is not on the page"
        done
        ! grep -q '://' "$dir/fig/index.html" || Fail 'the page needs a network'
    done
    grep -q yerrorlines 'a campaign/fig/figures.gp' || Fail 'no confidence bars'
    ! grep -q yerrorlines tree/fig/figures.gp || Fail 'confidence bars for one run'
    # The sum of the flows, from the tree.
    awk 'NR == 32 { print $2 + $3 + $4 + $5 + $6 }' tree/throughput.txt >wanted
    # shellcheck disable=SC2016
    sed -n '/^\$throughput0_5/,/^END/p' tree/fig/figures.gp | awk '$1 == 30 { print $2 }' |
        cmp - wanted
    dcfsim-figures --throughput-script tree >/dev/null
    grep -q '^%%BoundingBox' tree/fig/throughput.eps || Fail 'throughput.eps'
    sed -i 2d 'a campaign/summary.csv'
    Refused 1 'summary.csv:2: not the summary' dcfsim-figures 'a campaign'
    rm 'a campaign/summary.csv' && mkfifo 'a campaign/summary.csv'
    Refused 1 'summary.csv: is no plain file' dcfsim-figures 'a campaign'
    Refused 1 'result.txt: cannot be read' dcfsim-figures .
}

Browser() {
    local browser
    browser=$(command -v chromium || command -v chromium-browser) || Skip 'no chromium'
    gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'
    MakeTree tree
    dcfsim-figures tree >/dev/null
    echo '<script>onload = () => document.title = document.images.length + " pictures, " +
        [...document.images].filter(i => i.complete && i.naturalWidth > 0).length + " loaded"
        </script>' | cat tree/fig/index.html - >tree/fig/probe.html
    HOME=$SCRATCH timeout 100 "$browser" --headless --no-sandbox --disable-gpu \
        --user-data-dir="$SCRATCH/profile" --host-resolver-rules='MAP * ~NOTFOUND' --dump-dom \
        "file://$SCRATCH/tree/fig/probe.html" >dom 2>log || Fail "$(cat log)"
    grep -q '<title>5 pictures, 5 loaded</title>' dom || Fail "$(grep '<title>' dom)"
}

RunCase
