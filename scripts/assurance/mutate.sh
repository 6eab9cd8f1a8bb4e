# shellcheck shell=bash
# Changes the sources of MUTATE_FOLDERS (all) one place at a time and asks their tests: 90 % must be noticed, the rest have a reason.

assure_mutate() {
    local folder folders
    read -ra folders <<<"${MUTATE_FOLDERS:-base log context error security util xml task}"
    for folder in "${folders[@]}"; do part "mutate/$folder" scripts/mutate "$folder"; done
}
