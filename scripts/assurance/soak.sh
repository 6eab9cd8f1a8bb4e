# shellcheck shell=bash
# SOAK_TASKS (20000000) tasks through the pools, a tenth under each sanitizer; the server under load for SOAK_MINUTES (60).

assure_soak() {
    local preset tasks=${SOAK_TASKS:-20000000}
    for preset in release asan tsan; do
        part "soak/$preset-build" soak_build "$preset"
        part "soak/$preset" env NBI_SOAK_TASKS="$tasks" "build/$preset/tests/task/soak_test"
        [ "$preset" != release ] || tasks=$((tasks / 10))
    done
    part soak/server-build soak_server_build
    part soak/server bash scripts/assurance/server-soak "${SOAK_MINUTES:-60}" build/release/examples/northbound
}

soak_server_build() { configure release -DNBIUTIL_EXAMPLES=ON && build release nbi-server nbi-client; }
soak_build() { configure "$1" -DNBIUTIL_TESTS=ON && build "$1" soak_test; }
