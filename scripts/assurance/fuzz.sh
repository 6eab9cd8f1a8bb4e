# shellcheck shell=bash
# Every fuzz target with the sanitizers for FUZZ_SECONDS (600) each; what a target learnt stays for its next run.

# Goes on from what an earlier run found, beside the inputs that are part of the project.
fuzz_long() {  # fuzz_long PROGRAM SECONDS
    local name corpus="$PROJECT_DIR/$ASSURE_DIR/corpus"
    name=$(basename "$1" _fuzz)
    mkdir -p "$corpus/$name"
    "$1" -max_total_time="$2" -timeout=20 -rss_limit_mb=2048 -artifact_prefix="$PROJECT_DIR/$ASSURE_DIR/$name-" \
        -print_final_stats=1 "$corpus/$name" "tests/fuzz/corpus/$name"
}

assure_fuzz() {
    local program
    part fuzz/build build_fuzzers
    for program in build/fuzz/tests/fuzz/*_fuzz; do
        part "fuzz/$(basename "$program" _fuzz)" fuzz_long "$program" "${FUZZ_SECONDS:-600}"
    done
}
