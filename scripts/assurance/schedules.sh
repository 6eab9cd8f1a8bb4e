# shellcheck shell=bash
# SCHEDULES (20000) orders of steps of each scenario on descriptors, queues and a small pool.

assure_schedules() {
    part schedules/build schedules_build
    part schedules/run schedules_run "${SCHEDULES:-20000}"
}

schedules_build() { configure release -DNBIUTIL_TESTS=ON && build release schedules_test; }
schedules_run() {
    echo "orders: $1"
    NBI_SCHEDULES=$1 build/release/tests/task/schedules_test
}
