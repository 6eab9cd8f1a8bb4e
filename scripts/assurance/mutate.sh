# shellcheck shell=bash
# Changes the sources of each folder one place at a time and asks its tests: 90 % must be noticed, the rest have a reason.

assure_mutate() {
    local folder
    for folder in base log context error security util xml task; do part "mutate/$folder" scripts/mutate "$folder"; done
}
