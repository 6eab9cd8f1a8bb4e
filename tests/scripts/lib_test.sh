#!/usr/bin/env bash
# What scripts/lib.sh does about packages and counts, with stand-ins for the system's commands.
# usage: lib_test.sh PROJECT_DIR
LIB=$1/scripts/lib.sh
STUBS=$(mktemp -d)
trap 'rm -rf "$STUBS"' EXIT
failures=0

stub() {  # stub NAME SCRIPT
    printf '#!/bin/sh\n%s\n' "$2" >"$STUBS/$1"
    chmod +x "$STUBS/$1"
}

expect() {  # expect WHAT ACTUAL WANTED
    [ "$2" = "$3" ] && return
    printf '%s\n  is:     %s\n  wanted: %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

run_lib() {  # run_lib SCRIPT: as a script called "demo", with the stubs in front; output and status
    PATH="$STUBS:$PATH" bash -c ". '$LIB'; $1" demo 2>&1 </dev/null
    echo "status $?"
}

stub apt-get 'echo "$*" >>"$(dirname "$0")/calls"; exit 1'
stub dpkg-query 'echo "install ok installed"'
expect "all is there: nothing is installed" "$(run_lib 'require_packages build run test ci')" "status 0"
expect "all is there: no call" "$(cat "$STUBS/calls" 2>/dev/null)" ""

stub dpkg-query '[ "$4" != zip ] && echo "install ok installed"'
stub id 'echo 0'
found=$(run_lib 'require_packages build run' | sed 's/ in \/.*//')
expect "the installation fails: one line says what is missing" "$found" \
    $'== installing zip \ndemo: cannot install zip (no network?); apt-get\'s words are\nstatus 1'
expect "only what is missing is asked for" "$(tail -n 1 "$STUBS/calls" | grep -o 'recommends.*')" "recommends zip"

stub apt-get 'exit 0'
expect "the installation works" "$(run_lib 'require_packages run')" $'== installing zip \nstatus 0'

stub id 'echo 1000'
stub sudo 'exit 1'
expect "not root and no sudo: one line says what to do" "$(run_lib 'require_packages run')" \
    $'demo: not root, and packages are missing; as root: apt-get install zip \nstatus 1'

rm "$STUBS/apt-get"
mkdir "$STUBS/bin"
for tool in bash basename dirname nproc; do ln -s "$(command -v "$tool")" "$STUBS/bin/$tool"; done
found=$(PATH=$STUBS/bin bash -c ". '$LIB'; require_packages run" demo 2>&1)
expect "no Debian: one line" "$found" \
    "demo: this script needs Debian 12 or a relative of it (apt-get); README.md says how to build elsewhere"

expect "nothing ran: a failure" "$(run_lib summary)" $'0 passed, 0 failed\nstatus 1'
expect "sums" "$(run_lib 'count 2 0; count 3 0; summary')" $'5 passed, 0 failed\nstatus 0'
expect "a failure" "$(run_lib 'count 2 1 4; summary')" $'2 passed, 1 failed, 4 skipped\nstatus 1'
expect "checks count" "$(run_lib 'check one true; check two false; summary')" \
    $'== one\n== two\n== FAILED: two\n1 passed, 1 failed\nstatus 1'

# Seconds are set, not spent; a second may pass in between.
spend() { printf 'step %s eval "SECONDS=$((SECONDS + %s))"; ' "$1" "$2"; }
expect "shares of the time" "$(run_lib "$(spend short 100000) $(spend long 300000) shares" |
    sed -E 's/ +[0-9]+:[0-9]+ +[0-9]+:[0-9]+ +/ /; s/^== .*minutes.*/minutes/')" $'minutes\n 75 % long\n 25 % short\nstatus 0'
expect "a step's status is its command's" "$(run_lib 'step a false || echo failed; shares >/dev/null')" $'failed\nstatus 0'

stub cmake 'printf "[1/40] a\n[4/40] b\nb.cpp:1: warning\n[9/40] c\n[39/40] d\n[40/40] e\n"; exit "${CMAKE_STATUS:-0}"'
expect "a build shows tenths and what is no step" "$(run_lib 'build_shown dev')" \
    $'== dev: 10 % built\nb.cpp:1: warning\n== dev: 20 % built\n== dev: 90 % built\n== dev: 100 % built\nstatus 0'
expect "a failed build fails" "$(CMAKE_STATUS=3 run_lib 'build_shown dev' | tail -n 1)" "status 3"

stub ctest 'case "$*" in *--rerun-failed*) cat "$(dirname "$0")/again.txt" ;; *) cat "$(dirname "$0")/ctest.txt" ;; esac'
one_failed='50% tests passed, 1 tests failed out of 4'
echo "0% tests passed, 1 tests failed out of 1" >"$STUBS/again.txt"
tests() { run_lib "PROJECT_DIR=$STUBS; mkdir -p $STUBS/build/x; run_tests x >/dev/null; summary"; }
cat >"$STUBS/ctest.txt" <<'END'
      Start  1: a
1/4 Test  #1: a ..........   Passed    0.01 sec

50% tests passed, 1 tests failed out of 4

The following tests did not run:
	  3 - c (Skipped)

The following tests FAILED:
	  2 - b (Failed)
END
expect "tests are counted" "$(tests)" $'2 passed, 1 failed, 1 skipped\nstatus 1'
echo "100% tests passed, 0 tests failed out of 2" >"$STUBS/again.txt"
expect "what passes alone is unsteady" "$(tests)" \
    $'== UNSTEADY: 1 failed beside others and passed alone; see above\n3 passed, 0 failed, 1 skipped\nstatus 0'
echo "No space left on device" >"$STUBS/again.txt"
expect "a second run without a result excuses nobody" "$(tests)" $'2 passed, 1 failed, 1 skipped\nstatus 1'
echo "100% tests passed, 0 tests failed out of 1" >"$STUBS/again.txt"
for report in "==7==ERROR: AddressSanitizer: heap-use-after-free" "==7==ERROR: LeakSanitizer: detected memory leaks" \
    "==7==ERROR: ThreadSanitizer: SEGV on unknown address" "==7==ERROR: UndefinedBehaviorSanitizer: FPE" "WARNING: ThreadSanitizer: data race (pid=7)" "a.cpp:3:4: runtime error: signed integer overflow"; do
    printf '%s\n%s\n' "$report" "$one_failed" >"$STUBS/ctest.txt"
    expect "what a sanitizer reports stands: $report" "$(tests)" $'3 passed, 1 failed\nstatus 1'
done
echo "20% tests passed, 4 tests failed out of 5" >"$STUBS/ctest.txt"
expect "so many are no accident" "$(tests)" $'1 passed, 4 failed\nstatus 1'
echo "No tests were found!!!" >"$STUBS/ctest.txt"
expect "no test is a failure" "$(tests)" $'0 passed, 1 failed\nstatus 1'
echo "100% tests passed, 0 tests failed out of 7" >"$STUBS/ctest.txt"
expect "all passed" "$(tests)" $'7 passed, 0 failed\nstatus 0'

exit "$failures"
