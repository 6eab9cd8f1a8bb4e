# shellcheck shell=bash
# SCHEDULES (20000) orders of steps of each scenario on descriptors, queues and a small pool.

assure_schedules() {
    part schedules/build schedules_build
    part schedules/run env NBI_SCHEDULES="${SCHEDULES:-20000}" build/release/tests/task/schedules_test
}

schedules_build() { configure release -DNBIUTIL_TESTS=ON && build release schedules_test; }
