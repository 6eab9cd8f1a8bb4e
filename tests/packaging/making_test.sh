#!/usr/bin/env bash
# The parts that a release is made of. usage: making_test.sh PROJECT_DIR BUILD_DIR
# Loaded as scripts/release loads them, from a copy whose change log is this test's.
set -eu
source=$1 build=$2
command -v dpkg-query >/dev/null || { echo "not a system of packages"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/copy/scripts"
cp "$source/scripts/lib.sh" "$scratch/copy/scripts/"
cp "$source/CMakeLists.txt" "$scratch/copy/"
printf '# Changes\n\n## 2.0.0\n\nSecond.\n\n- one\n- two\n\n## 1.0.0\n\nFirst.\n' >"$scratch/copy/CHANGELOG.md"
# shellcheck source=scripts/lib.sh
. "$scratch/copy/scripts/lib.sh"
# shellcheck source=packaging/making.sh
. "$source/packaging/making.sh"

fail() {
    echo "$*"
    exit 1
}

release_notes "$scratch/notes"
grep -qx -- "- two" "$scratch/notes" || fail "the newest part is missing"
if grep -q First "$scratch/notes"; then fail "an older part is there"; fi
printf '# Changes\n' >"$scratch/copy/CHANGELOG.md"
if release_notes "$scratch/notes"; then fail "notes without a text"; fi

mkdir "$scratch/made"
echo a >"$scratch/made/a file"
echo b >"$scratch/made/b"
hashes "$scratch/made"
(cd "$scratch/made" && sha256sum --check --quiet SHA256SUMS) || fail "the hashes are not right"
[ "$(wc -l <"$scratch/made/SHA256SUMS")" -eq 2 ] || fail "not one line for each file"
hashes "$scratch/made"
[ "$(wc -l <"$scratch/made/SHA256SUMS")" -eq 2 ] || fail "a second time the list holds itself"

# What the programs of the build are linked with, from the packages of this machine.
git() { echo 2026-01-02T03:04:05+00:00; }
bill_of_materials "$build" "$scratch/bill" || fail "no bill"
for soname in $(libraries_of "$build/libnbiutil.so"); do
    grep -qx "PackageFileName: $soname" "$scratch/bill" || fail "not in the bill: $soname"
done
if libraries_of "$build/examples/northbound/nbi-server" | grep -q nbi; then fail "the bill has our own libraries"; fi
ssl=$(dpkg-query -W -f '${Version}' libssl3)
grep -A 2 -x "PackageName: libssl3" "$scratch/bill" | grep -qx "PackageVersion: $ssl" || fail "not the version that is installed"
[ "$(grep '^SPDXID' "$scratch/bill" | sort | uniq -d)" = "" ] || fail "an identifier stands there twice"
if bill_entry no-such-package file DYNAMIC_LINK 2>/dev/null; then fail "a package that nobody has"; fi
