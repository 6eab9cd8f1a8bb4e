# shellcheck shell=bash
# Every target of FUZZ_TARGETS (all) with the sanitizers for FUZZ_SECONDS (600) each, one on each core at a time; what it learnt stays for its next run.

# Goes on from what an earlier run found, beside the inputs that are part of the project.
# It takes the place of its shell: who stops that, stops the target.
fuzz_long() {  # fuzz_long PROGRAM SECONDS
    local name corpus="$PROJECT_DIR/$ASSURE_DIR/corpus"
    name=$(basename "$1" _fuzz)
    mkdir -p "$corpus/$name"
    exec "$1" -max_total_time="$2" -timeout=20 -rss_limit_mb=2048 -artifact_prefix="$PROJECT_DIR/$ASSURE_DIR/$name-" \
        -print_final_stats=1 "$corpus/$name" "tests/fuzz/corpus/$name"
}

declare -A FUZZING=()  # processes under way by target

# Those that have not passed before.
fuzz_begin() {  # fuzz_begin PROGRAM...
    local program name
    for program in "$@"; do
        name=$(basename "$program" _fuzz)
        [ ! -e "$ASSURE_DIR/$SOURCES/fuzz/$name/passed" ] || continue
        fuzz_long "$program" "${FUZZ_SECONDS:-600}" >"$ASSURE_DIR/$name.log" 2>&1 </dev/null &
        FUZZING[$name]=$!
    done
}

fuzz_end() {  # fuzz_end NAME
    local status=0
    wait "${FUZZING[$1]}" || status=$?
    unset "FUZZING[$1]"
    cat "$ASSURE_DIR/$1.log"
    return $status
}

assure_fuzz() {
    local name program programs=() i
    part fuzz/build build_fuzzers
    for name in ${FUZZ_TARGETS:-}; do programs+=("build/fuzz/tests/fuzz/${name}_fuzz"); done
    [ ${#programs[@]} -gt 0 ] || programs=(build/fuzz/tests/fuzz/*_fuzz)
    trap 'kill "${FUZZING[@]}" 2>/dev/null; exit 130' INT TERM
    for ((i = 0; i < ${#programs[@]}; i += JOBS)); do
        fuzz_begin "${programs[@]:i:JOBS}"
        for program in "${programs[@]:i:JOBS}"; do
            part "fuzz/$(basename "$program" _fuzz)" fuzz_end "$(basename "$program" _fuzz)"
        done
    done
    trap - INT TERM
}
