#!/usr/bin/env bash
# Every test that the table of attacks names is there. usage: named_tests_test.sh PROJECT_DIR
# `Suite.Test`, `Suite`, `Suite.Beginning...` or a file; a `Test...` alone belongs to the suite named before it.
cd "$1" || exit 1
status=0 suite='' rows=0

complain() {
    echo "docs/security.md: $1"
    status=1
}

# check NAME: as it stands between backquotes
check() {
    local name=${1%...} end='\b'
    [ "$name" = "$1" ] || end=''
    case $name in
        *_test | */*)
            [ -n "$(find tests -path "*$name*" -print -quit)" ] || complain "no file $name"
            return
            ;;
        *.*)
            suite=${name%%.*}
            name=${name#*.}
            ;;
        *Test)
            suite=$name
            grep -rqE "TEST(_F|_P)?\($suite," tests || complain "no test of $suite"
            return
            ;;
    esac
    grep -rqzE "TEST(_F|_P)?\($suite,[[:space:]]+$name$end" tests || complain "no test $suite.$name"
}

while IFS='|' read -r _ _ _ _ tests _; do
    rows=$((rows + 1))
    names=$(grep -oE '`[^`]+`' <<<"$tests" | tr -d '`')
    [ -n "$names" ] || complain "row $rows names no test"
    for name in $names; do check "$name"; done
done < <(sed -n '/^## What an attacker can do/,/^## What wiping/p' docs/security.md | grep '^| ' | tail -n +3)
[ "$rows" -gt 20 ] || complain "the table is not where it was"
exit $status
