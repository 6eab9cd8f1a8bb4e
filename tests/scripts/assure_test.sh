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

# Both survive where nothing was run: the record what it has figures of, the page what only it says.
record=$SAMPLE/docs/assurance.txt
expect "the record" "$(sed -n 's/^\(== models\/run: [0-9-]*\), .*/\1/p; 3,$p' "$record")" \
    "== models/run: $(date -u '+%Y-%m-%d')"$'\na -DX holds, 12 states\nb -DX holds, 30 states\nc -DVARIANT=1 found'
sed -i '/^| Years of tasks/s/| | not run/| 4 tests passed | 2020-01-01, abcdef0/' "$page"
cp "$page" "$record" "$SAMPLE/build"
rm -r "$SAMPLE/build/assure"
assure --report
expect "the page of another machine" "$(cat "$page")" "$(cat "$SAMPLE/build/assurance.md")"
expect "the record of another machine" "$(cat "$record")" "$(cat "$SAMPLE/build/assurance.txt")"
expect "a row without a record" "$(grep -c '^| Years of tasks .* | 4 tests passed | 2020-01-01, abcdef0 |$' "$page")" 1
# What was run here replaces what the record has, unless that is of a later day.
sed -i 's/30 states/31 states/' "$SAMPLE/scripts/assurance/models.sh"
assure models >/dev/null
sed -i '/^== models/s/: [0-9-]*/: 2000-01-01/' "$record"
assure --report
expect "a later run" "$(grep -c ' 43 states' "$page")" 1
sed -i '/^== models/s/: [0-9-]*/: 3000-01-01/; s/31 states/32 states/' "$record"
assure --report
expect "an earlier run" "$(grep -c ' 44 states.* 3000-01-01' "$page")" 1
# Every line that a figure is made of is kept.
(
    cd "$SAMPLE"
    mkdir -p src/one src/two
    . scripts/assurance/report.sh
    for figures in $(printf '%s' "$ROWS" | sed 's/.*|//' | sort -u); do
        cat <<'END' >build/said
said before
a -DX holds, 12 states
orders: 20 each
[       OK ] Schedules.Pool (3 ms)
faults injected: lock 2; open 3
Done 40 runs in 9 second(s)
12 mutants: 9 killed, 1 survived, 1 did not compile, 1 are the same code; 90.0 % killed
lines: 99.0%
branches: 93.0%
soak: 40 tasks, 7 bytes more in use
soak: 20 tasks, 5 bytes more in use
requests: 5, lost: 0
memory: 30 KB at the end
round 1: first killed; the last takeover came after 1.5 s, the lease is 1 s
round 0: orders again 0.2 s after the engine's return
12 promises held
END
        printf '%s: %s\n' "$figures" "$(lines_of "$figures" <build/said | figures_of "$figures")"
    done
) >"$SAMPLE/figures"
expect "figures" "$(cat "$SAMPLE/figures")" "$(cat <<'END'
analyze: 0 remarks
cluster: 1 servers killed, taken over within 1.5 s where the lease is 1 s; 1 engines killed, orders again within 0.2 s of their return
coverage: 99.0% of the lines, 93.0% of the branches
faults: 5 faults: lock 2, open 3
fuzz: 1 targets, 40 inputs, 9 s or more of each, nothing found
models: 1 sizes hold, 12 states; 0 wrong variants, all found
mutate: 1 of 2 folders: 12 mutants, 1 of them the same code; 90.0 % of the others that compile killed, 1 left with a reason
release: 12 promises held
schedules: 1 scenarios, 20 orders each
server: requests: 5, lost: 0; memory: 30 KB at the end
soak: 2 runs, 60 tasks, at most 7 bytes more in use at the end of one
END
)"
# Fuzz targets share the time: the first two end only together. What one of them finds leaves the others alone.
cp "$1/scripts/assurance/fuzz.sh" "$SAMPLE/scripts/assurance"
printf 'JOBS=2\nbuild_fuzzers() { :; }\n' >>"$SAMPLE/scripts/lib.sh"
programs=$SAMPLE/build/fuzz/tests/fuzz
mkdir -p "$programs"
for target in one two three; do
    cat >"$programs/${target}_fuzz" <<END
#!/bin/sh
touch build/$target
case $target in one) other=three ;; three) other=one ;; two) exit 1 ;; esac
for i in \$(seq 100); do [ ! -e build/\$other ] || exit 0; sleep 0.1; done
exit 1
END
    chmod +x "$programs/${target}_fuzz"
done
expect "targets side by side" "$(assure fuzz | grep -v 'see build')" \
    $'== fuzz/build\n== fuzz/one\n== fuzz/three\n== fuzz/two\n3 passed, 1 failed'
expect "one target alone" "$(FUZZ_TARGETS=two assure fuzz | grep -v 'see build')" $'== fuzz/build: passed before\n== fuzz/two\n1 passed, 1 failed'
# Stopped, it leaves no target behind.
rm "$programs"/*
printf '#!/bin/sh\necho $$ >build/target\nexec sleep 60\n' >"$programs/long_fuzz"
chmod +x "$programs/long_fuzz"
(cd "$SAMPLE" && PATH="$SAMPLE/stubs:$PATH" exec scripts/assure fuzz >/dev/null 2>&1) &
stopped=$!
for ((i = 0; i < 100; ++i)); do [ ! -s "$SAMPLE/build/target" ] || break; sleep 0.1; done
kill "$stopped"
wait "$stopped" || true
target=$(cat "$SAMPLE/build/target")
for ((i = 0; i < 50; ++i)); do kill -0 "$target" 2>/dev/null || break; sleep 0.1; done
expect "a target when all is stopped" "$(kill "$target" 2>/dev/null && echo runs)" ""
# What grows by half a unit a second is seen behind high samples, of which every eighth is one; what only has these is flat.
samples() { awk -v growth="$1" 'BEGIN { for (i = 0; i < 80; ++i) print 5 * i, 20000 + 5 * i * growth + (i % 8 == 7 ? 1024 : 0) }'; }
expect "the slope of what grows" "$(samples 0.5 | "$1/scripts/assurance/slope")" 1800
expect "the slope of what shrinks" "$(samples -0.5 | "$1/scripts/assurance/slope")" -1800
expect "the slope of what stays" "$(samples 0 | "$1/scripts/assurance/slope")" 0
expect "the slope of nothing" "$("$1/scripts/assurance/slope" </dev/null)" 0
expect "an unknown step" "$(assure none)" "assure: there is no step none; --list names them"

exit "$failures"
