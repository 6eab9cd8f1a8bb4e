# shellcheck shell=bash
# The analyzer of clang over the tests too, which takes too long for every change.

# g++ 12's -fanalyzer is no help: in these sources it takes iterators and lambdas of the standard library for values that
# nobody has set.

assure_analyze() {
    part analyze/tests scripts/tidy --analyze-tests
}
