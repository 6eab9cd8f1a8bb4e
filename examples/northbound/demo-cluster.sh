#!/usr/bin/env bash
# Shows three northbound servers that share one book, and what becomes of accepted work when one of them is killed, and then the
# engine of the book. usage: demo-cluster.sh FOLDER
# FOLDER is a build directory. Needs PostgreSQL's server (package postgresql); starts one of its own in a scratch folder, as the
# user "postgres" where it is root. Needs no interaction, listens on nothing but sockets in that folder, and leaves nothing behind. The
# exit code is 0 when everything happened as told, and 77 where PostgreSQL's server is missing.
set -u

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=examples/northbound/story.sh
. "$HERE/story.sh"

[ $# -eq 1 ] || die "usage: demo-cluster.sh FOLDER"
FOLDER=$(cd "$1" 2>/dev/null && pwd) || die "$1 is no folder"
CLIENT=$FOLDER/examples/northbound/nbi-client SERVER=$FOLDER/examples/northbound/nbi-server
for program in "$SERVER" "$CLIENT"; do
    [ -x "$program" ] || die "there is no $program: $FOLDER is no build directory of this project"
done
ENGINE_FOLDER=$(find /usr/lib/postgresql -mindepth 3 -maxdepth 3 -name postgres 2>/dev/null | sort -V | tail -n 1)
ENGINE_FOLDER=${ENGINE_FOLDER%/postgres}
if [ -z "$ENGINE_FOLDER" ]; then
    echo "$(basename "$0"): PostgreSQL's server is not installed (package postgresql)" >&2
    exit 77
fi

WORK=$(mktemp -d) || die "no temporary directory"
SERVERS=(a b c)
PORTS=(p01 p02 p03 p04 p05 p06 p07 p08 p09 p10 p11 p12)
SAMPLES=41  # of each collection: one in 0.4 seconds, for 16
PATIENCE=180  # seconds that anything may take on a busy machine
BOOK="host=$WORK/engine user=postgres dbname=postgres"
declare -A SERVER_PIDS=()
ENGINE_PID=
CLIENT_PID=
export XDG_RUNTIME_DIR=$WORK
AS_ENGINE=(setpriv --pdeathsig QUIT)  # the engine refuses root
[ "$(id -u)" -ne 0 ] || AS_ENGINE=(setpriv --pdeathsig QUIT --reuid=postgres --regid=postgres --init-groups)

# A killed process's children may outlive it for a moment.
kill_engine() {
    [ -n "$ENGINE_PID" ] || return 0
    local pid children
    children=$(cat "/proc/$ENGINE_PID/task/$ENGINE_PID/children" 2>/dev/null)
    # shellcheck disable=SC2086
    { kill -9 "$ENGINE_PID" $children; wait "$ENGINE_PID"; } 2>/dev/null
    ENGINE_PID=
    for pid in $children; do
        wait_for "the engine's processes to end" test ! -s "/proc/$pid/cmdline"
    done
}

# shellcheck disable=SC2317  # called by the trap
clean_up() {
    local pid
    for pid in $CLIENT_PID ${SERVER_PIDS[@]+"${SERVER_PIDS[@]}"}; do
        { kill -9 "$pid" && wait "$pid"; } 2>/dev/null
    done
    kill_engine
    rm -rf "$WORK"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# wait_for WHAT CONDITION...
wait_for() {
    local what=$1 end=$((SECONDS + PATIENCE))
    shift
    until "$@"; do
        [ $SECONDS -lt $end ] || die "waited $PATIENCE seconds for $what"
        sleep 0.1
    done
}

address_of() { printf 'unix:%s/%s/socket/nbi-server.sock' "$WORK" "$1"; }
ALL=$(address_of a),$(address_of b),$(address_of c)

ask() { "$CLIENT" --server "$ALL" --timeout "$PATIENCE" "$@"; }

# As a user would type it, and what it printed. The exit code is the client's.
client() {
    shown "nbi-client $*"
    ask "$@" 2>&1
}

start_engine() {
    local before
    before=$(grep -c "ready to accept connections" "$WORK/engine/log" 2>/dev/null)
    "${AS_ENGINE[@]}" "$ENGINE_FOLDER/postgres" -D "$WORK/engine/data" -k "$WORK/engine" -c listen_addresses= \
        -c fsync=off -c shared_buffers=8MB >>"$WORK/engine/log" 2>&1 &
    ENGINE_PID=$!
    wait_for "the engine" engine_has_started "${before:-0}"
}

engine_has_started() {
    kill -0 "$ENGINE_PID" 2>/dev/null || die "the engine has ended: $(tail -n 3 "$WORK/engine/log")"
    [ "$(grep -c "ready to accept connections" "$WORK/engine/log")" -gt "$1" ]
}

# start_server NAME
start_server() {
    mkdir -p "$WORK/$1/socket"
    chmod 700 "$WORK/$1/socket"
    cat >"$WORK/$1/nbi-server.ini" <<INI
[host]
root = $HERE/root/lib
log_file = nbi-server.log
log_stderr = no
[server]
ListenSocket = socket/nbi-server.sock
TaskMgrMaxThreadNum = 8
HugeTaskLimit = 24
CollectionsPerPort = 4
DescriptionFile = $HERE/descriptions/northbound.xml
CollectionDirectory = $WORK/collections
ElementRoot = $WORK/element
Elements = network
Book = $BOOK
BookServer = $1
BookLease = 3
INI
    setpriv --pdeathsig KILL "$SERVER" --config "$WORK/$1/nbi-server.ini" --ready-file "$WORK/$1/ready" \
        >"$WORK/$1/stdout" 2>"$WORK/$1/stderr" &
    SERVER_PIDS[$1]=$!
}

# server_is_ready NAME
server_is_ready() {
    kill -0 "${SERVER_PIDS[$1]}" 2>/dev/null || die "server $1 has ended: $(cat "$WORK/$1/stderr")"
    [ -e "$WORK/$1/ready" ]
}

# The collections that run and have taken a sample, as "<server>" each.
holders() {
    ask --json cluster 2>/dev/null | tr '{' '\n' |
        sed -nE 's/.*"phase":"running","server":"([^"]+)","samplesTaken":[1-9].*/\1/p'
}

# run_at_least NUMBER: or the client has ended, and has nothing to wait for.
run_at_least() { [ "$(holders | wc -l)" -ge "$1" ] || ! kill -0 "$CLIENT_PID" 2>/dev/null; }

have_servers() { [ "$(ask --json cluster 2>/dev/null | grep -o '"lease":[0-9]' | wc -l)" -ge "$1" ]; }

# logs_of OPERATION: in how many servers' logs it stands.
logs_of() { grep -l "$1" "$WORK"/[abc]/nbi-server.log | wc -l; }

chapter "1. An engine, three servers, one book"
tell <<TEXT
A PostgreSQL of this story's own keeps the book: which collections were accepted, and whose each of them is. Three northbound servers share it. All of them reach the same network element, which is made of files here, with ${#PORTS[@]} ports.
TEXT
chmod 711 "$WORK"
mkdir -p "$WORK/engine" "$WORK/element/proc/net" "$WORK/element/sys/class/net" "$WORK/collections"
chmod 700 "$WORK/collections"
[ "$(id -u)" -ne 0 ] || chown postgres: "$WORK/engine"
{
    printf 'Inter-|   Receive\n face |bytes    packets\n'
    for port in "${PORTS[@]}"; do printf '%s: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n' "$port"; done
} >"$WORK/element/proc/net/dev"
"${AS_ENGINE[@]}" "$ENGINE_FOLDER/initdb" -D "$WORK/engine/data" -U postgres -A trust --no-sync --no-locale -E UTF8 \
    >"$WORK/engine/log" 2>&1 || die "initdb: $(tail -n 3 "$WORK/engine/log")"
start_engine
shown "nbi-server --migrate \"$BOOK\""
"$SERVER" --migrate "$BOOK" || die "the book cannot be made"
for name in "${SERVERS[@]}"; do start_server "$name"; done
for name in "${SERVERS[@]}"; do wait_for "server $name" server_is_ready "$name"; done
wait_for "three servers in the book" have_servers 3
client cluster
expect "three servers are there" test "$(ask --json cluster | grep -o '"lease":' | wc -l)" -eq 3

chapter "2. Twelve collections"
tell <<TEXT
One client orders a collection at each port: a sample every 0.4 seconds, $SAMPLES of them. It gives each order a name of its own, so that it may send it again where an answer is lost. Whichever server has a free worker carries an order out.
TEXT
shown "nbi-client collect ${PORTS[*]} --interval 0.4 --duration 16 &"
ask collect "${PORTS[@]}" --interval 0.4 --duration 16 --quiet >"$WORK/collected" 2>"$WORK/collected.err" &
CLIENT_PID=$!
wait_for "twelve running collections" run_at_least ${#PORTS[@]}
VICTIM=$(holders | sort | uniq -c | sort -rn | awk 'NR == 1 { print $2 }')
VICTIM=${VICTIM:-a}
client cluster

chapter "3. One server is killed"
tell <<TEXT
Server $VICTIM carries out most of them, and is killed with -9: it can tell nobody. Its lease in the book ends 3 seconds after its last sign of life. Then the others take its collections, and go on behind the last sample that the book knows of.
TEXT
shown "kill -9 ${SERVER_PIDS[$VICTIM]}"
{ kill -9 "${SERVER_PIDS[$VICTIM]}"; wait "${SERVER_PIDS[$VICTIM]}"; } 2>/dev/null
unset "SERVER_PIDS[$VICTIM]"
wait "$CLIENT_PID"
expect "the client has all its results" test $? -eq 0
CLIENT_PID=
head -n 8 "$WORK/collected"
printf '(and so on)\n'
cat "$WORK/collected.err"
expect "twelve collections have ended, each with $SAMPLES samples" \
    test "$(grep -c ": $SAMPLES samples" "$WORK/collected")" -eq ${#PORTS[@]}
OPERATIONS=$(sed -n 's/^  operation //p' "$WORK/collected")
expect "under twelve operation UUIDs, one each" test "$(sort -u <<<"$OPERATIONS" | grep -c .)" -eq ${#PORTS[@]}
client cluster
expect "none is left in the book" test -z "$(holders)"

chapter "4. No sample is missing"
tell <<TEXT
A collection that two servers have carried out is two files, one of each. The client brings them together, checks each part's digest, and makes one file. Both servers' logs have the collection under its one operation UUID.
TEXT
mkdir "$WORK/fetched"
WHOLE=0 HANDED_OVER=0 TRACED=0
for operation in $OPERATIONS; do
    file=$WORK/fetched/$operation.csv
    said=$(ask fetch "$operation" "$file" 2>&1) || printf '%s\n' "$said"
    [ "$(grep -c , "$file" 2>/dev/null)" -ne $((SAMPLES + 1)) ] || WHOLE=$((WHOLE + 1))
    case $said in *" samples of 1 parts") continue ;; esac
    HANDED_OVER=$((HANDED_OVER + 1))
    [ $HANDED_OVER -ne 1 ] || { shown "nbi-client fetch $operation"; printf '%s\n' "$said"; }
    [ "$(logs_of "$operation")" -lt 2 ] || TRACED=$((TRACED + 1))
done
expect "twelve files with $SAMPLES samples each" test $WHOLE -eq ${#PORTS[@]}
expect "some of them ($HANDED_OVER) were handed over" test $HANDED_OVER -gt 0
expect "and each of these is in the logs of both servers" test $TRACED -eq $HANDED_OVER

chapter "5. The engine is killed"
tell <<TEXT
While the engine is away no server can accept anything; it says so at once, with a code of its own. What needs no book goes on.
TEXT
shown "nbi-client collect p01 --interval 0.2 --duration 8 &"
ask collect p01 --interval 0.2 --duration 8 --quiet >"$WORK/during" 2>&1 &
CLIENT_PID=$!
wait_for "a running collection" run_at_least 1
shown "kill -9 $ENGINE_PID"
kill_engine
client collect p02 --interval 0.2 --duration 1
expect "an order is refused" test $? -eq 1
expect "because the book is away" grep -q 0x4E420010 <<<"$(ask collect p02 --interval 0.2 --duration 1 2>&1)"
client counters p01 | head -n 4
expect "counters are read as ever" test "${PIPESTATUS[0]}" -eq 0

chapter "6. The engine comes back"
tell <<TEXT
The servers find it by themselves. The collection that was under way has gone on for the rest of its lease; when it had to stop, it goes on behind its last reported sample.
TEXT
start_engine
accepts() { ask collect p02 --interval 0.2 --duration 1 --quiet >"$WORK/after" 2>&1; }
wait_for "an order that is accepted" accepts
cat "$WORK/after"
expect "orders are accepted again" grep -q "6 samples" "$WORK/after"
wait "$CLIENT_PID"
expect "the collection that was under way has ended well" test $? -eq 0
CLIENT_PID=
cat "$WORK/during"
expect "with all of its samples" grep -q ": $SAMPLES samples" "$WORK/during"

chapter "7. An orderly end"
for name in "${!SERVER_PIDS[@]}"; do
    kill "${SERVER_PIDS[$name]}"
    wait "${SERVER_PIDS[$name]}"
    expect "server $name ended in order" test $? -eq 0
    unset "SERVER_PIDS[$name]"
done

the_end "docs/cluster.md says how to set up servers of your own."
