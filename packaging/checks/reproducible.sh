#!/usr/bin/env bash
# The same source in another folder gives the same bytes. usage: reproducible.sh BUILD_DIR SOURCE_ARCHIVE SCRATCH
# BUILD_DIR is one build with the preset "release"; the other one is made from the archive below SCRATCH. A compiler's
# cache would hand out the results of the first, so the other has one of its own, where there is any.
set -eu
build=$1 archive=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch/another place/deeper"
tar -xf "$archive" -C "$scratch/another place/deeper"
source=$(echo "$scratch/another place/deeper"/*)
commit=$(sed -n 's/.*COMMIT = "\(.*\)";/\1/p' "$build/buildinfo/buildinfo.h")

export CCACHE_DIR=$scratch.ccache
cmake -S "$source" -B "$scratch/b" --preset release -G Ninja -DNBIUTIL_TESTS=OFF -DNBIUTIL_COMMIT="$commit" \
    >/dev/null
cmake --build "$scratch/b"
cmake --install "$build" --prefix "$scratch/one" >/dev/null
cmake --install "$scratch/b" --prefix "$scratch/two" >/dev/null
[ -n "$(find "$scratch/one" -name 'libnbiutil.so.*')" ] && [ -e "$scratch/one/sbin/nbi-server" ]
diff -r "$scratch/one" "$scratch/two"
if grep -rlF -e "$build" -e "$scratch" "$scratch/one" "$scratch/two"; then
    echo "these tell where they were built"
    exit 1
fi
echo "$(find "$scratch/one" -type f | wc -l) files, the same in both"
