#!/usr/bin/env bash
# Tests of dcfsim-export.
# Cases: Export
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

Export() {
    MakeTree tree
    dcfsim-export tree -o all.csv
    Equal 'columns' "$(awk -F, '{ print NF }' all.csv | sort -u)" 8
    Equal 'repeated rows' "$(cut -d, -f1-7 all.csv | sort | uniq -d)" ''
    # Files, kinds, quantities and units, and how many values of each there are.
    tail -n +2 all.csv | awk -F, '{ n[$1 " " $4 " " $6 " " $7]++ }
        END { for (what in n) print what, n[what] }' | LC_ALL=C sort |
        diff - "$SOURCE/tests/exported-quantities.txt" || Fail 'other quantities'
    # Every value of a file with rows by load, as printed and in its place; station 0 has no
    # backward link.
    local file
    for file in x_node q_y_node col_node_con q_y_flow1 delay_node_flow2 q_y_flow2 delay \
        throughput; do
        tail -n +2 "tree/$file.txt" | tr -s ' ()\t' '\n' | grep . | grep -vx 0 >printed
        [[ $file == throughput ]] && sed -i '361,$d' printed # the row of zeros
        awk -F, -v file="$file.txt" '$1 == file { print $8 }' all.csv >exported
        cmp printed exported || Fail "$file.txt and its export differ"
    done
    Equal 'y_detail.txt' "$(grep -c '^y_detail.txt,mean,' all.csv)" 216
    Equal 'not a number' "$(grep -c -- ',-nan$' all.csv)" \
        "$(cat tree/*.txt | grep -o -- -nan | wc -l)"
    Equal 'infinite' "$(grep -c ',inf$' all.csv)" "$(cat tree/*.txt | grep -ow inf | wc -l)"
    # Columns of the block of trial 2 and 30 Mbit/s, counted by hand.
    Block() { # file, word that opens the row, column
        tr '()' '  ' <"tree/$1" | awk -v row="$2" -v column="$3" '
            /^trial =/ { trial = $3 } /^num_off =/ { load = $3 + 0 } /^●/ { detail = 1 }
            /send/ { detail = 0 }
            trial == 2 && load == 30 && !detail && index($0, row) == 1 { print $column }'
    }
    Value() { grep "^$1," all.csv | cut -d, -f8; }
    Equal 'cw of sender 4' "$(Value node_stat.txt,2,30,station,4,cw,slots)" \
        "$(Block node_stat.txt '  4 ' 18)"
    Equal 'qZtime of receiver 3' "$(Value node_stat.txt,2,30,station,3,qZtime,1)" \
        "$(Block node_stat.txt ' 3 ' 26)"
    Equal 'pair 2, 5' "$(Value trans_con.txt,2,30,pair,2+5,starts_while_busy,frames)" \
        "$(Block trans_con.txt 'node[2][5]' 4)"
    Equal 'con of 2 -> 3' "$(Value 'collision.txt,2,30,link,2->3,con,frames')" \
        "$(Block collision.txt '  2 ->  3 ' 6)"
    Equal 'p4 of 2 -> 3' "$(Value 'collision.txt,2,30,link,2->3,p4_kept,1')" \
        "$(Block collision.txt '  2 ->  3 ' 22)"

    sed -i '20s/0/x/' tree/drop.txt
    Refused 1 '^dcfsim-export: tree/drop.txt:20: .* expected a real number$' dcfsim-export tree
    Equal 'printed of a bad tree' "$(cat out)" ''
    Refused 1 'cannot be written: No space' dcfsim-export made/seed-7 -o /dev/full
    mkdir empty
    Refused 1 '^dcfsim-export: empty/result.txt: cannot be read' dcfsim-export empty
}

RunCase
