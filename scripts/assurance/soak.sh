# shellcheck shell=bash
# The soak tests of the pools: SOAK_TASKS (20000000) tasks as built, a tenth of them under each sanitizer.

assure_soak() {
    local preset tasks=${SOAK_TASKS:-20000000}
    for preset in release asan tsan; do
        part "soak/$preset-build" soak_build "$preset"
        part "soak/$preset" env NBI_SOAK_TASKS="$tasks" "build/$preset/tests/task/soak_test"
        [ "$preset" != release ] || tasks=$((tasks / 10))
    done
}

soak_build() { configure "$1" -DNBIUTIL_TESTS=ON && build "$1" soak_test; }
