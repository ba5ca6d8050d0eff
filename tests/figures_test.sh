#!/usr/bin/env bash
# Tests of dcfsim-figures. What a figure draws is held against awk, which reads the result files by
# their columns and knows nothing of the tools.
# Cases: Figures Numbers Intervals Outdated Browser
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

gnuplot --version >/dev/null 2>&1 || Skip 'gnuplot is not installed'

FIGURES='throughput fairness delay queue time collisions losses'

# Load, flow, and 1 if the flow has a steady state there: its packets that arrived and neither were
# dropped nor came through are no more than chance explains.
Verdicts() {
    awk '/^num_off/ { load = int($3) }
        /^ *[02468][ \t]/ { gene[load, $1 / 2] += $2; gone[load, $1 / 2] += $9 }
        /^ *[13579][ \t]/ { gone[load, ($1 - 1) / 2] += $14 }
        END { for (load = 0; load < 36; ++load) for (f = 0; f < 5; ++f)
                  print load, f, gene[load, f] - gone[load, f] <= 3.5 * sqrt(gene[load, f]) }' \
        "$1/node_stat.txt"
}

# Everything that the figures of a tree are to show: block, load, value, and 0 where not steady.
Reckon() {
    awk '
        function Show(block, load, value, flow) {
            if (value !~ /nan/ && (block !~ /^(delay|queue)/ || value > 0))
                printf "%s %d %.9g %d\n", block, load, value,
                    flow == "" ? !unsteady[load] : steady[load, flow]
        }
        FNR == 1 { ++file }
        file == 0 { steady[$1, $2] = $3; unsteady[$1] += !$3; next }
        file == 1 && FNR >= 25 && FNR <= 60 { offered += $1 }
        file == 2 && FNR >= 2 && FNR <= 37 {
            load = FNR - 2; sum = squares = 0
            for (f = 0; f < 5; ++f) {
                Show("throughput0_" f, load, $(f + 2), f)
                sum += $(f + 2); squares += $(f + 2) ^ 2
            }
            alone = 12000 / (34 + 7.5 * 9 + 252 + 16 + 28)
            if (offered > 300) # the rates of quick runs are not to be compared with it
                printf "throughput0_5 %d %.9g 1\n", load, load < alone ? load : alone
            Show("throughput1_0", load, sum)
            if (squares > 0) Show("fairness0_0", load, sum ^ 2 / (5 * squares))
        }
        file == 3 && FNR > 1 && FNR % 2 == 0 {
            for (f = 0; f < 4; ++f)
                if ($(f + 2) !~ /nan/) Show("delay0_" f, FNR / 2 - 1, $(f + 2) / 1000, f)
        }
        (file == 4 || file == 5) && FNR > 1 {
            for (f = 0; f < 5; ++f)
                Show("time" f "_" file - 4, FNR - 2, 100 * $(7 + 2 * f), f)
        }
        file == 6 && /^num_off/ { load = int($3) }
        file == 6 && /^ *[02468][ \t]/ {
            f = $1 / 2; gene[load, f] += $2; tx[load, f] += $3; retx[load, f] += $6
            dropped += $9; refused += $11; over[load, f] += $11 / 2; buf[load, f] += $17 / 2
            z[load, f] += $25 / 2; q[load, f] += $26 / 2
        }
        file == 7 && /^num_off/ { load = int($3) }
        file == 7 && $2 == "->" && NF > 10 && $1 % 2 == 0 && $3 == $1 + 1 {
            send[load, $1 / 2] += $4
        }
        file == 7 && $1 == "●" { f = $2 % 2 == 0 ? $2 / 2 : -1; first = 1 }
        file == 7 && $1 ~ /->/ || $2 == "->" && NF == 3 { f = -1 }
        file == 7 && $1 ~ /^col/ && first {
            first = 0; gsub(/[()]/, " ")
            if (f >= 0) hits[load, f] += $4 + $6 + $8 + $10
        }
        END {
            if (dropped > 0) print "drops have a panel of their own"
            for (load = 0; load < 36; ++load) for (f = 0; f < 5; ++f) {
                Show("queue0_" f, load, buf[load, f], f)
                Show("time" f "_2", load, 100 * q[load, f], f)
                Show("time" f "_3", load, 100 * (z[load, f] - q[load, f]), f)
                if (refused > 0) Show("losses1_" f, load, over[load, f], f)
                if (gene[load, f] > 0 && f == 4)
                    Show("delay0_4", load,
                        (buf[load, f] * 3e7 / (gene[load, f] / 2 - over[load, f]) - 44) / 1000, f)
                if (tx[load, f] > 0) Show("losses0_" f, load, 100 * retx[load, f] / tx[load, f], f)
                if (send[load, f] > 0)
                    Show("collisions0_" f, load, 100 * hits[load, f] / send[load, f], f)
            }
        }' file=-1 <(Verdicts "$1") \
        file=0 "$1"/{result,throughput,delay,x_node,y_node,node_stat,collision}.txt
}

# The same, from the script that has drawn.
Drawn() {
    awk '/^\$.* << END$/ { block = substr($1, 2); next } /^END$/ { block = "" }
        block != "" && $2 != "nan" { print block, $1, $2, $5 }' "$1/fig/figures.gp"
}

Numbers() {
    # A whole run: no other has refused packets, or rates that theory speaks of.
    dcfsim-replicate --one 7 made >/dev/null
    mv made/seed-7/result/10node_design/1500 tree
    dcfsim-figures tree >/dev/null
    Reckon tree | sort >wanted
    Drawn tree | sort >drawn
    Equal 'curves' "$(cut -d' ' -f1 drawn | sort -u | wc -l)" 53
    cmp <(cut -d' ' -f1,2,4 wanted) <(cut -d' ' -f1,2,4 drawn) || Fail 'points or verdicts differ'
    paste -d' ' wanted drawn | awk '{ d = $7 - $3; if (d < 0) d = -d; size = $3 < 0 ? -$3 : $3 }
        d > 1e-5 * size + 1e-9 { print; ++bad } END { exit bad > 0 }' || Fail 'values differ'
    grep -q ' 0$' drawn || Fail 'nothing is unsteady'
    ! grep -rq QUICK tree/fig || Fail 'QUICK for a whole run'
}

Figures() {
    local seeds
    mapfile -t seeds < <(SeedsFrom 51 3 | sort -n)
    dcfsim-replicate --quick -r 3 -s 51 "a <b>'s campaign" >/dev/null
    MakeTree tree
    local dir name
    for dir in tree "a <b>'s campaign"; do
        dcfsim-figures "$dir" >/dev/null 2>err
        Equal 'complaints' "$(cat err)" ''
        for name in $FIGURES; do
            [[ $(head -c 4 "$dir/fig/$name.png") == $'\x89PNG' ]] || Fail "$name.png"
            [[ $(head -c 5 "$dir/fig/$name.pdf") == %PDF- ]] || Fail "$name.pdf"
            grep -q '</svg>' "$dir/fig/$name.svg" || Fail "$name.svg"
            [[ $(grep -c QUICK "$dir/fig/$name.svg") -gt 1 ]] || Fail "$name does not say QUICK"
            grep -q "<figure id=\"$name\">" "$dir/fig/index.html" || Fail "$name is not on the page"
        done
        grep -q 'class="quick">QUICK' "$dir/fig/index.html" || Fail 'the page does not say QUICK'
        grep -q 'all values are 0: drops; refused packets\.' "$dir/fig/index.html" ||
            Fail 'panels left out'
    done
    Equal 'files' "$(find "a <b>'s campaign/fig" -type f | wc -l)" 23
    local line
    for line in "<td>51, ${seeds[1]}, ${seeds[2]}</td>" '<td>lcg-16807</td>' \
        "dcfsim-figures 'a &lt;b&gt;'\\\\''s campaign'" \
        "<td>$(sed -n 's/.*"version": "\(.*\)".*/\1/p' "$dir/seed-51/manifest.json"), commit "; do
        grep -q "$line" "$dir/fig/index.html" || Fail "not on the page: $line"
    done

    # A run in the place where the simulator leaves it has its seed in a manifest.
    dcfsim-figures "$dir/seed-${seeds[1]}" >/dev/null
    grep -q "<td>${seeds[1]}</td>" "$dir/seed-${seeds[1]}/result/10node_design/1500/fig/index.html" || Fail 'seed'

    dcfsim-figures --throughput-script tree >/dev/null
    grep -q '^%%BoundingBox' tree/fig/throughput.eps || Fail 'throughput.eps'
    cp -r 'a <b>'"'"'s campaign' piped
    rm piped/summary.csv && mkfifo piped/summary.csv
    Refused 1 'summary.csv: is no plain file' dcfsim-figures piped
    Refused 1 'result.txt: cannot be read' dcfsim-figures .

    # Nobody loses older figures to a failure.
    mkdir stub && printf '#!/bin/sh\nexit 1\n' >stub/gnuplot && chmod +x stub/gnuplot
    rm tree/fig/index.html
    (PATH=$PWD/stub:$PATH && Refused 1 'could not draw the figures of tree$' dcfsim-figures tree)
    Equal 'left over' "$(find tree/fig -name '.partial*' -o -name index.html)" ''
    [[ -s tree/fig/delay.png ]] || Fail 'older figures are gone'
}

# Means and bars of a campaign, by hand: t = 4.302653 for two degrees of freedom.
Intervals() {
    dcfsim-replicate --quick -r 3 -s 61 one >/dev/null
    # Verdicts of the summary come first: load 20 of everything but flow 2.
    cut -d, -f1-10 one/summary.csv | awk -F, 'NR == 1 { print $0 ",steady"; next }
        { print $0 "," ($2 == 20 && !($3 == "flow" && $4 == 2) ? "no" : "yes") }' >summary
    mv summary one/summary.csv
    dcfsim-figures one >/dev/null
    for seed in $(SeedsFrom 61 3); do
        awk 'NR > 2 && NR <= 37 { s = q = 0; for (f = 2; f <= 6; ++f) { s += $f; q += $f ^ 2 }
            print NR - 2, s ^ 2 / 5 / q }' one/seed-"$seed"/result/10node_design/1500/throughput.txt
    done | awk '{ n[$1]++; s[$1] += $2; q[$1, n[$1]] = $2 }
        END { for (load = 1; load < 36; ++load) { m = s[load] / 3; v = 0
              for (i = 1; i <= 3; ++i) v += (q[load, i] - m) ^ 2
              h = 4.302653 * sqrt(v / 2 / 3)
              print load, m, m - h, m + h, load != 20 } }' >wanted
    # shellcheck disable=SC2016
    sed -n '/^\$fairness0_0/,/^END/p' one/fig/figures.gp |
        awk '$1 >= 1 && NF == 6' | paste -d' ' wanted - | awk '
            NF != 11 || $1 != $6 || $5 != $10 { exit 1 }
            { for (i = 2; i <= 4; ++i) if (($i - $(i + 5)) ^ 2 > 1e-9) exit 1; ++n }
            END { exit n != 35 }' || Fail 'the bars of the fairness index'
    Drawn one | awk '$1 ~ /^throughput0_[0-4]$/ && $2 == 20 { print $1, $4 }' | xargs >verdicts
    Equal 'verdicts at 20' "$(cat verdicts)" \
        'throughput0_0 0 throughput0_1 0 throughput0_2 1 throughput0_3 0 throughput0_4 0'
    grep -q 'with vectors' one/fig/figures.gp || Fail 'no bars'
}

Outdated() {
    local remedy='; first run: dcfsim-replicate --summarise one$'
    local seeds
    mapfile -t seeds < <(SeedsFrom 71 3)
    dcfsim-replicate --quick -r 2 -s 71 one >/dev/null
    dcfsim-replicate --quick --one "${seeds[2]}" one >/dev/null
    Refused 1 "one/summary.csv: is of 2 replications, one holds 3$remedy" dcfsim-figures one
    rm -r "one/seed-${seeds[1]}"
    touch -d '1 hour ago' one/summary.csv
    Refused 1 "one/summary.csv: is older than one/seed-(71|${seeds[2]})$remedy" dcfsim-figures one
    touch -d '1 hour' one/summary.csv
    Refused 1 "one/summary.csv: is of other replications than those in one$remedy" \
        dcfsim-figures one
    rm one/summary.csv
    Refused 1 "one/summary.csv: missing$remedy" dcfsim-figures one
    [[ ! -e one/fig ]] || Fail 'drawn all the same'
    dcfsim-replicate --summarise one >/dev/null
    dcfsim-figures one >/dev/null
    grep -q "<td>71, ${seeds[2]}</td>" one/fig/index.html || Fail 'seeds'
    sed -i '3s/,[^,]*,[^,]*$/,x,y/' one/summary.csv
    Refused 1 "summary.csv:3: not what this version writes$remedy" dcfsim-figures one
    rm one/seed-71/manifest.json
    Refused 1 'one/seed-71/manifest.json: .*; remove one/seed-71' \
        dcfsim-figures one
}

# The page alone, in a browser without a network: all pictures are there, and at the place of a load
# on the axis that gnuplot has drawn the values of that load are under the pointer.
Browser() {
    local browser
    browser=$(command -v chromium || command -v chromium-browser) || Skip 'no chromium'
    MakeTree tree
    dcfsim-figures tree >/dev/null
    mkdir alone
    local figure panel load row margins probes=''
    while read -r figure panel load row; do
        margins=$(awk -v figure="$figure.svg" -v panel="$panel" '
            $2 == "output" { on = index($3, figure) }
            on && $2 == "lmargin" { l = $5 } on && $2 == "rmargin" { r = $5 }
            on && $2 == "tmargin" { t = $5 }
            on && $2 == "bmargin" && panel-- == 0 { print l "," r "," 1 - t "," 1 - $5 }' \
            tree/fig/figures.gp)
        probes+="['$figure',[$margins],$load,$row],"
        awk -v block="$figure${panel}_$row" -v load="$load" '$1 == block && $2 == load {
            printf "%.5g%s\n", $3, $4 ? "" : ", not steady" }' <(Reckon tree) >>wanted
    done <<<'throughput 0 20 2
throughput 1 35 0
fairness 0 7 0
delay 0 12 4
time 4 17 2
collisions 0 30 1
losses 0 29 3'
    cat tree/fig/index.html - >alone/probe.html <<PROBE
<script>
onload = () => {
  const shown = [$probes].map(([name, [left, right, top, bottom], load, row]) => {
    const picture = document.querySelector('#' + name + ' img');
    picture.scrollIntoView({ block: 'center', inline: 'center' });
    const box = picture.getBoundingClientRect();
    const clientX = box.left + box.width * (left + load / 35 * (right - left)) + 1;
    const clientY = box.top + box.height * (top + bottom) / 2;
    const event = new PointerEvent('pointermove', { clientX, clientY, bubbles: true });
    document.elementFromPoint(clientX, clientY).dispatchEvent(event);
    const tip = document.querySelector('#' + name + ' .tip');
    const frame = tip.getBoundingClientRect();
    const room = document.documentElement.clientWidth;
    return tip.hidden || frame.right > room || frame.left < 0 ? 'hidden' : tip.querySelector('table').rows[row].cells[1].textContent;
  });
  const loaded = [...document.images].filter(i => i.complete && i.naturalWidth > 0).length;
  document.querySelector('#delay .chart').dispatchEvent(new PointerEvent('pointerleave'));
  const hidden = document.querySelector('#delay .tip').hidden;
  document.title = loaded + ' pictures, ' + hidden + '; ' + shown.join('; ');
};
</script>
PROBE
    HOME=$SCRATCH timeout 100 "$browser" --headless --no-sandbox --disable-gpu \
        --window-size=1500,900 --user-data-dir="$SCRATCH/profile" \
        --host-resolver-rules='MAP * ~NOTFOUND' --dump-dom \
        "file://$SCRATCH/alone/probe.html" >dom 2>log || Fail "$(cat log)"
    sed -n 's/.*<title>\(.*\)<\/title>.*/\1/p' dom | sed 's/; /\n/g' | awk 'NR == 1 { print; next }
        { unsteady = /, not steady/; printf "%.5g%s\n", $1, unsteady ? ", not steady" : "" }' >shown
    sed -i '1i 7 pictures, true' wanted
    cmp shown wanted || Fail "under the pointer: $(cat shown); expected: $(cat wanted)"
}

RunCase
