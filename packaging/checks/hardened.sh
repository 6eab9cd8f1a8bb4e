#!/usr/bin/env bash
# Libraries and programs have the protections that a hardened build gives. usage: hardened.sh BUILD_DIR
set -u
build=$1
failed=

# demand FILE WHAT PATTERN COMMAND...: a line that the command prints matches.
demand() {
    local file=$1 what=$2 pattern=$3
    shift 3
    "$@" "$file" 2>/dev/null | grep -qE "$pattern" || { echo "$file: no $what" && failed=yes; }
}

for file in "$build/libnbiutil.so" "$build/host/standalone/libnbihost_standalone.so" \
    "$build/host/recording/libnbiutil_testing.so" \
    "$build/examples/northbound/nbi-server" "$build/examples/northbound/nbi-client"; do
    [ -e "$file" ] || { echo "$file is missing"; exit 1; }
    demand "$file" "position independence" 'Type: +DYN' readelf -h
    demand "$file" "read-only relocations" 'GNU_RELRO' readelf -lW
    demand "$file" "binding at load time" 'FLAGS_1.*NOW' readelf -dW
    demand "$file" "stack without execution" 'GNU_STACK.* RW ' readelf -lW
    demand "$file" "stack protector" '__stack_chk_fail' nm -D --undefined-only
    demand "$file" "assertions of the C++ library" '__glibcxx_assert_fail' nm -D --undefined-only
    # The machine's mark for valid targets of jumps. The note that would tell the kernel is missing here, since the start
    # files of the distribution do not have it.
    [ "$(uname -m)" != x86_64 ] || demand "$file" "marks of control flow" 'endbr64' objdump -d --no-show-raw-insn
done

# Names of the C library's checked calls. That their level is 3, the compiler was told; see below.
demand "$build/libnbiutil.so" "checks of the C library" '__(printf|fprintf|realpath|read|memcpy|explicit_bzero|vsnprintf)_chk' nm -D --undefined-only

# What leaves no trace to look for, the compiler was told.
for flag in -fstack-clash-protection -D_FORTIFY_SOURCE=3 -fstack-protector-strong -D_GLIBCXX_ASSERTIONS; do
    without=$(grep -E '^ +"command"' "$build/compile_commands.json" | grep -E '/(src|host|examples)/' | grep -v tests/ |
        grep -vc -e "$flag" || true)
    [ "$without" -eq 0 ] || { echo "$without sources were compiled without $flag" && failed=yes; }
done
[ -z "$failed" ]
