#!/usr/bin/env bash
# scripts/assure does each part once for the same sources, whatever stops it in between. usage: assure_test.sh PROJECT_DIR
set -eu
SAMPLE=$(mktemp -d)
trap 'rm -rf "$SAMPLE"' EXIT
failures=0

expect() {  # expect WHAT ACTUAL WANTED
    [ "$2" = "$3" ] && return
    printf '%s\n  is:     %s\n  wanted: %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

# The last word of each part, then the sums.
assure() { (cd "$SAMPLE" && PATH="$SAMPLE/stubs:$PATH" scripts/assure "$@" 2>&1 | grep -vE '^ *[0-9]+ %|minutes, ' || true); }

mkdir -p "$SAMPLE/scripts/assurance" "$SAMPLE/stubs"
cp "$1/scripts/assure" "$1/scripts/lib.sh" "$1/scripts/packages.txt" "$SAMPLE/scripts"
printf '#!/bin/sh\necho install ok installed\n' >"$SAMPLE/stubs/dpkg-query"
printf '#!/bin/sh\n' >"$SAMPLE/stubs/apt-get"
chmod +x "$SAMPLE"/stubs/*
cat >"$SAMPLE/scripts/assurance/try.sh" <<'END'
# shellcheck shell=bash
# A step with a part that passes and one that needs a file.
assure_try() {
    part try/first true
    part try/second ls build/wanted
}
END
# shellcheck disable=SC2013  # words on one line
for step in $(sed -n 's/^ALL_STEPS=(\(.*\))$/\1/p' "$1/scripts/assure"); do
    expect "the step $step has its file" "$(grep -c "^assure_$step()" "$1/scripts/assurance/$step.sh")" 1
done
(
    cd "$SAMPLE"
    printf '/build/\n' >.gitignore
    git init -q
    git add -A
    git -c user.name=a -c user.email=a@b commit -q -m a
    mkdir build
)

expect "a part fails" "$(assure try | grep -v "^ls\|see build")" $'== try/first\n== try/second\n1 passed, 1 failed'
touch "$SAMPLE/build/wanted"
expect "what passed is not done again" "$(assure try)" $'== try/first: passed before\n== try/second\n2 passed, 0 failed'
expect "nothing is left to do" "$(assure try)" $'== try/first: passed before\n== try/second: passed before\n2 passed, 0 failed'
echo "# other" >>"$SAMPLE/scripts/packages.txt"
expect "other sources begin anew" "$(assure try)" $'== try/first\n== try/second\n2 passed, 0 failed'
# The page tells what a part printed when it passed last, and of others that they were not run.
cat >"$SAMPLE/scripts/assurance/models.sh" <<'END'
# shellcheck shell=bash
# Figures.
assure_models() { part models/run printf 'a -DX holds, 12 states\nb -DX holds, 30 states\nc -DVARIANT=1 found\n'; }
END
cp "$1/scripts/assurance/report.sh" "$SAMPLE/scripts/assurance"
mkdir "$SAMPLE/docs"
assure models >/dev/null
assure --report
page=$SAMPLE/docs/assurance.md
expect "figures of the last run" "$(grep -c '| 2 sizes hold, 42 states; 1 wrong variants, all found | [0-9-]*, [0-9a-f]* and changes |$' "$page")" 1
expect "what was not run" "$(grep -c '| | not run |$' "$page")" 12
expect "an unknown step" "$(assure none)" "assure: there is no step none; --list names them"

exit "$failures"
