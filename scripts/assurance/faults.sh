# shellcheck shell=bash
# Every single fault of every scenario, as built and with AddressSanitizer and LeakSanitizer: FAULT_PRESETS (release asan).

FAULT_TESTS=(task/taskfaults context/contextfaults error/errorfaults security/securityfaults xml/xmlfaults util/utilfaults
    northbound/server/operations/requestfaults)

assure_faults() {
    local preset test
    for preset in ${FAULT_PRESETS:-release asan}; do
        part "faults/$preset-build" faults_build "$preset"
        for test in "${FAULT_TESTS[@]}"; do
            part "faults/$preset-$(basename "$test")" \
                env NBI_FAULTS_MOST=all "build/$preset/tests/${test}_test" --gtest_brief=1
        done
    done
}

faults_build() {
    local targets=("${FAULT_TESTS[@]##*/}")
    configure "$1" -DNBIUTIL_TESTS=ON -DNBIUTIL_EXAMPLES=ON && build "$1" "${targets[@]/%/_test}"
}
