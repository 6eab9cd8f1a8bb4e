#!/usr/bin/env bash
# Every path of a source that the guide names is there. usage: paths_test.sh PROJECT_DIR
cd "$1" || exit 1
status=0
while read -r page path; do
    # NAME stands for a name, uptime for an operation that a reader adds; a page about the example starts at its folder.
    [[ $path != *NAME* && $path != *uptime* ]] || continue
    [ -e "$path" ] || [ -e "examples/northbound/$path" ] || [ -e "$path.cpp" ] || { echo "$page: no $path"; status=1; }
done < <(grep -roE '`(src|include|host|examples|tests|docs|scripts|bench|cmake|server|client|shared)/[A-Za-z0-9_./-]+`' \
    README.md CONTRIBUTING.md docs | tr -d '`' | sed 's/:/ /' | sort -u)
exit $status
