#!/usr/bin/env bash
# No circle of folders, no floor that stands on a higher one, no include of a host but nbihost/; first of all, that the
# check sees each of these. usage: structure_test.sh PROJECT_DIR
set -u
SCRIPT=$1/scripts/structure
SAMPLE=$(mktemp -d)
trap 'rm -rf "$SAMPLE"' EXIT
failures=0

# file PATH INCLUDED...: a source of the sample.
file() {
    local path=$SAMPLE/$1
    shift
    mkdir -p "${path%/*}"
    printf '#include "%s"\n' "$@" >"$path"
}

# expect WHAT: what the check says first about the sample.
expect() {
    local said
    said=$("$SCRIPT" check "$SAMPLE" | head -n 1)
    [ "$said" = "$1" ] && return
    printf 'is:     %s\nwanted: %s\n' "$said" "$1"
    failures=$((failures + 1))
}

mkdir -p "$SAMPLE/examples/northbound/client"
file host/include/nbihost/trim.h string
file host/include/nbihost/standalone.h string
file host/standalone/trim.cpp nbihost/trim.h nbiutil/export.h
file include/nbiutil/export.h string
file include/nbiutil/ad.h nbiutil/export.h
file include/nbiutil/nbiutil.h nbiutil/ad.h
file src/base/guard.h nbihost/trim.h
file src/task/ad.cpp nbiutil/ad.h base/guard.h log/log.h
file src/log/log.h nbihost/trim.h
file examples/northbound/server/main.cpp nbiutil/nbiutil.h nbihost/standalone.h
expect ""

[ "$("$SCRIPT" edges "$SAMPLE")" = "base nbihost
log nbihost
server headers
server standalone
standalone headers
standalone nbihost
task base
task headers
task log" ] || { "$SCRIPT" edges "$SAMPLE"; failures=$((failures + 1)); }

file src/log/log.cpp nbiutil/ad.h
expect "a circle of rooms:"
rm "$SAMPLE/src/log/log.cpp"

file src/base/text.h log/log.h
expect "the ground floor is not the lowest:"
rm "$SAMPLE/src/base/text.h"

file src/log/log.cpp nbihost/standalone.h
expect "the library uses the default host:"
file src/log/log.cpp otherhost/host/log.h
expect "includes of a host but nbihost/:"
rm "$SAMPLE/src/log/log.cpp"

file host/standalone/host.cpp base/guard.h
expect "the default host uses the library:"
rm "$SAMPLE/host/standalone/host.cpp"

file examples/northbound/shared/names.h string
file src/log/log.cpp ../../examples/northbound/shared/names.h
expect "a floor that stands on a higher one:"
file src/news/news.cpp log/log.h
rm "$SAMPLE/src/log/log.cpp"
expect "rooms without a floor:"
rm "$SAMPLE/src/news/news.cpp"

file examples/northbound/server/corba/servant.h string
file examples/northbound/server/operations/list.cpp server/corba/servant.h
expect "what the server does knows a front end:"
rm "$SAMPLE/examples/northbound/server/operations/list.cpp"
expect ""

# The picture of another day: it stands before an include that is new.
mkdir "$SAMPLE/docs"
printf '<!-- made by\n%s\n-->\n' "$("$SCRIPT" graph "$SAMPLE" | sed 's/->/to/g')" >"$SAMPLE/docs/architecture.svg"
"$SCRIPT" current "$SAMPLE" || { echo "today's picture is not known"; failures=$((failures + 1)); }
file src/xml/tree.h base/guard.h
"$SCRIPT" current "$SAMPLE" >/dev/null && { echo "a picture of another day passes"; failures=$((failures + 1)); }

"$SCRIPT" check "$1" || failures=$((failures + 1))
"$SCRIPT" current "$1" || failures=$((failures + 1))
exit "$failures"
