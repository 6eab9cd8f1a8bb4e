#!/usr/bin/env bash
# The page of a day with the server: its commands work, in their order, and it leaves out nothing that the programs show.
# usage: operating_test.sh PROJECT_DIR BUILD_DIR
set -eu -o pipefail
PAGE=$1/docs/operating.md
VIEW=$1/examples/northbound/client/view/poolview.cpp
PATH=$2/examples/northbound:$PATH
WORK=$(mktemp -d)
export XDG_RUNTIME_DIR=$WORK
SERVER_PID=
failures=0

clean_up() {
    [ -z "$SERVER_PID" ] || kill "$SERVER_PID" 2>/dev/null || true
    wait
    rm -rf "$WORK"
}
trap clean_up EXIT

fail() {
    echo "$*"
    failures=$((failures + 1))
}

# blocks LANGUAGE: what stands in the page's blocks of it.
blocks() { awk -v begin="\`\`\`$1" '$0 == "```" { inside = 0 } inside { print } $0 == begin { inside = 1 }' "$PAGE"; }

# on_page WHAT COMMAND...: the page has each line of the command's output in a cell of its own, or beside others.
on_page() {
    local what=$1 text found=no
    shift
    while IFS= read -r text; do
        found=yes
        grep -qF "\`$text\`" "$PAGE" || fail "the page lacks the $what \"$text\""
    done < <("$@")
    [ $found = yes ] || fail "no $what was found to look for"
}

columns() { grep -oP '\{Say\("\K[^"]+(?="\), Align)' "$VIEW"; }
findings() {
    sed -n '/^std::string FullFinding/,$p' "$VIEW" | grep -oP 'Say\("\K[^"]+(?=")' |
        sed -n '/^pool {1}: /d; /^[A-Z]/d; s/{[0-9]}/…/gp'
}
metrics() { awk '$2 == "TYPE" { print $3 }' "$WORK/nbi.prom"; }

cat >"$WORK/nbi-server.ini" <<INI
[host]
root = $1/examples/northbound/root/lib
log_file = nbi-server.log
log_stderr = no
[server]
DescriptionFile = $1/examples/northbound/descriptions/northbound.xml
HugeTaskLimit = 4
MetricsFile = nbi.prom
INI
nbi-server --config "$WORK/nbi-server.ini" --ready-file "$WORK/ready" >"$WORK/out" 2>&1 &
SERVER_PID=$!
for _ in $(seq 600); do
    [ ! -e "$WORK/ready" ] || break
    kill -0 "$SERVER_PID" || { cat "$WORK/out"; exit 1; }
    sleep 0.1
done

# Something to look at: a collection that has ended, one that runs, and a file of figures.
nbi-client inventory >/dev/null
nbi-client collect lo --quiet --interval 0.05 --duration 0.5 >/dev/null
nbi-client collect lo --quiet --interval 0.05 --duration 3600 >/dev/null 2>&1 &
nbi-client tasks --at-least 1 >/dev/null
for _ in $(seq 60); do # on a busy machine not all workers have started yet
    ! nbi-client doctor >/dev/null || break
done

{
    echo "pidof() { echo $SERVER_PID; }"
    blocks sh | sed "s#/var/l[a-z]*/nbiutil#$WORK#"
} >"$WORK/day"
(cd "$WORK" && bash -eu -o pipefail day >said 2>&1) || fail "a command of the page has failed"
cat "$WORK/said"
SERVER_PID=
for text in 'nothing looks wrong' 'WAITED (99 %)' 'nbi-p2-w' 'is cancelled' ' dispatcher request accepted' 'rxBytes: ' \
    'lo.svg is drawn' '0x4118000A: ' 'HugeTaskLimit is set' '.csv.gz' 'files of ' nbi_log_lines_lost \
    'the server has stopped'; do
    grep -qF "$text" "$WORK/said" || fail "the commands of the page do not show \"$text\""
done
grep -q '</svg>' "$WORK/lo.svg" || fail "no picture"

on_page column columns
on_page finding findings
on_page metric metrics
blocks yaml >"$WORK/rules.yml"
promtool check rules "$WORK/rules.yml" || fail "the rules are wrong"
while IFS= read -r name; do
    metrics | grep -x "$name" >/dev/null || fail "a rule asks for $name, which is not there"
done < <(grep -oE 'nbi_[a-z_]+' "$WORK/rules.yml")
[ "$failures" -eq 0 ]
