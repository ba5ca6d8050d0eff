# shellcheck shell=bash
# What the tests of the tools have in common, to be sourced first: tests/NAME_test.sh BUILD_DIR CASE
# runs function CASE of its file, one of those in the line "# Cases:", in a scratch folder, with the
# programs of BUILD_DIR in the path. Exit status 77 means skipped.
set -euo pipefail

BIN=$(readlink -f "$1")
CASE=$2
# shellcheck disable=SC2034 # for the files that source this
SOURCE=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
SCRATCH=$(mktemp -d)
trap 'rm -rf "$SCRATCH"' EXIT
cd "$SCRATCH"
PATH=$BIN:$PATH

Fail() {
    echo "FAILED: $*" >&2
    exit 1
}

Skip() {
    echo "SKIPPED: $*"
    exit 77
}

Equal() { # what, actual, expected
    [[ $2 == "$3" ]] || Fail "$1: got '$2', expected '$3'"
}

# Runs a command that must fail with status $1 and one line on standard error that matches $2.
Refused() {
    local status=0 wanted=$1 line=$2
    shift 2
    timeout 60 "$@" >out 2>err || status=$?
    Equal "status of $*" "$status" "$wanted"
    Equal "lines on standard error of $*" "$(wc -l <err)" 1
    grep -qE -- "$line" err || Fail "$*: '$(cat err)' does not match '$line'"
}

MakeTree() {
    dcfsim-replicate --quick --one 7 made >/dev/null
    cp -r made/seed-7/result/10node_design/1500 "$1"
}

# Seeds of a campaign, in its order.
SeedsFrom() { # first seed, how many
    dcfsim-replicate --list-seeds -s "$1" -r "$2"
}

RunCase() {
    "$CASE"
    echo "$CASE: passed"
}
