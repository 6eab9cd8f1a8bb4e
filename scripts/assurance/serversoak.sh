# shellcheck shell=bash
# The real server under load for SOAK_MINUTES (60), with collections that are cancelled, changes of its configuration, reloads.

assure_serversoak() {
    part serversoak/build serversoak_build
    part serversoak/run bash scripts/assurance/server-soak "${SOAK_MINUTES:-60}" build/release/examples/northbound
}

serversoak_build() { configure release -DNBIUTIL_EXAMPLES=ON && build release nbi-server nbi-client; }
