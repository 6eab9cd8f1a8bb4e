#!/usr/bin/env bash
# What --version tells of both programs. usage: version_test.sh PROJECT_DIR BUILD_DIR
set -eu
source=$1 build=$2
version=$(sed -nE 's/^project\(nbiutil VERSION ([0-9.]+) .*/\1/p' "$source/CMakeLists.txt")
type=$(sed -n 's/^CMAKE_BUILD_TYPE:STRING=//p' "$build/CMakeCache.txt")
hardened=$(sed -n 's/^NBIUTIL_HARDENED:BOOL=//p' "$build/CMakeCache.txt")

for program in nbi-server nbi-client; do
    told=$("$build/examples/northbound/$program" --version)
    grep -qE "^$program $version \(commit ([0-9a-f]{12}(\+changes)?|unknown)\)$" <<<"$told" || { echo "$told"; exit 1; }
    grep -q ", $type" <<<"$told" || { echo "no build type: $told"; exit 1; }
    [ "$hardened" != ON ] || grep -q ", hardened" <<<"$told" || { echo "not told that it is hardened: $told"; exit 1; }
done

# What is given is told, also where git has its own opinion.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
header() {
    cmake -D SOURCE_DIR="$1" -D HEADER="$scratch/buildinfo.h" -D VERSION=1 -D COMMIT="$2" -D OPTIONS= \
        -P "$source/cmake/BuildInfo.cmake"
    sed -n 's/.*COMMIT = "\(.*\)";/\1/p' "$scratch/buildinfo.h"
}
[ "$(header "$source" given)" = given ] || { echo "a given commit is not told"; exit 1; }
# In an archive the commit stands in a file; without git and archive it is unknown.
mkdir -p "$scratch/archive/cmake"
cp "$source/cmake/buildinfo.h.in" "$scratch/archive/cmake/"
echo 0123456789abcdef0123456789abcdef01234567 >"$scratch/archive/cmake/commit.txt"
[ "$(header "$scratch/archive" '')" = 0123456789ab ] || { echo "the commit of an archive is not told"; exit 1; }
cp "$source/cmake/commit.txt" "$scratch/archive/cmake/"
export GIT_CEILING_DIRECTORIES=$scratch
grep -q Format "$source/cmake/commit.txt" || exit 0  # the source is an archive itself
[ "$(header "$scratch/archive" '')" = unknown ] || { echo "a commit from nowhere"; exit 1; }
