# shellcheck shell=bash
# Shared by the scripts of this project; sourced, not run. Needs bash.

PROJECT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
JOBS=$(nproc)
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
    local preset=$1 log
    shift
    # A folder that was configured by hand keeps its generator.
    [ -f "$PROJECT_DIR/build/$preset/CMakeCache.txt" ] || set -- -G Ninja "$@"
    log=$(cd "$PROJECT_DIR" && cmake --preset "$preset" "$@" 2>&1 </dev/null) || {
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

PASSED=0
FAILED=0
SKIPPED=0

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

# run_tests PRESET: runs its whole suite, shows what did not pass, and counts.
run_tests() {
    local log="$PROJECT_DIR/build/$1/ctest.log" failed total skipped
    ctest --test-dir "$PROJECT_DIR/build/$1" --parallel "$JOBS" --output-on-failure </dev/null 2>&1 |
        tee "$log" | grep -vE '^ +Start +[0-9]+: |  Passed +[0-9.]+ sec$'
    # "98% tests passed, 2 tests failed out of 130"; skipped ones are among the passed.
    read -r failed total < <(sed -nE 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$log" | tail -n 1)
    if [ -z "${total:-}" ]; then
        say "FAILED: no test ran"
        count 0 1
        return
    fi
    skipped=$(grep -cE '^[[:space:]]+[0-9]+ - .* \(Skipped\)$' "$log")
    count $((total - failed - skipped)) "$failed" "$skipped"
}

# suite PRESET: configures, builds and tests it. What does not build counts as one failure.
suite() {
    say "$1: build"
    if ! configure "$1" || ! build "$1"; then
        say "FAILED: $1 does not build"
        count 0 1
        return
    fi
    say "$1: tests"
    run_tests "$1"
}

# The last line of every run. The status is 0 when something ran and nothing failed.
summary() {
    local skipped=
    [ "$SKIPPED" -eq 0 ] || skipped=", $SKIPPED skipped"
    printf '%d passed, %d failed%s\n' "$PASSED" "$FAILED" "$skipped"
    [ "$FAILED" -eq 0 ] && [ "$PASSED" -gt 0 ]
}
