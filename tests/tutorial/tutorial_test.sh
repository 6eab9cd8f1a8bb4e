#!/usr/bin/env bash
# What docs/tutorial.md promises of each program. usage: tutorial_test.sh STEP PROJECT_DIR BUILD_DIR
set -eu -o pipefail
# shellcheck source=tests/support/reader.sh
. "$(dirname "${BASH_SOURCE[0]}")/../support/reader.sh"
reader tutorial server.ini etc ports.xml

# says WANTED [ARGUMENT...]: what the program prints for the lines that it is given.
says() {
    local wanted=$1 said
    shift
    said=$("../build/$step" "$@")
    [ "$said" = "$wanted" ] || { printf 'said:\n%s\nwanted:\n%s\n' "$said" "$wanted"; exit 1; }
}

case $step in
1_hello) says 'hello from a worker' ;;
2_answer) says $'eth0: 1000 Mbit/s\neth9: 0 Mbit/s' <<<$'eth0\neth9' ;;
3_failure)
    says $'1000 Mbit/s\nThere is no port of that name. (eth9)' <<<$'eth0\neth9'
    says $'1000 Mbit/s\n没有该名称的端口。 (eth9)' zh <<<$'eth0\neth9'
    ;;
4_huge)
    says 'collecting eth0
collecting eth1
The port is being collected already.
The limit of long-running tasks is reached. Try again when one of them has ended.
eth0: collected
eth1: collected' <<<$'eth0\neth1\neth1\neth2'
    ;;
5_context)
    says 'looked for eth0' <<<eth0
    # The same request on two threads.
    requests=$(grep -E ' server (asked|looking) for eth0$' server.log | grep -oE '[0-9a-f-]{36} \[getSpeed\] operator')
    [ "$(wc -l <<<"$requests")" -eq 2 ] && [ "$(sort -u <<<"$requests" | wc -l)" -eq 1 ]
    ;;
6_description)
    said=$("../build/$step" <<<$'eth0\neth2\neth9' | grep -v CharacterData)
    [ "$said" = $'1000 Mbit/s\n2500 Mbit/s\n0 Mbit/s' ] || { echo "$said"; exit 1; }
    # A file that is wrong is told, with the line.
    sed -i 's|</root>|</rot>|' ports.xml
    ! "../build/$step" </dev/null 2>failures >/dev/null
    grep -qx 'ports.xml:6: mismatched tag' failures || { cat failures; exit 1; }
    ;;
7_stop)
    # At the end of the input, and at a signal while the input goes on.
    says $'measuring eth0\nmeasuring eth1\nstopped' <<<$'eth0\neth1'
    mkfifo input
    "../build/$step" <input >output &
    server=$!
    trap 'kill -KILL $server 2>/dev/null || true' EXIT
    exec 3>input
    echo eth0 >&3
    for _ in $(seq 600); do
        ! grep -q 'measuring eth0' output || break
        sleep 0.1
    done
    kill -TERM $server
    wait $server
    [ "$(cat output)" = $'measuring eth0\nstopped' ]
    ;;
*) echo "unknown step $step"; exit 1 ;;
esac
