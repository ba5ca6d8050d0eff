#!/usr/bin/env bash
# Tests of what is installed.
# Cases: Install
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

Install() {
    cmake --install "$BIN" --prefix "$SCRATCH/usr" >/dev/null
    local program
    for program in dcfsim dcfsim-check dcfsim-compare dcfsim-experiment dcfsim-export \
        dcfsim-figures dcfsim-replicate; do
        [[ -x usr/bin/$program ]] || Fail "$program is not installed"
        grep -q "^\.SH NAME" "usr/share/man/man1/$program.1" || Fail "$program has no man page"
        [[ $program == dcfsim ]] && continue
        # The man page and the help know the same options.
        "usr/bin/$program" --help | grep -oE -- '--[a-z-]+' | sort -u >helped
        sed 's/\\-/-/g' "usr/share/man/man1/$program.1" | grep -oE -- '--[a-z-]+' | sort -u >paged
        diff helped paged || Fail "options of $program"
        "usr/bin/$program" --version | grep -q "^$program [0-9]" || Fail "$program --version"
    done
    # The experiments go along, also to where the whole is moved.
    mv usr moved
    moved/bin/dcfsim-experiment --list >listed
    grep -qE '^moved/share/dcfsim/experiments/few-ticks\.json +Load points of ' listed ||
        Fail "$(cat listed)"
    Equal 'experiments installed' "$(wc -l <listed)" \
        "$(find "$SOURCE/experiments" -maxdepth 1 -name '*.json' | wc -l)"
    mv moved usr
    [[ -s usr/share/doc/dcfsim/cluster.md ]] || Fail 'the documents are not installed'
}

RunCase
