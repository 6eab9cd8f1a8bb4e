#!/usr/bin/env bash
# What the libraries promise to programs that are linked with them, held against what was kept.
# usage: contract.sh check|write BUILD_DIR PROJECT_DIR [LIST]
# packaging/contract/exported-symbols.txt has every exported name with the version that it came with; the .abi.xz files there
# have the types behind them. While there are none of them, changes are listed and not refused. "write" keeps the names as
# they are (to LIST, if given), and the types where there are such files already or KEEP_TYPES=yes is set. The types need a
# build with debug information.
set -eu
action=$1 build=$2 source=$3
export LC_ALL=C
kept=$source/packaging/contract
list=$kept/exported-symbols.txt
version=$(sed -nE 's/^project\(nbiutil VERSION ([0-9.]+) .*/\1/p' "$source/CMakeLists.txt")
declare -A library=([nbiutil]=libnbiutil.so.1 [nbihost_standalone]=libnbihost_standalone.so.1
    [nbiutil_testing]=libnbiutil_testing.so.1)
declare -A headers=([nbiutil]=include/nbiutil [nbihost_standalone]=host/include/nbihost
    [nbiutil_testing]=host/include/nbihost)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

file_of() { find "$build" -name "${library[$1]}" -not -path '*/consumer/*' | head -n 1; }

# names NAME: "soname symbol" of what the library exports.
names() { nm -D --defined-only --format=posix "$(file_of "$1")" | awk -v so="${library[$1]}" '{ print so, $1 }'; }

# types NAME FILE: what a program sees of the library's types.
types() {
    abidw --no-show-locs --no-corpus-path --no-comp-dir-path --headers-dir "$source/${headers[$1]}" \
        --drop-private-types --out-file "$2" "$(file_of "$1")"
}

now=$scratch/now then=$scratch/then
for one in "${!library[@]}"; do names "$one"; done | sort >"$now"
[ -s "$now" ] || { echo "no library in $build"; exit 1; }
grep -v '^#' "$list" 2>/dev/null | awk '{ print $1, $2 }' | sort >"$then" || true

if [ "$action" = write ]; then
    mkdir -p "$kept"
    {
        echo "# library, exported name, and the version of nbiutil that it came with; written by packaging/checks/contract.sh"
        while read -r so name; do
            since=$(awk -v so="$so" -v name="$name" '$1 == so && $2 == name { print $3 }' "$list" 2>/dev/null || true)
            echo "$so $name ${since:-$version}"
        done <"$now"
    } >"$scratch/list"
    cp "$scratch/list" "${4:-$list}"
    [ -z "${4:-}" ] || exit 0
    for one in "${!library[@]}"; do
        if [ -e "$kept/$one.abi.xz" ] || [ "${KEEP_TYPES:-}" = yes ]; then
            types "$one" "$scratch/now.abi"
            xz -9 -c "$scratch/now.abi" >"$kept/$one.abi.xz"
        fi
    done
    exit
fi

changed=
echo "-- exported names: $(wc -l <"$now")"
if ! diff <(c++filt <"$then") <(c++filt <"$now") >"$scratch/diff"; then
    echo "< is kept and no longer there, > is there and not kept:"
    cat "$scratch/diff"
    changed=yes
fi
frozen=
for one in "${!library[@]}"; do
    [ -e "$kept/$one.abi.xz" ] || continue
    frozen=yes
    xz -dc "$kept/$one.abi.xz" >"$scratch/kept.abi"
    echo "-- types of ${library[$one]}"
    # New names are told above; whatever else differs may break a program.
    types "$one" "$scratch/now.abi"
    abidiff --no-added-syms --drop-private-types "$scratch/kept.abi" "$scratch/now.abi" || changed=yes
done
[ -n "$changed" ] || exit 0
[ -z "$frozen" ] || { echo "the contract is frozen: docs/contract.md says what may change, and how"; exit 1; }
echo "the types are not kept yet: changes are listed, not refused"
