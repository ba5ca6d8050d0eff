#!/usr/bin/env bash
# Tests of the script run.
# Cases: Run RunHashes
# shellcheck source=tests/shell_tests.sh
source "$(dirname "$(readlink -f "$0")")/shell_tests.sh"

CopyRun() {
    mkdir -p copy/scripts copy/output
    cp "$SOURCE/run" copy
    cp "$SOURCE/scripts/install.sh" copy/scripts
    cp "$SOURCE/output/files.h" copy/output
}

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

RunCase
