#!/usr/bin/env bash
# The manual pages: without a complaint of mandoc, and nothing is missing that the programs know.
# usage: manual_test.sh PROJECT_DIR BUILD_DIR
set -eu
source=$1 build=$2
made=$build/packaging/manual
programs=$build/examples/northbound
command -v mandoc >/dev/null || { echo "mandoc is missing"; exit 77; }
failed=

complain() {
    echo "$*"
    failed=yes
}

pages=("$source"/packaging/manual/*.5 "$made/nbi-client.1" "$made/nbi-server.8")
for page in "${pages[@]}"; do
    mandoc -T lint -W warning "$page" || failed=yes
done

# text PAGE: as a reader sees it, on one line.
text() { mandoc -T ascii -O width=500 "$1" | col -b | tr -s ' \n' ' '; }

# Long options of a program and of each of its commands, as --help has them.
options() { "$@" --help | grep -oE '^ +(-[a-zA-Z],)?--[a-z-]+' | grep -oE -- '--[a-z-]+' | sort -u; }

client=$(text "$made/nbi-client.1")
server=$(text "$made/nbi-server.8")
commands=$("$programs/nbi-client" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p')
[ -n "$commands" ] || complain "nbi-client --help shows no command"
for command in $commands; do
    grep -qE " $command( |$)" <<<"$client" || complain "nbi-client.1: no $command"
    for option in $(options "$programs/nbi-client" "$command"); do
        grep -qF -- " $option" <<<"$client" || complain "nbi-client.1: no $option of $command"
    done
done
for option in $(options "$programs/nbi-server"); do
    grep -qF -- " $option" <<<"$server" || complain "nbi-server.8: no $option"
done

# Keys of the configuration: those that the sources know are those of the page.
sed -nE 's/^\.It Cm ([A-Za-z_]+).*/\1/p' "$source/packaging/manual/nbi-server.ini.5" | sort >"$made/told"
{
    sed -nE 's/^ +\{"([a-z_]+)",( \[.*)?$/\1/p' "$source/host/standalone/settings.cpp"
    sed -nE 's/^ +\{"([A-Za-z_]+)", Kind::.*/\1/p' "$source/examples/northbound/server/upkeep/items.cpp"
} | sort >"$made/known"
[ "$(wc -l <"$made/known")" -gt 10 ] || complain "the sources' keys cannot be read"
diff "$made/known" "$made/told" || complain "nbi-server.ini.5: < is known and not told, > is told and not known"

# What a description file may hold: the attributes that the server expects, and its elements.
descriptions=$source/examples/northbound/server/figures/descriptions.cpp
words=$(grep -E 'ExpectOnly\(|^constexpr const char\* (INCLUDE|FIGURE|END) ' "$descriptions" |
    grep -oE '"[a-z]+"' | tr -d '"' | sort -u)
[ "$(wc -w <<<"$words")" -gt 8 ] || complain "the sources' attributes cannot be read"
for word in $words; do
    grep -qE "^\.(It Cm|Ss <).*\b$word\b" "$source/packaging/manual/nbi-descriptions.5" ||
        complain "nbi-descriptions.5: no $word"
done
[ -z "$failed" ]
