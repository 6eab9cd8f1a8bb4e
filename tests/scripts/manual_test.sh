#!/usr/bin/env bash
# scripts/docs build: the manual has no warning and no dead link, a search in it finds, and a link that leads nowhere is
# refused. It needs doxygen, and takes it twice, so .ci/run runs this and not every scripts/test.
# usage: manual_test.sh PROJECT_DIR
set -eu -o pipefail
cd "$1"
scripts/docs build

# What has to be found in one search: a name or a word of a title, and where it leads, says the answer.
finds() {
    local word=$1 answer=$2 target
    target=$(grep -hiE "^ *\['[^']*',\['[^']*$word" build/doxygen/html/search/all_*.js |
        grep -oE "\.\./[A-Za-z0-9_]+\.html" | sort -u) || { echo "a search for $word finds nothing"; exit 1; }
    # shellcheck disable=SC2086
    (cd build/doxygen/html/search && sed 's/<[^>]*>//g' $target) 2>/dev/null | grep -F -- "$answer" >/dev/null ||
        { echo "a search for $word does not tell: $answer"; exit 1; }
}
finds 'Submit' 'and gives its answer'                       # how a body returns a value
finds 'HugeRequest' 'Asynchronous'                          # how a request is made a huge one
finds 'Reason files' 'A line is code = text'                # the format of reason files, and where they lie
finds 'Reason files' 'share/nbiutil/reasons'                # the library's own
finds 'ReasonOf' 'in the language that was loaded last'  # what a code means
finds 'GetDetail' 'The detail without the code in front'    # the detail of a failure
finds 'Attribute' 'The value of the first attribute'        # an attribute of an element
finds 'RecordingHost' 'nbiutil::testing'                    # a test of one's handlers
finds 'A host of one' 'beside itself ($ORIGIN)'             # a host of one's own
finds 'What goes wrong' 'A push after the stop'             # mistakes
finds 'TrySubmit' 'better to refuse'                        # back-pressure
finds 'StopToken' 'nobody wants its result any more'        # cancellation
finds 'WaitFor' 'Get() has nothing to wait for'             # a limit for a wait
finds 'Deadline' 'setting the machine'                      # deadlines
finds 'OnPool' 'with the request context'                   # coroutines
finds 'Strand' 'one after the other'                        # order per key

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
mkdir -p "$copy/scripts" "$copy/examples/northbound"
cp -aL README.md CONTRIBUTING.md CHANGELOG.md LICENSE docs include host "$copy"
cp -a scripts/docs "$copy/scripts"
cd "$copy"
echo '[a source](../host/CMakeLists.txt)' >>docs/recipes.md
if said=$(scripts/docs build 2>&1); then
    echo "a dead link is not noticed"
    exit 1
fi
grep -F 'leads nowhere' <<<"$said" || { printf '%s\n' "$said"; exit 1; }
