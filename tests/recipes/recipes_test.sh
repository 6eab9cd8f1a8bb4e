#!/usr/bin/env bash
# What docs/recipes/ promises of each program. usage: recipes_test.sh STEP PROJECT_DIR BUILD_DIR
set -eu -o pipefail
# shellcheck source=tests/support/reader.sh
. "$(dirname "${BASH_SOURCE[0]}")/../support/reader.sh"
reader recipes host.ini etc

# is WANTED SAID: what a program said.
is() { [ "$2" = "$1" ] || { printf 'said:\n%s\nwanted:\n%s\n' "$2" "$1"; exit 1; }; }
run() { "../build/$1" "${@:2}"; }
members() { tar -tf "$1" | LC_ALL=C sort | tr '\n' ' '; }

case $step in
reasons)
    # Hexadecimal and decimal, the library's own without a file of the root's, and a code that nobody knows.
    is 'There is no port of that name.
The port is being collected already.
The limit of long-running tasks is reached. Try again when one of them has ended.
failure 7' "$(run reasons en 0x50000001 0x50000002 0x4118000A 7)"
    # The other language, and nothing of the first.
    is $'没有该名称的端口。\nfailure 1342177282' "$(run reasons zh 0x50000001 0x50000002)"
    ;;
packing)
    mkdir data
    for name in a b 'c c' 'd%'; do echo "$name" >"data/$name.csv"; done
    is a.tar "$(run packing data)"
    is 'a.csv b.csv ' "$(members data/a.tar)"
    is $'a.tar\nc c.csv\nd%.csv' "$(ls -A data)"

    # Nothing is lost.
    echo a >data/a.csv
    echo b >data/b.csv
    # Neither without tar, which the library tells on standard output as well, ...
    [[ $(PATH=/nowhere run packing data || true) == *'nothing packed' ]]
    is $'a.csv\na.tar\nb.csv\nc c.csv\nd%.csv' "$(ls -A data)"
    # ... nor with one that dies half way.
    mkdir bin
    printf '#!/bin/sh\n[ "$1" = --version ] || echo cut >a.tar\n' >bin/tar
    chmod +x bin/tar
    is 'nothing packed' "$(PATH=$PWD/bin run packing data || true)"
    is $'a.csv\nb.csv\nc c.csv\nd%.csv' "$(ls -A data)"
    # What a killed process has left comes back.
    mkdir data/.packing
    ln data/a.csv data/.packing/a.csv
    rm data/a.csv
    is a.tar "$(run packing data)"
    is 'a.csv b.csv ' "$(members data/a.tar)"
    ;;
passwords)
    is welcome "$(run passwords <<<'open sesame')"
    is refused "$(run passwords <<<'open barley')"
    ! run passwords </dev/null || { echo "no password, and no failure"; exit 1; }
    if grep -q 'sesame' server.log; then
        echo "the log has the password"
        exit 1
    fi
    ;;
mistakes)
    is $'42\n20 workers' "$(run mistakes nohost)"
    is 'the pool has gone' "$(run mistakes late)"
    is $'it is queued already\ndone' "$(run mistakes twice)"
    is 'nobody was free' "$(run mistakes own)"
    # A task on the stack is refused by the compiler.
    on_stack=$(sed 's/new Work(g_Agent, false, done)/\&stacked/; s/^\( *\)AD done;$/&\n\1Work stacked(g_Agent, false, done);/' \
        "$source/examples/recipes/mistakes.cpp")
    grep -q 'Work stacked' <<<"$on_stack"
    compile() { "$CXX" -std=c++17 -fsyntax-only -I"$build/consumer/prefix/include" -x c++ - 2>&1; }
    compile <"$source/examples/recipes/mistakes.cpp"
    said=$(compile <<<"$on_stack" || true)
    grep -q 'protected' <<<"$said" || { echo "$said"; exit 1; }
    ;;
testing)
    ../build/handlers_test
    # The tests do find faults: a handler that says nothing of the file is noticed.
    mkdir silent
    cp -a "$source/examples/recipes/." silent
    sed -i '/cannot be read/d' silent/handlers/handlers.cpp
    "$CMAKE" -S silent -B silent/build -DCMAKE_PREFIX_PATH="$build/consumer/prefix"
    "$CMAKE" --build silent/build --target handlers_test
    ! silent/build/handlers_test || { echo "a fault is not noticed"; exit 1; }
    ;;
*) echo "unknown step $step"; exit 1 ;;
esac
