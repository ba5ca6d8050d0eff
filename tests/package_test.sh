#!/usr/bin/env bash
# Tests of the Debian package and of the archive of the sources. The package is made of the programs
# as they were built for the other tests.
# Cases: Package Missing SameBytes Sources
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

# Makes the package in directory $1 and prints its name.
MakePackage() {
    cpack --config "$BIN/CPackConfig.cmake" -B "$PWD/$1" >"$1.log" 2>&1 || Fail "$(cat "$1.log")"
    echo "$1"/*.deb
}

# Every link of the documents in $1 leads to a file.
CheckLinks() {
    local file link links=0
    while IFS=: read -r file link; do
        link=${link#*(}
        link=${link%%[#)]*}
        [[ $link == http* || -z $link ]] && continue
        [[ -e ${file%/*}/$link ]] || Fail "$file: dead link to $link"
        links=$((links + 1))
    done < <(grep -roE --include='*.md' '\]\([^)]*\)' "$1")
    ((links > 15)) || Fail "only $links links were found"
}

# Runs each program of $1/usr as it is installed, but for dcfsim, whose only run takes too long.
RunInstalled() {
    local bin=$1/usr/bin program tree=campaign/seed-7/result/10node_design/1500
    for program in dcfsim dcfsim-{check,compare,experiment,export,figures,replicate,validate}; do
        "$bin/$program" --version | grep -qE "^$program [0-9.]+ \(.*\)$" || Fail "$program"
        if man --version >/dev/null 2>&1; then
            man -M "$1/usr/share/man" "$program" 2>&1 | grep -q "^ *$program - " ||
                Fail "$program: no man page"
        fi
    done
    "$bin/dcfsim-experiment" --list >listed
    Equal 'experiments installed' "$(wc -l <listed)" \
        "$(find "$SOURCE/experiments" -maxdepth 1 -name '*.json' | wc -l)"
    "$bin/dcfsim-experiment" "$(awk '/few-ticks/ { print $1 }' listed)" --out run 2>log ||
        Fail "$(cat log)"
    (cd run/10node_design/* && grep -v ' result\.txt$' \
        "$SOURCE/experiments/recorded/few-ticks.sha256" | sha256sum --check --quiet) ||
        Fail 'results of a listed experiment'
    "$bin/dcfsim-replicate" --quick --one 7 campaign >log || Fail "$(cat log)"
    "$bin/dcfsim-check" --quiet "$tree" || Fail 'results of a replication'
    "$bin/dcfsim-export" "$tree" >all.csv || Fail dcfsim-export
    "$bin/dcfsim-compare" "$tree" "$tree" >log || Fail "$(cat log)"
    if [[ -x $bin/dcfsim-trace ]]; then
        "$bin/dcfsim-trace" --seed 1 --load 1000 --from 0 --ticks 500 --svg trace.svg >log ||
            Fail "$(cat log)"
    fi
    if gnuplot --version >/dev/null 2>&1; then
        "$bin/dcfsim-figures" "$tree" >log || Fail "$(cat log)"
    fi
    "$bin/dcfsim-validate" --quick >log || Fail "$(cat log)"
}

Package() {
    dpkg-shlibdeps --version >/dev/null 2>&1 || Skip 'dpkg-dev is not installed'
    file --version >/dev/null 2>&1 || Skip 'file is not installed'
    lintian --version >/dev/null 2>&1 || Skip 'lintian is not installed'
    local dpkg=(dpkg "--root=$PWD/root" --force-depends) first second before
    if ((EUID)); then
        fakeroot true 2>/dev/null || Skip 'neither root nor fakeroot, so nothing can be installed'
        dpkg=(fakeroot "${dpkg[@]}" --force-not-root)
    fi
    before=$(git -C "$SOURCE" status --porcelain 2>&1 || true)
    first=$(MakePackage first)
    sleep 1.1 # the clock must not show
    second=$(MakePackage second)
    cmp "$first" "$second" || Fail 'made twice, not the same bytes'
    Equal 'git status' "$(git -C "$SOURCE" status --porcelain 2>&1 || true)" "$before"
    dpkg-deb --field "$first" Depends | grep -qE 'libc6 .*libstdc\+\+6 ' ||
        Fail "depends on: $(dpkg-deb --field "$first" Depends)"
    lintian --fail-on error,warning "$first" >lint 2>/dev/null || Fail "$(cat lint)"

    mkdir -p root/var/lib/dpkg/{info,updates}
    touch root/var/lib/dpkg/{status,available}
    "${dpkg[@]}" --install "$first" >log 2>&1 || Fail "$(cat log)"
    ! grep -rlF "$SOURCE" root/usr || Fail 'these name the folder of the sources'
    CheckLinks root/usr/share/doc
    RunInstalled "$PWD/root"
    "${dpkg[@]}" --purge dcfsim >log 2>&1 || Fail "$(cat log)"
    ! grep . < <(find root -path '*dcfsim*') || Fail 'left behind'
}

# What the package is made with is asked for by name.
Missing() {
    local program
    mkdir bin
    for program in git sh; do
        ln -s "$(command -v $program)" bin
    done
    program=$(command -v cpack)
    ! PATH=$PWD/bin "$program" --config "$BIN/CPackConfig.cmake" -B "$PWD/out" >log 2>&1 ||
        Fail 'made without the programs it takes'
    tr -s ' \n' ' ' <log | grep -q 'apt-get install -y --no-install-recommends dpkg-dev' ||
        Fail "$(cat log)"
    [[ ! -e $(echo out/*.deb) ]] || Fail 'a package was made'
}

# Two programs stand for all: that of the model, and one without it.
SameBytes() {
    local options=() line program
    while IFS= read -r line; do
        options+=("-D$line")
    done < <(grep -E '^(CMAKE_BUILD_TYPE|CMAKE_CXX_(COMPILER|FLAGS|FLAGS_RELEASE)|DCFSIM_IPO):' \
        "$BIN/CMakeCache.txt")
    unset CMAKE_CXX_COMPILER_LAUNCHER # a cache would bring the same objects again
    cmake -S "$SOURCE" -B again "${options[@]}" >log 2>&1 || Fail "$(cat log)"
    cmake --build again --parallel 2 --target dcfsim --target dcfsim-check >log 2>&1 ||
        Fail "$(cat log)"
    Equal 'commit of the build, which may be out of date' "$(again/dcfsim --version)" \
        "$(dcfsim --version)"
    for program in dcfsim dcfsim-check; do
        cmp "$BIN/$program" "again/$program" || Fail 'built twice, not the same bytes'
    done
}

# The archive holds the tracked files, tells its commit, and is enough for a build: here without
# libraries, of which the last line must tell.
Sources() {
    local commit name line
    commit=$(git -C "$SOURCE" rev-parse --short=12 HEAD 2>/dev/null) || Skip 'no git checkout'
    cpack -G TGZ --config "$BIN/CPackSourceConfig.cmake" -B "$PWD/out" >log 2>&1 ||
        Fail "$(cat log)"
    tar -xzf out/*.tar.gz
    name=$(echo dcfsim-*)
    diff <(git -C "$SOURCE" ls-tree -r --name-only HEAD | LC_ALL=C sort) \
        <(cd "$name" && find . -type f | cut -c 3- | LC_ALL=C sort) || Fail 'not the tracked files'
    cmake -S "$name" -B build -DCMAKE_CXX_FLAGS_RELEASE=-O0 -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON \
        -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON >log 2>&1 || Fail "$(cat log)"
    line='Left out: dcfsim-compare dcfsim-experiment .* dcfsim_tests\. To build them too: apt-get '
    line+='install -y --no-install-recommends libcli11-dev .*libgtest-dev && cmake .* && cmake'
    grep -q "^-- $line" log || Fail "$(cat log)"
    cmake --build build --parallel 2 >log 2>&1 || Fail "$(cat log)"
    tail -n 1 log | grep -q "^$line" || Fail "$(tail -n 3 log)"
    build/dcfsim --version | grep -qF "($commit)" || Fail "$(build/dcfsim --version)"
    # The version stands in three places.
    grep -qx "version: ${name#dcfsim-}" "$name/CITATION.cff" || Fail 'version in CITATION.cff'
    grep -q "^## ${name#dcfsim-}, " "$name/CHANGELOG.md" || Fail 'version in CHANGELOG.md'
}

RunCase
