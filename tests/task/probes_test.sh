#!/usr/bin/env bash
# The marks of the library for tracing tools: none unless the build asks for them, and then all of the page.
# usage: probes_test.sh PROJECT_DIR LIBRARY LIBRARY_WITH_PROBES
set -eu -o pipefail
failures=0

fail() {
    echo "$*"
    failures=$((failures + 1))
}

# probes LIBRARY: the names of its marks.
probes() { readelf --notes --wide "$1" | sed -n '/Provider: nbiutil$/{n;s/^ *Name: //p}' | LC_ALL=C sort -u; }
documented() { grep -oP '^\| `nbiutil:\K[a-z_]+' "$1/docs/tracing.md" | LC_ALL=C sort -u; }

[ -z "$(probes "$2")" ] || fail "the library has marks that nobody asked for: $(probes "$2")"
wanted=$'push\nrefuse\nrun_begin\nrun_end\ntake\nwake'
[ "$(probes "$3")" = "$wanted" ] || fail "the library with marks has these: $(probes "$3")"
[ "$(documented "$1")" = "$wanted" ] || fail "docs/tracing.md has these: $(documented "$1")"
while read -r name; do
    grep -qx "$name" <<<"$wanted" || fail "the script of docs/tracing.md asks for $name"
done < <(grep -oP '^usdt:.*:nbiutil:\K.*' "$1/docs/tracing.md")
[ "$failures" -eq 0 ]
