# shellcheck shell=bash
# Which lines and branches the tests run: at least 97 % and 90 % of src/, 95 % and 85 % of host/.

# Branches on which an exception would leave are not counted: nearly every call has one. Nor is what the tests do not run: the
# sources compiled once more with probes, which would also hide which branches are those of exceptions.
coverage_of() {  # coverage_of FOLDER LINES BRANCHES
    gcovr --root . --filter "$1/" --exclude-throw-branches --exclude-unreachable-branches \
        --exclude-directories '.*/nbiutil_probed\.dir' --sort-uncovered --print-summary \
        --fail-under-line "$2" --fail-under-branch "$3" build/coverage
}

coverage_run() {
    configure coverage && build coverage || return 1
    find build/coverage -name '*.gcda' -delete
    ctest --test-dir build/coverage --parallel "$JOBS" --output-on-failure --label-exclude '^(consumer|scripts)$'
}

assure_coverage() {
    part coverage/tests coverage_run
    part coverage/src coverage_of src 97 90
    part coverage/host coverage_of host 95 85
}
