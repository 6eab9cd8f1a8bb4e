#!/usr/bin/env bash
# Breaks each promise on purpose, in a scratch copy, and demands that its check refuses. By hand, when a check changes: it
# builds the library several times. Needs what "scripts/release --check" has left.
# usage: breaks.sh PROJECT_DIR SCRATCH [promises|contract|deliveries|folders]...     without a part: all
set -u
project=$1 scratch=$2
shift 2
work=$project/build/release-check/work
checks=$project/packaging/checks
copy=$scratch/copy
refused=0 missed=0
mkdir -p "$scratch"
rm -rf "$copy"
git clone -q "$project" "$copy" || exit 1

# refuses WHAT COMMAND...: the command has to fail.
refuses() {
    local what=$1
    shift
    if ("$@") >"$scratch/log" 2>&1; then
        printf 'NOT REFUSED  %s\n' "$what"
        missed=$((missed + 1))
    else
        printf 'refused      %s: %s\n' "$what" "$(grep -vE '^ *$' "$scratch/log" | tail -n 1 | cut -c 1-120)"
        refused=$((refused + 1))
    fi
}

# broken FILE SED: the copy with one file changed; a break that changes nothing is a mistake of this script.
broken() {
    git -C "$copy" checkout -q .
    sed -i -E "$2" "$copy/$1"
    [ -n "$(git -C "$copy" status --porcelain)" ] || { echo "$1: \"$2\" changes nothing"; exit 1; }
}

# tested TARGET NAME: builds one test program of the copy and runs what has this name. A copy that does not build does not
# count as refused.
configured=
tested() {
    [ -n "$configured" ] || cmake -S "$copy" -B "$scratch/dev" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DNBIUTIL_EXAMPLES=OFF >/dev/null ||
        { echo "cannot be configured"; exit 0; }
    configured=yes
    cmake --build "$scratch/dev" --target "$1" || { echo "does not build"; exit 0; }
    ctest --test-dir "$scratch/dev" --no-tests=error -R "$2" >"$scratch/ctest" 2>&1 && exit 0
    grep -E '^\s+[0-9]+ - ' "$scratch/ctest" | head -n 1
    exit 1
}

# library_of FOLDER [OPTION...]: builds the two libraries of the copy with debug information.
library_of() {
    local folder=$1
    shift
    cmake -S "$copy" -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-g -O1" -DNBIUTIL_TESTS=OFF \
        -DNBIUTIL_EXAMPLES=OFF "$@" >/dev/null && cmake --build "$folder" >/dev/null
}

# What tests hold.
promises() {
    broken include/nbiutil/errcode.h 's/0x41180009U/0x41180019U/'
    refuses "another code" tested processexception_test CodesHaveTheirFixedNumbers
    broken src/task/hugetask.cpp 's/\{MODULE, 221/{MODULE, 222/'
    refuses "another line number" tested hugetask_test HugeTask
    broken src/task/hugetask.cpp 's/  IsOverHTaskNum /  IsOverNumber /'
    refuses "another text" tested hugetask_test HugeTask
    broken include/nbiutil/nbitask.h \
        's/void Init\(\);/void Other();/;s/void Complete\(\);/void Init();/;s/void Other\(\);/void Complete();/'
    refuses "another order of slots" tested nbitask_test Slots
    broken include/nbiutil/user.h \
        's/std::string m_Pwd;/std::string m_Other;/;s/std::string m_IP;/std::string m_Pwd;/;s/std::string m_Other;/std::string m_IP;/'
    refuses "another order of fields" tested user_test 'UserTest|UserParaTest|TokenInfoTest'
}

# What the contract's list and types hold.
contract() {
    local check=$copy/packaging/checks/contract.sh
    git -C "$copy" checkout -q .
    library_of "$scratch/lib" && KEEP_TYPES=yes bash "$check" write "$scratch/lib" "$copy" ||
        { echo "the contract could not be kept" && missed=$((missed + 2)) && return; }
    git -C "$copy" -c user.name=breaks -c user.email=breaks add -A
    git -C "$copy" -c user.name=breaks -c user.email=breaks commit -q --allow-empty -m "kept"
    bash "$check" check "$scratch/lib" "$copy" >/dev/null || { echo "refused without a break"; exit 1; }
    broken include/nbiutil/zipfile.h 's/class NBI_EXPORT ZipFileInterface/class ZipFileInterface/'
    library_of "$scratch/lib" || exit 1
    refuses "a name that is gone" bash "$check" check "$scratch/lib" "$copy"
    broken include/nbiutil/user.h 's/^    std::string m_IP;/    std::string m_IP;\n    long m_nMore = 0;/'
    library_of "$scratch/lib" || exit 1
    refuses "a class that grew" bash "$check" check "$scratch/lib" "$copy"
}

# What is delivered beside the libraries, and how they are linked.
deliveries() {
    git -C "$copy" checkout -q .
    printf '// SPDX-License-%s\n' 'Identifier: LicenseRef-Other' >"$copy/src/base/foreign.h"
    refuses "a file of another licence" reuse --root "$copy" lint
    rm "$copy/src/base/foreign.h"

    broken packaging/manual/nbi-server.ini.5 '/It Cm OutputFile/d'
    refuses "a key without its manual" bash "$copy/tests/packaging/manual_test.sh" "$copy" "$project/build/release"

    broken packaging/nbi-server.service '/^(RestrictNamespaces|PrivateUsers|CapabilityBoundingSet|SystemCallFilter|PrivateDevices)=/d'
    refuses "a unit that leaves more open" bash "$checks/unit.sh" "$project" "$project/build/release" "$copy/packaging/nbi-server.service"

    broken packaging/nbi-server.service '/^ExecPaths=/s| /usr/bin/gzip||'
    refuses "a unit under which the server cannot pack" bash "$checks/unit.sh" "$project" "$project/build/release" "$copy/packaging/nbi-server.service"

    rm -rf "$scratch/debs" "$scratch/deb"
    mkdir "$scratch/debs"
    cp "$work"/packages/*.deb "$scratch/debs"
    local tools
    tools=$(echo "$scratch"/debs/nbiutil-tools_*.deb)
    dpkg-deb -R "$tools" "$scratch/deb" && sed -i 's/rm -rf/: &/' "$scratch/deb/DEBIAN/postrm" &&
        dpkg-deb -b "$scratch/deb" "$tools" >/dev/null || exit 1
    refuses "a package that leaves something behind" bash "$checks/clean_root.sh" "$scratch/debs" "$project"

    # A build tree like the one of the release, but for one library that was linked by somebody without a care.
    rm -rf "$scratch/plain"
    (cd "$project/build/release" && mkdir "$scratch/plain" &&
        cp -L --parents compile_commands.json host/standalone/*.so host/recording/*.so examples/northbound/nbi-{server,client} "$scratch/plain")
    bash "$checks/hardened.sh" "$project/build/release" || exit 1
    echo 'int Plain() { return 0; }' | c++ -x c++ -shared -fPIC -Wl,-z,norelro -o "$scratch/plain/libnbiutil.so" - || exit 1
    refuses "a library that is not hardened" bash "$checks/hardened.sh" "$scratch/plain"
}

folders() {
    broken cmake/Hardening.cmake '/^add_compile_options\("\$<\$<NOT/d'
    git -C "$copy" archive --prefix=nbiutil/ "$(git -C "$copy" -c user.name=b -c user.email=b stash create)" >"$scratch/paths.tar"
    refuses "a source that tells its folder" bash "$checks/reproducible.sh" "$project/build/release" "$scratch/paths.tar" "$scratch/else"
}

[ $# -gt 0 ] || set -- promises contract deliveries folders
for part in "$@"; do
    case $part in
    promises | contract | deliveries | folders) "$part" ;;
    *) echo "there is no part $part" && exit 1 ;;
    esac
done

printf '\n%d refused, %d not\n' "$refused" "$missed"
[ "$missed" -eq 0 ]
