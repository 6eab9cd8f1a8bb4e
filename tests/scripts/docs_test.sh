#!/usr/bin/env bash
# scripts/docs: links that lead nowhere, pictures of another day, and the manual where there is doxygen.
# usage: docs_test.sh PROJECT_DIR
set -eu -o pipefail
cd "$1"
scripts/docs links
scripts/docs current

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
mkdir "$copy/scripts"
cp -aL README.md CONTRIBUTING.md CHANGELOG.md LICENSE docs include host "$copy"
cp -a scripts/docs scripts/packages.txt "$copy/scripts"
mkdir -p "$copy/examples/northbound"
cd "$copy"

# refuses WORD COMMAND...: it fails, and says the word.
refuses() {
    local word=$1 said
    shift
    if said=$("$@" 2>&1); then
        echo "not noticed: $word"
        exit 1
    fi
    grep -qF -- "$word" <<<"$said" || { printf 'said: %s\nwanted: %s\n' "$said" "$word"; exit 1; }
}

scripts/docs links
for dead in gone.md ../gone.md northbound.md#no-such-place '#no-such-place'; do
    printf 'See [this](%s), and `[that](nowhere.md)`.\n\n```\n[code](nowhere.md)\n```\n' "$dead" >docs/dead.md
    refuses "docs/dead.md: $dead leads nowhere" scripts/docs links
done
printf '# A place\n\n[here](#a-place) [there](northbound.md#adding-an-operation)\n' >docs/dead.md
scripts/docs links
rm docs/dead.md

# With Graphviz and without, a change of the source is noticed; with it, one of the picture.
sed -i 's/"push"/"PUSH"/' docs/pool.dot
refuses 'docs/pool.svg is not what docs/pool.dot says' scripts/docs current
if command -v dot >/dev/null; then
    scripts/docs pictures
    scripts/docs current
    sed -i 's/PUSH<\/text>/PULL<\/text>/' docs/pool.svg
    refuses 'docs/pool.svg is not what docs/pool.dot says' scripts/docs current
    scripts/docs pictures
fi

command -v doxygen >/dev/null || exit 0
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

echo '[a source](../host/CMakeLists.txt)' >>docs/recipes.md
scripts/docs links
refuses 'leads nowhere' scripts/docs build
