#!/usr/bin/env bash
# Tests of what is installed.
# Cases: Install
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

Install() {
    cmake --install "$BIN" --prefix "$SCRATCH/usr" >/dev/null
    local programs program version
    programs=(dcfsim dcfsim-check dcfsim-compare dcfsim-experiment dcfsim-export dcfsim-figures
        dcfsim-replicate dcfsim-validate)
    ! grep -q dcfsim-trace "$BIN/cmake_install.cmake" || programs+=(dcfsim-trace)
    Equal 'programs installed' "$(find usr/bin -type f | wc -l)" "${#programs[@]}"
    version=$(usr/bin/dcfsim --version)
    [[ $version =~ ^dcfsim\ [0-9.]+\ \(([0-9a-f]{12}(-dirty)?|unknown)\)$ ]] || Fail "$version"
    for program in "${programs[@]}"; do
        [[ -x usr/bin/$program ]] || Fail "$program is not installed"
        grep -q "^\.SH NAME" "usr/share/man/man1/$program.1" || Fail "$program has no man page"
        # The man page and the help know the same options.
        "usr/bin/$program" --help | grep -oE -- '--[a-z-]+' | sort -u >helped
        sed 's/\\-/-/g' "usr/share/man/man1/$program.1" | grep -oE -- '--[a-z-]+' | sort -u >paged
        diff helped paged || Fail "options of $program"
        Equal "version of $program, unless not all were built last" \
            "$("usr/bin/$program" --version)" "$program ${version#dcfsim }"
    done
    # The experiments go along, also to where the whole is moved.
    mv usr moved
    moved/bin/dcfsim-experiment --list >listed
    grep -qE '^moved/share/dcfsim/experiments/few-ticks\.json +Load points of ' listed ||
        Fail "$(cat listed)"
    Equal 'experiments installed' "$(wc -l <listed)" \
        "$(find "$SOURCE/experiments" -maxdepth 1 -name '*.json' | wc -l)"
    mv moved usr
    [[ -s usr/share/doc/dcfsim/docs/cluster.md ]] || Fail 'the documents are not installed'
}

RunCase
