#!/usr/bin/env bash
# Tests of dcfsim-figures. What a figure draws is held against awk, which reads the result files by
# their columns and knows nothing of the tools.
# Cases: Numbers
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'

# A tree like that of a whole run: the rates of a quick one are too low by a factor of 1000. Its
# queues have refused packets and its senders dropped some.
MakeWholeTree() {
    MakeTree "$1"
    awk -v OFS='\t' 'NR >= 25 && NR <= 61 { for (i = 1; i <= 10; ++i) $i = sprintf("%.5f", $i * 1000) }
        { print }' "$1/result.txt" >result.new
    awk -v OFS='\t' 'NR > 1 { for (i = 1; i <= 6; ++i) $i = sprintf("%.5f", $i * 1000) }
        { print }' "$1/throughput.txt" >throughput.new
    awk -v OFS='\t' '/^ *[0-9]+ / && $2 > 20 { $9 = $1 + 1; $10 = sprintf("%f", $9 / $2); $11 = 3 }
        { print }' "$1/node_stat.txt" >node_stat.new
    for file in result throughput node_stat; do mv $file.new "$1/$file.txt"; done
}

# Everything that the figures of a tree are to show: block, load, value, and 0 where not steady.
Reckon() {
    awk '
        function Show(block, load, value, flow) {
            if (value !~ /nan/ && (block !~ /^(delay|queue)/ || value > 0))
                printf "%s %d %.9g %d\n", block, load, value, flow == "" ? all[load] : steady[load, flow]
        }
        function Flow(row) { return row / 2 }
        FNR == 1 { ++file }
        file == 1 && FNR >= 25 && FNR <= 60 {
            load = FNR - 25; all[load] = 1
            for (f = 0; f < 5; ++f) {
                steady[load, f] = $(2 * f + 2) >= 0.98 * $(2 * f + 1)
                if (!steady[load, f]) all[load] = 0
            }
        }
        file == 2 && FNR >= 2 && FNR <= 37 {
            load = FNR - 2; sum = squares = 0
            for (f = 0; f < 5; ++f) {
                Show("throughput0_" f, load, $(f + 2), f)
                sum += $(f + 2); squares += $(f + 2) ^ 2
            }
            alone = 12000 / (34 + 7.5 * 9 + 252 + 16 + 28)
            printf "throughput0_5 %d %.9g 1\n", load, load < alone ? load : alone
            Show("throughput1_0", load, sum)
            if (squares > 0) Show("fairness0_0", load, sum ^ 2 / (5 * squares))
        }
        file == 3 && FNR > 1 && FNR % 2 == 0 {
            for (f = 0; f < 4; ++f)
                if ($(f + 2) !~ /nan/) Show("delay0_" f, FNR / 2 - 1, $(f + 2) / 1000, f)
        }
        file == 4 && FNR > 1 { for (f = 0; f < 5; ++f) Show("time" f "_0", FNR - 2, 100 * $(7 + 2 * f), f) }
        file == 5 && FNR > 1 { for (f = 0; f < 5; ++f) Show("time" f "_1", FNR - 2, 100 * $(7 + 2 * f), f) }
        file == 6 && /^num_off/ { load = int($3) }
        file == 6 && /^ *[02468][ \t]/ {
            f = $1 / 2; gene[load, f] += $2; tx[load, f] += $3; retx[load, f] += $6
            rate[load, f] = ($10 ~ /nan/ ? "nan" : rate[load, f] + $10 / 2)
            over[load, f] += $11 / 2; buf[load, f] += $17 / 2; z[load, f] += $25 / 2; q[load, f] += $26 / 2
        }
        file == 7 && /^num_off/ { load = int($3) }
        file == 7 && $2 == "->" && NF > 10 && $1 % 2 == 0 && $3 == $1 + 1 { send[load, $1 / 2] += $4 }
        file == 7 && $1 == "●" { f = $2 % 2 == 0 ? $2 / 2 : -1; first = 1 }
        file == 7 && $1 ~ /->/ || $2 == "->" && NF == 3 { f = -1 }
        file == 7 && $1 ~ /^col/ && first { 
            first = 0; gsub(/[()]/, " ")
            if (f >= 0) hits[load, f] += $4 + $6 + $8 + $10
        }
        END {
            for (load = 0; load < 36; ++load) for (f = 0; f < 5; ++f) {
                Show("queue0_" f, load, buf[load, f], f)
                Show("time" f "_2", load, 100 * q[load, f], f)
                Show("time" f "_3", load, 100 * (z[load, f] - q[load, f]), f)
                Show("losses1_" f, load, rate[load, f] == "nan" ? "nan" : 100 * rate[load, f], f)
                Show("losses2_" f, load, over[load, f], f)
                if (gene[load, f] > 0 && f == 4)
                    Show("delay0_4", load, (buf[load, f] * 3e7 / (gene[load, f] / 2 - over[load, f]) - 44) / 1000, f)
                if (tx[load, f] > 0) Show("losses0_" f, load, 100 * retx[load, f] / tx[load, f], f)
                if (send[load, f] > 0) Show("collisions0_" f, load, 100 * hits[load, f] / send[load, f], f)
            }
        }' "$1"/{result,throughput,delay,x_node,y_node,node_stat,collision}.txt
}

# The same, from the script that has drawn.
Drawn() {
    awk '/^\$.* << END$/ { block = substr($1, 2); next } /^END$/ { block = "" }
        block != "" && $2 != "nan" { print block, $1, $2, $5 }' "$1/fig/figures.gp"
}

Numbers() {
    MakeWholeTree tree
    dcfsim-figures tree >/dev/null
    Reckon tree | sort >wanted
    Drawn tree | sort >drawn
    Equal 'curves' "$(cut -d' ' -f1 drawn | sort -u | wc -l)" 58
    cmp <(cut -d' ' -f1,2,4 wanted) <(cut -d' ' -f1,2,4 drawn) || Fail 'points or verdicts differ'
    paste -d' ' wanted drawn | awk '{ d = $7 - $3; if (d < 0) d = -d; size = $3 < 0 ? -$3 : $3 }
        d > 1e-5 * size + 1e-9 { print; ++bad } END { exit bad > 0 }' || Fail 'values differ'
    grep -q ' 0$' drawn || Fail 'nothing is unsteady'
}

RunCase
