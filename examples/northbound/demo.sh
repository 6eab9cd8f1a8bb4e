#!/usr/bin/env bash
# Shows the northbound server and its client at work. usage: demo.sh [FOLDER]
# FOLDER is a build directory, or where the programs are installed, with bin, sbin and share in it (/usr).
# Needs no interaction, listens on a socket of its own and on the loopback interface, and leaves nothing behind. The exit code is 0 when
# everything happened as told.
set -u

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=examples/northbound/story.sh
. "$HERE/story.sh"

[ $# -le 1 ] || die "usage: demo.sh [FOLDER]"
FOLDER=$(cd "${1:-/usr}" 2>/dev/null && pwd) || die "$1 is no folder"
if [ -d "$FOLDER/examples/northbound" ]; then
    CLIENT=$FOLDER/examples/northbound/nbi-client SERVER=$FOLDER/examples/northbound/nbi-server
    CERTIFICATES=$HERE/../../scripts/certificates
else
    CLIENT=$FOLDER/bin/nbi-client SERVER=$FOLDER/sbin/nbi-server CERTIFICATES=$FOLDER/share/nbiutil/certificates
fi
command -v openssl >/dev/null || die "openssl is not installed"
for program in "$SERVER" "$CLIENT" "$CERTIFICATES"; do
    [ -x "$program" ] || die "there is no $program: $FOLDER is neither a build directory of this project nor an installation"
done
WORK=$(mktemp -d) || die "no temporary directory"
export XDG_RUNTIME_DIR=$WORK  # where the server's socket is
unset ADDRESS
CONFIG=()  # of the client, where it needs one
SERVER_PID=
CLIENT_PIDS=()

# shellcheck disable=SC2317  # called by the trap
clean_up() {
    local pid
    for pid in ${CLIENT_PIDS[@]+"${CLIENT_PIDS[@]}"} $SERVER_PID; do
        kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
    done
    rm -rf "$WORK"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# As a user would type it, and what it printed. The exit code is the client's.
client() {
    shown "nbi-client $*"
    ask "$@" 2>&1
}

ask() { "$CLIENT" ${CONFIG[@]+"${CONFIG[@]}"} ${ADDRESS+--server "$ADDRESS"} "$@"; }

stop_the_story() {
    printf '\nThe server wrote to standard error:\n' >&2
    cat "$WORK/server.err" >&2
    die "$1"
}

# start_server [LINE...]: with these lines in its configuration.
start_server() {
    rm -f "$WORK/ready"
    cat >"$WORK/nbi-server.ini" <<INI
[host]
root = $HERE/root/lib
log_file = nbi-server.log
log_stderr = no
[server]
HugeTaskLimit = 4
CollectionsPerPort = 4
DescriptionFile = descriptions/northbound.xml
INI
    printf '%s\n' "$@" >>"$WORK/nbi-server.ini"
    "$SERVER" --config "$WORK/nbi-server.ini" --ready-file "$WORK/ready" \
        >"$WORK/server.stdout" 2>"$WORK/server.err" &
    SERVER_PID=$!
    local i
    for ((i = 0; i < 300; ++i)); do
        [ -e "$WORK/ready" ] && break
        kill -0 "$SERVER_PID" 2>/dev/null || stop_the_story "the server did not start"
        sleep 0.1
    done
    [ -e "$WORK/ready" ] || stop_the_story "the server was not ready after 30 seconds"
}

# server_ended WHAT: expects that it ends by itself, and in order; else it shows what the server had to say.
server_ended() {
    local status=0
    wait "$SERVER_PID" || status=$?
    SERVER_PID=
    expect "$1" test "$status" -eq 0
    [ "$status" -eq 0 ] || { printf 'nbi-server ended with exit code %s\n' "$status"; cat "$WORK/server.err"; }
}

# The port to look at: the first one that is up and not the loopback, or else the loopback.
pick_port() {
    ask inventory |
        awk '$2 == "up" { sub(/.*port=/, "", $1); print $1 }' | sort | grep -vx lo | grep . || echo lo
}

# Log lines without date and thread, the long ones cut.
log_lines() {
    grep -E "$1" "$WORK/nbi-server.log" |
        sed -E -e 's/^[^ ]+ ([^ ]+ [a-z]+) \[[0-9]+\] /\1 /' -e 's/^(.{170}).+/\1.../'
}

chapter "What this is"
tell <<'TEXT'
A management system that supervises many network elements talks to each of them through a northbound interface. Here the network element is this very machine: its network interfaces are the managed objects, its kernel's counters the performance data. nbi-server offers them over CORBA; each request becomes a task that one of the library's worker pools runs, while the request's own thread waits for it. nbi-client is the management system's part.
TEXT

cp -r "$HERE/descriptions" "$WORK/descriptions" || die "no description files"

chapter "1. The server starts, for its own user only"
start_server
printf 'nbi-server is serving on %s (process %s).\n' "$(cat "$WORK/ready")" "$SERVER_PID"
echo "No password is needed: nobody else can enter the socket's folder, and nothing listens on the network."
expect "the folder is closed to others" test "$(stat -c %a "$WORK/nbiutil")" = 700
PORT=$(pick_port | head -n 1)

chapter "2. Inventory: which managed objects are there?"
echo "A short task for pool 0. Each object has a distinguished name: network element, then port."
client --user alice inventory
expect "the inventory came back as tables: the ports, and what their figures mean" test $? -eq 0

chapter "3. The counters of one interface"
echo "A short task for pool 1, first for people, then for programs."
client --user alice counters "$PORT"
expect "the counters came back" test $? -eq 0
client --user alice --json counters "$PORT"
expect "the same as JSON" test $? -eq 0
echo "And an interface that does not exist:"
client --user alice counters nothing9
expect "it failed with exit code 1" test $? -eq 1

chapter "4. Four performance collections side by side"
tell <<'TEXT'
A collection samples an interface's counters again and again and writes them to a CSV file: a huge task, for pool 2. So that nobody can swamp the server, that pool runs only so many of them at once (here 4). Four users start one each.
TEXT
OBJECTS=("$PORT" lo "$PORT" lo)
USERS=(anna berta carl dora)
for i in 0 1 2 3; do
    shown "nbi-client --user ${USERS[i]} collect ${OBJECTS[i]} --interval 0.5 --duration 8 &"
    ask --user "${USERS[i]}" collect "${OBJECTS[i]}" \
        --interval 0.5 --duration 8 --quiet >"$WORK/${USERS[i]}.out" 2>&1 &
    CLIENT_PIDS+=($!)
done
client tasks --at-least 4
expect "the list shows all four running" test $? -eq 0

chapter "5. One more is refused"
echo "The pool is full, so a fifth collection is refused at once instead of waiting for hours:"
REFUSAL=$(client --user emil collect lo --duration 8 --quiet)
REFUSAL_CODE=$?
printf '%s\n' "$REFUSAL"
expect "the client's exit code was 1" test "$REFUSAL_CODE" -eq 1
expect "the reason was code 0x4118000A, the limit of huge tasks" grep -q 0x4118000A <<<"$REFUSAL"

chapter "6. The four go on undisturbed"
client tasks --watch
FAILED=0
for pid in "${CLIENT_PIDS[@]}"; do wait "$pid" || FAILED=$((FAILED + 1)); done
CLIENT_PIDS=()
expect "all four were answered with success" test "$FAILED" -eq 0
for user in "${USERS[@]}"; do sed "s/^/  $user: /" "$WORK/$user.out" | head -n 2; done
FILE=$(sed -n 's/^ *file *//p' "$WORK/anna.out")
echo "The first lines of anna's file:"
head -n 4 "$FILE" | sed 's/^/  /'
expect "her file has 17 samples and a line of names" test "$(wc -l <"$FILE")" -eq 18

chapter "7. The log: every line knows its request"
tell <<'TEXT'
Each request gets an operation UUID. Whatever is logged for it carries this UUID, the operation and the user, be it on the request's own thread or on a pool's worker. This is all that anna's collection left:
TEXT
OPERATION=$(sed -n 's/^ *operation *//p' "$WORK/anna.out")
log_lines "\] <OpUUID>$OPERATION</OpUUID> "
expect "each of them names her and her operation, from the acceptance to the end" test \
    "$(log_lines "\] <OpUUID>$OPERATION</OpUUID> " | grep -c '</OpUUID> \[3 collect\] anna ')" -ge 3
echo "This is the refusal of emil's:"
log_lines '\[3 collect\] emil '
echo "And what a worker does between two requests, such as taking a task off the books, belongs to none:"
BETWEEN=$(log_lines '\] hugetask:[0-9]+ \[HugeTaskMgr::RemoveHTskInfo\]' | head -n 1)
printf '%s\n' "$BETWEEN"
expect "such lines are there, without a request" test -n "$BETWEEN"

chapter "8. The same refusal in Chinese, and a code looked up"
echo "The server sends code and detail; the reason comes from the client's own catalogue."
client --lang zh counters nothing9
expect "it failed with exit code 1" test $? -eq 1
client reason 0x4118000A
expect "the reason of emil's refusal was found without asking the server" test $? -eq 0

chapter "9. A secret for the server"
tell <<'TEXT'
The server has an RSA key pair of its own. Whatever has OpenSSL can encrypt a secret with the public key; the plain secret is on no command line, in no log and, once it was used, no longer in the server's memory.
TEXT
ask pubkey >"$WORK/key.pem"
shown "nbi-client pubkey >key.pem"
shown "openssl pkeyutl -encrypt -pubin -inkey key.pem -pkeyopt rsa_padding_mode:oaep -in secret |
      od -An -v -tx1 >secret.hex"
printf 'open sesame' |
    openssl pkeyutl -encrypt -pubin -inkey "$WORK/key.pem" -pkeyopt rsa_padding_mode:oaep |
    od -An -v -tx1 >"$WORK/secret.hex"
client send-secret <"$WORK/secret.hex"
expect "the server understood it" test $? -eq 0
expect "the log does not tell it" test -z "$(log_lines 'sesame')"
echo "A damaged one:"
tr 0-9 1-90 <"$WORK/secret.hex" | client send-secret
expect "it was refused" test $? -eq 1

chapter "10. Collection files are packed"
tell <<'TEXT'
Six files lie in the server's work directory: four from the collections before, two from these. The server packs them with tar, three in an archive; afterwards the directory holds what was not packed, and nothing was deleted that is not in a whole archive.
TEXT
client collect lo lo --interval 0.1 --duration 0.2 --quiet --pack tar --per-archive 3
expect "two archives with three files each, and none waits" test \
    "$(cat "$WORK"/collections/*.tar | wc -c)" -gt 0 -a "$(find "$WORK/collections" -name '*.csv' | wc -l)" -eq 0

chapter "11. The configuration changes while the server runs"
tell <<'TEXT'
One item of the server's own file is edited in place; the old file is kept, and comes back when the new one does not load.
TEXT
client config set HugeTaskLimit 5
expect "the file holds the new value" grep -qx 'HugeTaskLimit=5' "$WORK/nbi-server.ini"
client config set HugeTaskLimit plenty
expect "a value that makes no sense is refused" grep -qx 'HugeTaskLimit=5' "$WORK/nbi-server.ini"

chapter "12. An orderly stop"
tell <<'TEXT'
A collection of an hour is under way when the server gets the order to stop. It is cut short at its next sample; its client learns that it failed, and is not left with half a result that looks whole.
TEXT
shown "nbi-client --user fritz collect lo --duration 3600 &"
ask --user fritz collect lo --duration 3600 --quiet >"$WORK/fritz.out" 2>&1 &
CLIENT_PIDS+=($!)
client tasks --at-least 1 >/dev/null
client stop
expect "the order to stop was carried out" test $? -eq 0
server_ended "the server ended in order, with exit code 0"
wait "${CLIENT_PIDS[0]}"
expect "fritz's client ended with a failure" test $? -eq 1
CLIENT_PIDS=()
cat "$WORK/fritz.out"

chapter "13. One counter more is one line more"
tell <<'TEXT'
Which figures a port has, and from which file of the system each is read, stands in description files (XML). So a counter that nobody thought of takes one line and a restart:
TEXT
LINE='<figure name="collisions" file="/sys/class/net/{port}/statistics/collisions" title="Collisions" unit="frames" type="counter"/>'
shown "sed -i 's|<end/>|$LINE<end/>|' descriptions/link.xml"
sed -i "s|<end/>|$LINE<end/>|" "$WORK/descriptions/link.xml"
start_server
client counters "$PORT"
expect "the new counter is among them" grep -q collisions <<<"$(ask counters "$PORT")"
client stop
server_ended "the server ended in order again"

chapter "14. TCP with TLS, and a login"
tell <<'TEXT'
An address or a port in the configuration serves TCP, and with a certificate and its key by TLS alone. The client goes on only with a server whose certificate names the host that it was told, and comes from an authority that it trusts. Whoever comes that way may do nothing before a login; the configuration holds a digest of the password. The server answers with the key of a session, which the client keeps in a file that nobody else can read.
TEXT
"$CERTIFICATES" "$WORK/certificates" 127.0.0.1 >/dev/null || die "no certificates"
shown "certificates certificates 127.0.0.1"
expect "nobody else can read the server's key" test "$(stat -c %a "$WORK/certificates/server-key.pem")" = 600
printf 'open sesame\n' >"$WORK/password"
ITEM=$("$CLIENT" --user anna password-item "$WORK/password")
shown "nbi-client --user anna password-item"
printf '%s\n' "$ITEM"
start_server "ListenPort = 0" "TlsCertificate = certificates/server.pem" "TlsKey = certificates/server-key.pem" \
    "$ITEM" "Role_anna = admin"
ADDRESS=$(cat "$WORK/ready")
printf 'nbi-server is serving on %s.\n' "$ADDRESS"
client --user anna counters "$PORT"
expect "an authority that the client does not know vouches for nothing" test $? -eq 3
printf '[host]\nroot = %s\nlog_stderr = no\n[client]\nTlsAuthorities = certificates/authority.pem\n' "$HERE/root/lib" \
    >"$WORK/nbi-client.ini"
CONFIG=(--config "$WORK/nbi-client.ini")
client --user anna counters "$PORT"
expect "without a login it was refused" test $? -eq 1
client --user anna login "$WORK/password"
expect "the password was right" test $? -eq 0
client --user anna counters "$PORT"
expect "now she is served" test $? -eq 0
client --user anna sessions
client --user anna logout
client --user anna stop
expect "after the logout she may not stop the server" test $? -eq 1
client --user anna login "$WORK/password" >/dev/null
client --user anna stop
server_ended "the server ended in order once more"

the_end "To go on by yourself: $SERVER serves until you stop it; $CLIENT --help says what to ask. docs/northbound.md leads through the source."
