# shellcheck shell=bash
# The analyzer of clang over the tests too, which takes too long for every change.

assure_analyze() { part analyze/tests scripts/tidy --analyze-tests; }
