#!/usr/bin/env bash
# Tests of the users' tools, on quick replications: tests/tools_test.sh BUILD_DIR CASE.
# Exit status 77 means skipped.
set -euo pipefail

BIN=$1
CASE=$2
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
    "$@" >out 2>err || status=$?
    Equal "status of $*" "$status" "$wanted"
    Equal "lines on standard error of $*" "$(wc -l <err)" 1
    grep -qE -- "$line" err || Fail "$*: '$(cat err)' does not match '$line'"
}

# A result tree in $1.
MakeTree() {
    dcfsim-replicate --quick --one 7 made >/dev/null
    cp -r made/seed-7/result/10node_design/1500 "$1"
}

# The seeds that are finished in campaign $1.
Seeds() {
    (cd "$1" && printf '%s' seed-*)
}

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

# A list of the hashes beside the files.
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

Export() {
    MakeTree tree
    dcfsim-export tree -o all.csv
    Equal 'columns' "$(awk -F, '{ print NF }' all.csv | sort -u)" 8
    Equal 'repeated rows' "$(cut -d, -f1-7 all.csv | sort | uniq -d)" ''
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

Campaign() {
    dcfsim-replicate --quick -r 3 -s 11 -j 2 one >log
    Equal 'seeds' "$(Seeds one)" seed-11seed-12seed-13
    Equal 'plain lines' "$(grep -c '^seed .* done, . of 3, about .* left$' log)" 3
    dcfsim-check -q one/seed-12
    local hash seed
    for seed in 11 12 13; do
        hash=$(cd "one/seed-$seed" && find result -type f | LC_ALL=C sort | xargs sha256sum |
            sha256sum | cut -d' ' -f1)
        grep -q "\"tree_sha256\": \"$hash\"" "one/seed-$seed/manifest.json" || Fail "hash of $seed"
        echo "$hash"
    done | sort -u >hashes
    Equal 'different trees' "$(wc -l <hashes)" 3
    grep -q '"quick": true' one/seed-11/manifest.json || Fail 'the manifest does not say quick'

    # One quantity by hand: the mean over two trials, over three replications; t = 4.302653 for two
    # degrees of freedom.
    for seed in 11 12 13; do
        dcfsim-export "one/seed-$seed" | grep '^node_stat.txt,.,20,station,2,cw,slots,'
    done | awk -F, '{ sum[int((NR - 1) / 2)] += $8 / 2 }
        END { m = (sum[0] + sum[1] + sum[2]) / 3
              for (i in sum) s += (sum[i] - m) ^ 2
              s = sqrt(s / 2); printf "3 %.6f %.6f %.6f\n", m, s, 4.302653 * s / sqrt(3) }' >wanted
    grep '^node_stat.txt,20,station,2,cw,slots,' one/summary.csv |
        awk -F, '{ printf "%d %.6f %.6f %.6f\n", $7, $8, $9, $10 }' >actual
    cmp wanted actual || Fail "summary: $(cat actual), expected $(cat wanted)"
    Equal 'delay without load' "$(grep '^delay.txt,0,flow,0,delay' one/summary.csv)" \
        'delay.txt,0,flow,0,delay,us,0,nan,nan,nan'

    # More replications are added, the first ones stay.
    cp one/seed-11/manifest.json before
    dcfsim-replicate --quick -r 4 one >/dev/null
    Equal 'seeds' "$(Seeds one)" seed-11seed-12seed-13seed-14
    cmp before one/seed-11/manifest.json
    Refused 1 'with --quick' dcfsim-replicate one
    Refused 1 'from seed 11 on' dcfsim-replicate --quick -s 12 one
}

Interrupt() {
    dcfsim-replicate --quick -r 6 -j 1 -s 21 one >/dev/null &
    local command=$! child
    until [[ -e one/seed-22 ]]; do sleep 0.02; done
    child=$(cat "/proc/$command/task/$command/children")
    kill -KILL "$command"
    wait "$command" 2>/dev/null || true
    until [[ -z $child ]] || ! kill -0 "$child" 2>/dev/null; do sleep 0.02; done
    [[ ! -e one/seed-26 ]] || Fail 'finished before it was interrupted'
    cat one/seed-2?/manifest.json >before
    local finished
    finished=$(Seeds one)
    for seed in one/seed-*; do dcfsim-check -q "$seed"; done

    dcfsim-replicate --quick -r 6 -j 1 one >log
    grep -q "^$((${#finished} / 7)) of 6 replications were finished before$" log || Fail "$(cat log)"
    Equal 'seeds' "$(Seeds one)" seed-21seed-22seed-23seed-24seed-25seed-26
    cat one/seed-2?/manifest.json | head -n "$(wc -l <before)" | cmp - before ||
        Fail 'a finished replication was run again'
    Equal 'left over' "$(find one -name '.partial*')" ''
}

Failures() {
    Refused 2 'not expected: --fast' dcfsim-replicate --fast one
    Refused 2 'DIR is required' dcfsim-replicate
    Refused 2 'not in range' dcfsim-replicate -s 2147483647 one
    Refused 2 'excludes' dcfsim-replicate --one 3 -r 2 one
    echo in the way >file
    Refused 1 '^dcfsim-replicate: file/one: Not a directory' dcfsim-replicate --one 3 file/one
    Refused 1 'holds no replications' dcfsim-replicate --summarise .

    # Children that outgrow a limit die of a signal; what is finished stays.
    dcfsim-replicate --quick -r 1 -s 31 one >/dev/null
    local status=0
    (ulimit -c 0 -f 100 && dcfsim-replicate --quick -r 3 one) >out 2>err || status=$?
    Equal 'status' "$status" 1
    grep -q '^dcfsim-replicate: seed 33: its process died of signal 25 ' err || Fail "$(cat err)"
    grep -q '^dcfsim-replicate: 2 of 2 replications failed; the same' err || Fail "$(cat err)"
    Equal 'seeds' "$(Seeds one)" seed-31
    # A disk that is full: the writes fail and nothing else does.
    (trap '' XFSZ && ulimit -f 100 &&
        Refused 1 '^dcfsim-replicate: seed 32: .*/collision.txt:[0-9]*: ' \
            dcfsim-replicate --quick -r 2 one)
    dcfsim-replicate --quick -r 2 one >/dev/null
    Equal 'seeds' "$(Seeds one)" seed-31seed-32

    Refused 1 'seed 33: is being run by another process' \
        flock one/.partial-33.lock dcfsim-replicate --quick --one 33 one
    rm one/seed-32/manifest.json
    Refused 1 'one/seed-32/manifest.json: missing' dcfsim-replicate --summarise one
}

# The same campaign by one command, under GNU parallel, and as the tasks of the array script.
Schedulers() {
    parallel --version >/dev/null 2>&1 || Skip 'GNU parallel is not installed'
    dcfsim-replicate --quick -r 3 -s 41 one >/dev/null
    parallel --will-cite -j 2 dcfsim-replicate --quick --one {} many ::: 41 42 43 >/dev/null
    for task in 0 1 2; do
        SLURM_ARRAY_TASK_ID=$task CAMPAIGN=array FIRST_SEED=41 OPTIONS=--quick \
            sh "$SOURCE/docs/slurm-array.sh" >/dev/null
    done
    for other in many array; do
        dcfsim-replicate --summarise $other >/dev/null
        cmp one/summary.csv $other/summary.csv || Fail "the summary of $other differs"
    done
}

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
    Refused 1 'result.txt: cannot be read' dcfsim-figures .
}

# A browser without a network loads every picture of the page.
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

# What `run` needs before it builds, in directory `copy`.
CopyRun() {
    mkdir -p copy/tools copy/output
    cp "$SOURCE/run" copy
    cp "$SOURCE/tools/install.sh" copy/tools
    cp "$SOURCE/output/files.h" copy/output
}

# What stands in the way of the results is told before the build, which fails in a copy like this.
Run() {
    CopyRun
    local dir=copy/result/10node_design/1500 as=() path
    for path in copy/result copy/result/10node_design $dir; do
        mkdir -p "$(dirname "$path")"
        echo in the way >"$path"
        Refused 1 "^run: .*/$path: is not a directory.* move it" copy/run
        rm "$path"
    done
    mkdir $dir $dir/drop.txt
    Refused 1 "^run: .*/$dir/drop.txt: is not a file.* move it" copy/run
    rmdir $dir/drop.txt
    ln -s nowhere $dir/x_node.txt
    Refused 1 "^run: .*/$dir/x_node.txt: is not a file.* move it" copy/run
    rm $dir/x_node.txt
    # A full disk. The message itself is short enough.
    Refused 1 "^run: .*/$dir: no file can be written.* make room" \
        bash -c 'trap "" XFSZ && ulimit -f 100 && exec copy/run'

    # Root may write everywhere, so root becomes somebody else.
    if ((EUID == 0)); then
        as=(setpriv --reuid=65534 --regid=65534 --clear-groups)
        chmod 755 .
        chown -R 65534:65534 copy
    fi
    Unwritable() { # path without rights, what is said
        chmod a-w "$1"
        Refused 1 "^run: .*/$2.*Permission denied" "${as[@]}" copy/run
        chmod a+w "$1"
    }
    Unwritable $dir "$dir: no file can be written"
    rmdir $dir
    Unwritable copy/result/10node_design "$dir: cannot be made"
    rm -r copy/result
    Unwritable copy 'copy/result: cannot be made'
    mkdir -p $dir
    chmod a+w $dir
    echo 1 | tee $dir/block.txt $dir/notes.txt >out # the second is no result, and may be read-only
    chmod a-w $dir/notes.txt
    Unwritable $dir/block.txt "$dir/block.txt: cannot be overwritten"
    # Nothing in the way: it goes on to the build, and the old results are as they were.
    "${as[@]}" copy/run >out 2>err && Fail 'built nothing, and was content'
    grep -q '^Configuring preset release failed' err || Fail "$(cat err)"
    Equal 'what lies there' "$(cd $dir && ls -A && cat ./*)" $'block.txt\nnotes.txt\n1\n1'
}

# Programs stand in for cmake, which builds nothing, and for the simulator, which finds no hashes of
# older results, copies a tree and may do harm.
RunHashes() {
    CopyRun
    MakeTree tree
    mkdir -p bin copy/build/release
    printf '#!/bin/sh\necho cmake version 9.9\n' >bin/cmake
    cat >copy/build/release/dcfsim <<END
#!/bin/sh
cd result/10node_design/1500 && ! ls SHA256SUMS 2>&- && cp "$SCRATCH"/tree/*.txt . && eval "\$HARM"
END
    chmod +x bin/cmake copy/build/release/dcfsim
    cp "$BIN/dcfsim-check" copy/build/release
    PATH=$SCRATCH/bin:$PATH
    local dir=copy/result/10node_design/1500 harm
    mkdir -p $dir/SHA256SUMS
    Refused 1 "^run: .*/$dir/SHA256SUMS: is not a file.* move it" copy/run
    rmdir $dir/SHA256SUMS
    echo '1' | tee $dir/notes.txt $dir/SHA256SUMS >out # the first is no result
    HARM=true copy/run >out
    (cd $dir && rm notes.txt && LC_ALL=C sha256sum -- *.txt | cmp - SHA256SUMS) || Fail 'the list'
    dcfsim-check -q copy
    for harm in 'exit 3' 'truncate -s -1 drop.txt'; do
        HARM=true copy/run >out
        HARM=$harm copy/run >out 2>err && Fail "$harm: passed"
        Equal "beside the results after $harm" "$(find $dir -type f ! -name '*.txt')" ''
    done
}

Install() {
    cmake --install "$BIN" --prefix "$SCRATCH/usr" >/dev/null
    local program
    for program in dcfsim dcfsim-check dcfsim-experiment dcfsim-export dcfsim-figures \
        dcfsim-replicate; do
        [[ -x usr/bin/$program ]] || Fail "$program is not installed"
        grep -q "^\.SH NAME" "usr/share/man/man1/$program.1" || Fail "$program has no man page"
        [[ $program == dcfsim ]] && continue
        # The man page and the help know the same options.
        "usr/bin/$program" --help | grep -oE -- '--[a-z-]+' | sort -u >helped
        sed 's/\\-/-/g' "usr/share/man/man1/$program.1" | grep -oE -- '--[a-z-]+' | sort -u >paged
        diff helped paged || Fail "options of $program"
        "usr/bin/$program" --version | grep -q "^$program [0-9]" || Fail "$program --version"
    done
    [[ -s usr/share/doc/dcfsim/cluster.md ]] || Fail 'the documents are not installed'
}

"$CASE"
echo "$CASE: passed"
