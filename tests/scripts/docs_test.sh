#!/usr/bin/env bash
# scripts/docs: links that lead nowhere, pictures of another day.
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
