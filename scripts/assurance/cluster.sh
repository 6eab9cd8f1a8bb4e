# shellcheck shell=bash
# Servers that share a book, for CLUSTER_ROUNDS (100) rounds: servers killed, engines killed, crowds at both limits.

assure_cluster() {
    local program
    part cluster/build cluster_build
    for program in takeover engineaway sharedlimits; do
        part "cluster/$program" env NBI_CLUSTER_ROUNDS="${CLUSTER_ROUNDS:-100}" \
            "build/release/tests/northbound/cluster/${program}_test"
    done
}

cluster_build() {
    configure release -DNBIUTIL_TESTS=ON -DNBIUTIL_EXAMPLES=ON && build release takeover_test engineaway_test sharedlimits_test
}
