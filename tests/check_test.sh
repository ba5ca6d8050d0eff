#!/usr/bin/env bash
# Tests of dcfsim-check.
# Cases: Check Hashes
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

Check() {
    MakeTree tree
    Equal 'files found whole' "$(dcfsim-check tree | grep -c '^ok')" 43
    Equal 'said quietly' "$(dcfsim-check -q made/seed-7)" ''
    # Every file that is not empty is damaged in one of three ways.
    Damage() { # what is done to file $1, what is said
        local way=$1 said=$2 file
        cp -r tree damaged
        find tree -name '*.txt' -size +0 -printf 'damaged/%P\n' | sort >wanted
        while read -r file; do $way "$file"; done <wanted
        dcfsim-check -q damaged 2>err && Fail "$way: passed"
        sed -nE "s/^dcfsim-check: ([^:]*):[0-9]+: ($said).*/\1/p" err | sort | cmp - wanted ||
            Fail "$way: $(cat err)"
        rm -r damaged
    }
    # shellcheck disable=SC2317 # called by name
    CutByte() { truncate -s -1 "$1"; }
    # shellcheck disable=SC2317
    CutLine() { sed -i '$d' "$1"; }
    # shellcheck disable=SC2317
    AddLine() { echo 1 >>"$1"; }
    Damage CutByte 'the line is cut off|the file ends'
    Damage CutLine 'the file ends'
    Damage AddLine 'the file goes on|the line is cut off'

    sed -i '5s/\t[^\t]*$//' tree/z_node.txt
    Refused 1 '^dcfsim-check: tree/z_node.txt:5: 15 columns, expected 16$' dcfsim-check -q tree
    sed -i '13s/1/2/' tree/collision.txt
    echo x >tree/check.txt
    rm tree/block.txt
    dcfsim-check -q tree 2>err && Fail 'a damaged tree passed'
    Equal 'bad files' "$(cut -d: -f2 err | xargs)" \
        'tree/collision.txt tree/check.txt tree/z_node.txt tree/block.txt'
    Refused 2 'no DIR' dcfsim-check
    Refused 2 'unknown option' dcfsim-check --loud tree
}

Hashes() {
    MakeTree tree
    local list=tree/SHA256SUMS size name
    (cd tree && LC_ALL=C sha256sum -- *.txt >SHA256SUMS)
    Equal 'of the list' "$(dcfsim-check tree | tail -n 1)" 'ok  SHA256SUMS               43 lines'
    cp $list good
    Damaged() { # edit of the list, what is said
        sed "$1" good >$list
        Refused 1 "^dcfsim-check: $list$2; restore the list, or remove it\$" dcfsim-check -q tree
    }
    Damaged '/ drop.txt/d' ': drop.txt is not listed'
    Damaged 43p ':44: z_node.txt comes again'
    Damaged '43p;43s/  .*/  notes.txt/' ":44: 'notes.txt' is not a result file"
    Damaged '3s/^/ /;3p;3s/^ //' ':3: not a hash, two blanks and the name of a file'
    Damaged '43p;43s/.*//' ':44: not a hash, two blanks and the name of a file'
    Damaged '5p;5s/  / /' ':6: not a hash, two blanks and the name of a file'
    head -c -1 good >$list
    dcfsim-check -q tree 2>err && Fail 'a list that is cut off passed'
    grep -q "^dcfsim-check: $list:43: the line is cut off" err || Fail "$(cat err)"
    ln -sf nowhere $list
    Refused 1 "^dcfsim-check: $list: cannot be read: No such file" dcfsim-check tree
    rm $list
    mkdir $list
    Refused 1 "^dcfsim-check: $list: cannot be read: Is a directory" dcfsim-check tree
    rmdir $list
    cp good $list

    # Another digit: the file is as well-formed as before.
    cp -r tree damaged
    sed -i '30s/0/1/' damaged/drop.txt
    Refused 1 '^dcfsim-check: damaged/drop.txt: differs from its hash in SHA256SUMS: ' \
        dcfsim-check -q damaged
    Equal 'of the file' "$(dcfsim-check damaged 2>/dev/null | grep -c drop)" 0
    rm damaged/SHA256SUMS
    dcfsim-check -q damaged
    rm tree/delay.txt
    Refused 1 '^dcfsim-check: tree/delay.txt: cannot be read' dcfsim-check -q tree

    # Texts of all lengths up to two blocks of the hash: no results, but listed as they are.
    for size in 0 43 86; do
        while read -r _ name; do
            head -c $((size++)) tree/collision.txt >"damaged/$name"
        done <good
        (cd damaged && sha256sum -- *.txt >SHA256SUMS)
        dcfsim-check damaged >out 2>err && Fail 'no results, and passed'
        ! grep SHA256SUMS err || Fail "hashes of up to $size bytes"
    done
}

RunCase
