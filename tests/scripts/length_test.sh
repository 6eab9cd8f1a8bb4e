#!/usr/bin/env bash
# No source of tests is longer than 500 lines: what a test is about, its file's name says. usage: length_test.sh PROJECT_DIR
set -u
MOST=500

# long_files FOLDER...: "LINES FILE" of each that is longer.
long_files() {
    find "$@" \( -name '*.cpp' -o -name '*.h' -o -name '*.sh' \) -exec wc -l {} + |
        awk -v most=$MOST '$2 != "total" && $1 > most { print $1, $2 }'
}

sample=$(mktemp -d)
trap 'rm -rf "$sample"' EXIT
seq $MOST >"$sample/long.cpp"
seq $((MOST + 1)) >"$sample/longer.cpp"
found=$(long_files "$sample")
[ "$found" = "$((MOST + 1)) $sample/longer.cpp" ] || { echo "of its sample this test finds: $found"; exit 1; }

cd "$1" || exit 1
found=$(long_files tests host/recording | sort -rn)
[ -z "$found" ] || { printf '%s\nsplit these by topics\n' "$found"; exit 1; }
