# shellcheck shell=bash
# Shared by the scripts of this project; sourced, not run. Needs bash.

PROJECT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
JOBS=$(nproc)
TEST_JOBS=$JOBS  # tests that run side by side
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

say() { printf '== %s\n' "$*"; }

# One clear line, and the end.
die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

packages_of() {
    local group
    for group in "$@"; do
        awk -v group="$group" '$1 == group { print $2 }' "$PROJECT_DIR/scripts/packages.txt"
    done
}

missing_packages() {
    local package
    for package in $(packages_of "$@"); do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || printf '%s ' "$package"
    done
}

# require_packages build test: installs what is missing of these groups; nothing happens when all is there.
require_packages() {
    command -v apt-get >/dev/null && command -v dpkg-query >/dev/null ||
        die "this script needs Debian 12 or a relative of it (apt-get); README.md says how to build elsewhere"
    local missing log as_root
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        as_root="sudo -n"
        sudo -n true 2>/dev/null || die "not root, and packages are missing; as root: apt-get install $missing"
    fi
    say "installing $missing"
    log=$(mktemp)
    # Without the lists of a fresh system the installation fails, with old ones it may do: one message for both.
    $as_root apt-get -o Acquire::http::Timeout=30 update >"$log" 2>&1 </dev/null
    # shellcheck disable=SC2086
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::http::Timeout=30 install -y \
        --no-install-recommends $missing >>"$log" 2>&1 </dev/null ||
        die "cannot install $missing(no network?); apt-get's words are in $log"
    rm -f "$log"
}

# configure PRESET [cmake arguments]; says something only when it fails.
configure() {
    local preset=$1 log generator
    shift
    # A folder that was configured by hand keeps its generator.
    generator=$(sed -n 's/^CMAKE_GENERATOR:INTERNAL=//p' "$PROJECT_DIR/build/$preset/CMakeCache.txt" 2>/dev/null)
    log=$(cd "$PROJECT_DIR" && cmake --preset "$preset" ${generator:+-G "$generator"} "$@" 2>&1 </dev/null) || {
        printf '%s\n' "$log"
        return 1
    }
}

# build PRESET [target...]
build() {
    local preset=$1
    shift
    cmake --build "$PROJECT_DIR/build/$preset" --parallel "$JOBS" ${1:+--target "$@"}
}

# build_shown PRESET [target...]: the same with a line per tenth of the way, and all that is no step of the build.
build_shown() {
    local line tenth=0 step='^\[([0-9]+)/([0-9]+)\]'
    build "$@" 2>&1 </dev/null | while IFS= read -r line; do
        if ! [[ $line =~ $step ]]; then
            [ "$line" = "ninja: no work to do." ] || printf '%s\n' "$line"
        elif [ $((BASH_REMATCH[1] * 10 / BASH_REMATCH[2])) -gt "$tenth" ]; then
            tenth=$((BASH_REMATCH[1] * 10 / BASH_REMATCH[2]))
            say "$1: $((tenth * 10)) % built"
        fi
    done
    return "${PIPESTATUS[0]}"
}

PASSED=0
FAILED=0
SKIPPED=0
UNSTEADY=0

# count PASSED FAILED SKIPPED: adds to the sums.
count() {
    PASSED=$((PASSED + $1))
    FAILED=$((FAILED + $2))
    SKIPPED=$((SKIPPED + ${3:-0}))
}

# Runs a command as one test of its own.
check() {
    local name=$1
    shift
    say "$name"
    if "$@"; then count 1 0; else
        say "FAILED: $name"
        count 0 1
    fi
}

SANITIZER_REPORT='(ERROR|WARNING): [A-Za-z]+Sanitizer|runtime error:'
MOST_UNSTEADY=3

# ctest_shown FOLDER LOG [ctest arguments]: shows what did not pass.
ctest_shown() {
    local folder=$1 log=$2
    shift 2
    ctest --test-dir "$folder" --output-on-failure "$@" </dev/null 2>&1 |
        tee "$log" | grep -vE '^ +Start +[0-9]+: |  Passed +[0-9.]+ sec$'
}

# "98% tests passed, 2 tests failed out of 130"; skipped ones are among the passed.
read_counts() { read -r failed total < <(sed -nE 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$1" | tail -n 1); }

# run_tests PRESET [ctest arguments]: runs its suite, shows what did not pass, and counts.
# A few that failed run once more, alone, since cores that are busy at the wrong moment can fail a test: what passes then is
# called unsteady, a defect of that test to be mended and none of the change. What a sanitizer has reported stands, however
# seldom it happens.
run_tests() {
    local folder="$PROJECT_DIR/build/$1" log="$PROJECT_DIR/build/$1/ctest.log" failed total skipped first
    shift
    ctest_shown "$folder" "$log" --parallel "$TEST_JOBS" "$@"
    read_counts "$log"
    if [ -z "${total:-}" ]; then
        say "FAILED: no test ran"
        count 0 1
        return
    fi
    skipped=$(grep -cE '^[[:space:]]+[0-9]+ - .* \(Skipped\)$' "$log")
    count $((total - failed - skipped)) 0 "$skipped"
    if [ "$failed" -gt 0 ] && [ "$failed" -le "$MOST_UNSTEADY" ] && ! grep -qE "$SANITIZER_REPORT" "$log"; then
        first=$failed
        say "again, alone: $failed failed"
        ctest_shown "$folder" "$log.again" --parallel 1 --rerun-failed "$@"
        read_counts "$log.again"
        failed=${failed:-$first}  # a second run without a result excuses nobody
        UNSTEADY=$((UNSTEADY + first - failed))
        count $((first - failed)) 0
    fi
    count 0 "$failed"
}

# suite PRESET: configures, builds and tests it. What does not build counts as one failure.
suite() {
    say "$1: build"
    if ! configure "$1" -DNBIUTIL_TESTS=ON -DNBIUTIL_EXAMPLES=ON || ! build_shown "$1"; then
        say "FAILED: $1 does not build"
        count 0 1
        return
    fi
    say "$1: tests"
    run_tests "$1"
}

build_fuzzers() { configure fuzz -DNBIUTIL_TESTS=OFF && build_shown fuzz fuzzers; }

# fuzz_target PROGRAM SECONDS: starts from the target's corpus; shows its output when it found something.
fuzz_target() {
    local name scratch status folder="$PROJECT_DIR/build/fuzz"
    name=$(basename "$1" _fuzz)
    scratch=$(mktemp -d)
    "$1" -max_total_time="$2" -timeout=20 -rss_limit_mb=2048 -artifact_prefix="$folder/" \
        "$scratch" "$PROJECT_DIR/tests/fuzz/corpus/$name" >"$folder/$name.log" 2>&1 </dev/null
    status=$?
    rm -rf "$scratch"
    [ $status -eq 0 ] || tail -n 60 "$folder/$name.log"
    return $status
}

# bench_once PROGRAM: one round of each measurement, to see that it runs.
bench_once() {
    local log status=0
    log=$(mktemp)
    NBI_BENCH_ONCE=yes "$1" >"$log" 2>&1 </dev/null || status=$?
    # A benchmark that measures nothing has not run.
    grep -q '[0-9]' "$log" || status=1
    [ $status -eq 0 ] || tail -n 60 "$log"
    rm -f "$log"
    return $status
}

STEPS=()

# Sets CPU to the seconds of processor time that all children so far have used. Not for $(...), whose children are others.
read_cpu() {
    local file
    file=$(mktemp)
    times >"$file"
    CPU=$(awk -F '[ms ]+' 'NR == 2 { printf "%d", $1 * 60 + $2 + $3 * 60 + $4 }' "$file")
    rm -f "$file"
}

# step NAME COMMAND...: runs it and notes how long it took.
step() {
    local name=$1 begin=$SECONDS cpu status=0
    shift
    read_cpu
    cpu=$CPU
    "$@" || status=$?
    read_cpu
    STEPS+=("$((SECONDS - begin)) $((CPU - cpu)) $name")
    return $status
}

# Each step's share of the time, the longest first; behind the minutes those of processor time.
shares() {
    printf '%s\n' "${STEPS[@]}" | sort -rn | awk '
        { seconds[NR] = $1; cpu[NR] = $2; all += $1; cpus += $2; sub(/^[0-9]+ [0-9]+ /, ""); name[NR] = $0 }
        function minutes(n) { return sprintf("%d:%02d", n / 60, n % 60) }
        END {
            printf "== %s minutes, %s of processor time\n", minutes(all), minutes(cpus)
            for (i = 1; i <= NR; ++i) {
                printf "%3.0f %% %6s %6s  %s\n", all ? 100 * seconds[i] / all : 0, minutes(seconds[i]), minutes(cpu[i]), name[i]
            }
        }'
}

# The last lines of every run. The status is 0 when something ran and nothing failed.
summary() {
    local skipped=
    [ "$UNSTEADY" -eq 0 ] || say "UNSTEADY: $UNSTEADY failed beside others and passed alone; see above"
    [ "$SKIPPED" -eq 0 ] || skipped=", $SKIPPED skipped"
    printf '%d passed, %d failed%s\n' "$PASSED" "$FAILED" "$skipped"
    [ "$FAILED" -eq 0 ] && [ "$PASSED" -gt 0 ]
}
