#!/usr/bin/env bash
# Every exported operation has a scenario of single faults, or a line in tests/support/withoutfaults.txt that says why not.
# usage: faults_test.sh PROJECT_DIR LIBRARY
cd "$1" || exit 1
REASONS=tests/support/withoutfaults.txt
status=0

complain() {
    echo "$*"
    status=1
}

# Without arguments, destructors and the second names of constructors.
exported() {
    nm -DC --defined-only "$1" | sed -nE 's/^[0-9a-f]+ T NS_UTIL::([^(]+)\(.*/\1/p' |
        sed 's/\[abi:cxx11\]//' | grep -v '~' | sort -u
}

# The first text of each scenario, which the formatter may have broken into several.
tried() {
    cat tests/*/*faults_test.cpp | tr '\n' ' ' | sed 's/" *"//g' | grep -oE '\{"[^"]*"' | tr -d '{"' | tr ' ' '\n' | sort -u
}

mapfile -t names < <(exported "$2")
[ "${#names[@]}" -gt 100 ] || complain "only ${#names[@]} exported operations were found"
tried=$(tried)
reasons=$(grep -vE '^(#|$)' "$REASONS" | cut -d ' ' -f 1)
for name in "${names[@]}"; do
    if grep -qxF -- "$name" <<<"$tried"; then
        ! grep -qxF -- "$name" <<<"$reasons" || complain "$name has a scenario, and a reason for none"
    else
        grep -qxF -- "$name" <<<"$reasons" || complain "$name has no scenario of single faults"
    fi
done
while read -r name; do
    printf '%s\n' "${names[@]}" | grep -qxF -- "$name" || complain "$REASONS: $name is not exported"
done <<<"$reasons"
! grep -vE '^(#|$)' "$REASONS" | grep -qvE '^[^ ]+ [^ ]' || complain "$REASONS: a line without a reason"
exit "$status"
