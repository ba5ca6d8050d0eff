#!/usr/bin/env bash
# Tests of dcfsim-check.
# Cases: Check Values Hashes Manifest
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
    Refused 1 "^dcfsim-check: $list: is no plain file" dcfsim-check tree
    rmdir $list
    cp good $list

    # Another digit in what nothing else tells of: the file is as good as before.
    cp -r tree damaged
    sed -i 's/^\(simulation run time.*\) [0-9]*s$/\1 58s/' damaged/result.txt
    Refused 1 '^dcfsim-check: damaged/result.txt: differs from its hash in SHA256SUMS: ' \
        dcfsim-check -q damaged
    Equal 'of the file' "$(dcfsim-check damaged 2>/dev/null | grep -c result)" 0
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

Values() {
    MakeTree tree
    Damaged() { # file, edit, what is said behind its name
        cp -r tree damaged
        sed -i -E "$2" "damaged/$1"
        ! cmp -s "tree/$1" "damaged/$1" || Fail "$1: $2 does nothing"
        dcfsim-check -q damaged 2>err && Fail "$1: $2: passed"
        grep -qE "^dcfsim-check: damaged/$1:$3" err || Fail "$1: $2: $(cat err)"
        rm -r damaged
    }
    # Rows out of order, a leading column of its own, and loads that are not those of the row.
    Damaged throughput.txt '10{h;d};11G' "10: '0.01060' \(offered_load of flow 0 at 8 Mbit/s\), expe"
    Damaged x_node.txt '30s/[0-9.]+/7.5/2;30s/7.5/7.50000/' "30: '7.50000' \(throughput of flow 0 "
    Damaged result.txt '30s/[0-9.]+/0.12345/1' "30: '0.12345' \(offered_load of flow 0 "
    Damaged node_stat.txt '620s/[0-9]+/1099/2;620s/0.03480/0.43960/' "620: '1099' \(gene of station 4"
    Damaged node_stat.txt '/^num_off/{n;s/12000/12001/}' "[0-9]+: '12001' \(arrival_gap of network at 1 "
    # Shares of time.
    Damaged y_node.txt '30s/[0-9.]+/0.50000/9' "30: '0.50000' \(busy_share of station 2 at 28 Mbit"
    Damaged node_stat.txt '620s/0.001000$/1.001000/' "620: '1.001000' \(X\+Y\+Z of station 4 at 33"
    Damaged node_stat.txt '620s/0.000154/2.000154/' "620: '2.000154' \(Ztime of .*expected 0 .. 0.001"
    Damaged Qnode_flow1.txt '30s/[0-9.]+/0.50000/7' "30: '0.50000' \(queue_share of link 0->1 at 28 "
    Damaged x_node_flow2.txt '30s/0.00000$/0.00100/' "30: '0.00100' \(send_share of link 9->8 "
    # Counts, and what follows from them.
    Damaged collision.txt '25s/ 0/ -1/' "25: '-1' \(send of link 9->8 at 0 Mbit/s, trial 1\), exp"
    Damaged collision.txt '16s/\t +0 /\t 1 /3' "16: '0' \(col of .*, expected 1: con and hid of this row"
    Damaged node_stat.txt '620s/[0-9]+/99/3' "620: '99' \(tx of station 4 .*expected 65: tx1 and tx2 "
    Damaged node_stat.txt '620s/[0-9]+/99/4' "620: '65' \(tx of station 4 .*expected 99: tx1 and tx2 "
    Damaged node_stat.txt '/^ 5 /s/[0-9]+/4/2' ".*: '4' \(gene of station 5 .*stations that send no"
    Damaged trans_con.txt '40s/[0-9.]+/5/4' "40: '0' \(starts_while_idle of pair 4\+6 at 0 Mbit/s"
    Damaged trans_con.txt '40s/[0-9.]+/0.20000/3' "40: '0.20000' \(active_together_share of pair 4"
    Damaged col_node_con.txt '30s/[0-9.]+/0.50000/7' "30: .*: the counts in collision.txt tell so;"
    # Delays.
    Damaged delay.txt '30s/[0-9.]+/12.00000/2' "30: '12.00000' \(delay of flow 0 at 14 .*expected 286 "
    Damaged delay.txt '31s/[0-9.]+/12.00000/2' "31: '12.00000' \(delay_sum_forward_links of network"
    Damaged dmac_node_node.txt '31s/[0-9.]+/1.00000/9' "31: '1.00000' \(unused of station 2 at 29"

    # Nothing else is read for it, and no other tool takes it.
    sed -i '31s/0.00000$/1.00000/' tree/dmac_node_node.txt
    for tool in dcfsim-export dcfsim-figures; do
        Refused 1 "^$tool: tree/dmac_node_node.txt:31: '1.00000' .*; restore the results" $tool tree
    done
    cp tree/dmac_node_node.txt made/seed-7/result/10node_design/1500
    Refused 1 'seed-7/.*/dmac_node_node.txt:31: ' dcfsim-replicate --summarise made
    for file in fifo device; do
        rm -rf tree/drop.txt
        if [[ $file == device ]]; then ln -s /dev/zero tree/drop.txt; else mkfifo tree/drop.txt; fi
        for tool in dcfsim-check dcfsim-export dcfsim-figures; do
            Refused 1 "^$tool: tree/drop.txt: is no plain file" $tool tree
        done
    done
}

# The hash in the manifest of a replication.
Manifest() {
    MakeTree tree
    local seed=made/seed-7 good
    good=$(cat $seed/manifest.json)
    dcfsim-check -q made/seed-7
    touch $seed/result/10node_design/1500/fig/index.html
    dcfsim-check -q $seed/result/10node_design/1500
    sed -i -E '/simulation run time/s/[0-9]+s/58s/' $seed/result/10node_design/1500/result.txt
    for tool in dcfsim-check dcfsim-export dcfsim-figures; do
        Refused 1 "^$tool: .*/made/seed-7/result: differs from its hash, tree_sha256 in /" $tool $seed
    done
    Refused 1 'made/seed-7/result: differs from its hash' dcfsim-replicate --summarise made
    cp tree/result.txt $seed/result/10node_design/1500
    dcfsim-check -q $seed
    sed -i 's/"complete": true/"complete": 0/' $seed/result/manifest.json
    Refused 1 'made/seed-7/result: differs from its hash' dcfsim-check $seed
    sed -i 's/"complete": 0/"complete": true/' $seed/result/manifest.json
    for harm in '/tree_sha256/d' 's/(tree_sha256": ")./\1/' 's/(tree_sha256": ")./\1x/'; do
        sed -E "$harm" <<<"$good" >$seed/manifest.json
        Refused 1 'made/seed-7/manifest.json: tree_sha256: .*expected a hash of 64 digits; restore' \
            dcfsim-check -q $seed
    done
    rm $seed/manifest.json
    mkfifo $seed/manifest.json
    Refused 1 'made/seed-7/manifest.json: is no plain file; restore' dcfsim-check -q $seed
}

RunCase
