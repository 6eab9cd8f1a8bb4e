#!/usr/bin/env bash
# The library as others meet it. usage: consumer_test.sh STEP PROJECT_DIR BUILD_DIR
set -eu
step=$1 source=$2 build=$3
work=$build/consumer
prefix=$work/prefix
mkdir -p "$work"

# block LANGUAGE: the one code block of that language in README.md that a user is told to copy.
block() {
    awk -v fence="\`\`\`$1" '$0 == fence { inside = 1; next } /^```/ { inside = 0 } inside' "$source/README.md"
}

# readme FOLDER: what a reader of README.md has after copying.
readme() {
    rm -rf "$1"
    mkdir -p "$1"
    block cpp >"$1/main.cpp"
    block ini >"$1/hello.ini"
    block cmake >"$1/CMakeLists.txt"
}

# says_hello FOLDER SAID: it ran in the folder, said this and did what README.md says.
says_hello() {
    [ "$2" = "hello from a worker" ] || { echo "said: $2"; exit 1; }
    [ -f "$1/hello.log" ] || { echo "no log file"; exit 1; }
}

# printed COMMAND PREFIX: the line of README.md that begins with the command, for a library installed there.
printed() { sed -n "/^$1 /s|/opt/nbiutil|$2|gp" "$source/README.md"; }

# marks HEADER...: the classes and functions that carry the export mark.
marks() {
    {
        grep -hoE '(class|struct) NBI_EXPORT [A-Za-z_]+' "$@" | awk '{ print $3 }'
        grep -hoE '^(\[\[nodiscard\]\] )?NBI_EXPORT [^(]*' "$@" | grep -oE '[A-Za-z0-9]+[^A-Za-z0-9 ]*$' | grep -oE '[A-Za-z0-9]+'
    } | sort -u
}

# Without what a debugger wants.
quick=(-DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0)

# take_objects FROM TO SUBFOLDER: the library's objects of one build for another, where it is a subfolder, which compiles
# the same sources in the same way.
take_objects() {
    local from to
    for from in "$1"/src/*/CMakeFiles/nbi_*.dir; do
        to=$2/$3${from#"$1"}
        diff "$from/flags.make" <(sed "s|^# Custom defines: $3/|# Custom defines: |" "$to/flags.make")
        cp "$from"/*.o "$to"
    done
}

libdir() { dirname "$(find "$prefix" -name 'libnbiutil.so')"; }

case $step in
install)
    rm -rf "$prefix"
    "$CMAKE" --install "$build" --prefix "$prefix"
    ;;
cmake)
    readme "$work/cmake"
    "$CMAKE" -S "$work/cmake" -B "$work/cmake/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_STANDARD=17
    "$CMAKE" --build "$work/cmake/build"
    says_hello "$work/cmake" "$(cd "$work/cmake" && ./build/hello)"
    # Elsewhere there is no configuration: one line and the exit code say so, nothing is aborted.
    mkdir -p "$work/elsewhere"
    cd "$work/elsewhere"
    status=0
    "$work/cmake/build/hello" >said 2>&1 || status=$?
    [ $status -eq 1 ] && [ "$(wc -l <said)" -eq 1 ] && grep -q '^hello.ini: ' said || { cat said; exit 1; }
    ;;
pkgconfig)
    readme "$work/pkgconfig"
    # Moved, to see that nothing points back to where it was installed.
    rm -rf "$work/moved"
    cp -a "$prefix" "$work/moved"
    line=$(printed c++ "$work/moved")
    says_hello "$work/pkgconfig" "$(cd "$work/pkgconfig" && bash -c "$line")"
    ;;
pages)
    # Every C++ block of the guide compiles, after the lines of a comment "compiled after" in front of it. Those that are
    # taken from files are compiled there.
    rm -rf "$work/pages"
    mkdir -p "$work/pages"
    find "$source/README.md" "$source/docs" -name '*.md' -exec awk -v to="$work/pages" '
        FNR == 1 { inside = 0; before = ""; taken = 0 }
        /^<!-- taken from / { taken = 1; next }
        taken && $0 == "```cpp" { next }
        taken && /^```/ { taken = 0; next }
        $0 == "<!-- compiled after" { collecting = 1; before = ""; next }
        collecting && $0 == "-->" { collecting = 0; next }
        collecting { before = before $0 "\n"; next }
        $0 == "```cpp" {
            inside = 1
            out = to "/block" ++n ".cpp"
            printf "// %s:%d\n%s", FILENAME, FNR, before >out
            before = ""
            next
        }
        /^ *```/ { inside = 0 }
        inside { print >out }' {} +
    ls "$work/pages/block1.cpp"
    for block in "$work/pages"/*.cpp; do
        "$CXX" -std=c++17 -fsyntax-only -Wall -Wextra -Werror -I"$prefix/include" -I"$source/examples/northbound" \
            "$block" || { head -n 1 "$block"; exit 1; }
    done
    ;;
make)
    readme "$work/make"
    cp "$source/tests/consumer/make/Makefile" "$work/make/"
    PKG_CONFIG_PATH=$(libdir)/pkgconfig make -C "$work/make"
    says_hello "$work/make" "$(cd "$work/make" && ./hello)"
    ;;
plugin)
    rm -rf "$work/plugin"
    "$CMAKE" -S "$source/tests/consumer/plugin" -B "$work/plugin" -DCMAKE_PREFIX_PATH="$prefix"
    "$CMAKE" --build "$work/plugin"
    printf '[host]\nroot = .\nlog_stderr = no\n' >"$work/plugin/host.ini"
    "$work/plugin/program" "$work/plugin/libplugin.so" "$work/plugin/host.ini"
    ;;
programs)
    # Moved, and its configuration is read-only: what the programs need they find beside themselves.
    rm -rf "$work/programs"
    cp -a "$prefix" "$work/programs"
    chmod -R a-w "$work/programs/etc"
    XDG_RUNTIME_DIR=$(mktemp -d)  # a socket's path is short
    export XDG_RUNTIME_DIR
    trap 'chmod -R u+w "$work/programs"; rm -rf "$XDG_RUNTIME_DIR"; kill "$server" 2>/dev/null || true' EXIT
    config=$work/programs/etc/nbiutil/nbi-server.ini
    before=$(cat "$config")
    "$work/programs/sbin/nbi-server" --ready-file "$work/programs/ready" &
    server=$!
    for _ in $(seq 300); do
        [ ! -e "$work/programs/ready" ] || break
        kill -0 $server || exit 1
        sleep 0.1
    done
    client() { "$work/programs/bin/nbi-client" "$@"; }
    client inventory | grep -q 'Received'
    client collect lo --interval 0.1 --duration 0.2 --quiet
    client config set HugeTaskLimit 5
    client stop
    wait "$server"
    [ "$(cat "$config")" = "$before" ] || { echo "the configuration has changed"; exit 1; }
    grep -qx 'HugeTaskLimit=5' "$work/programs/var/lib/nbiutil/items.ini"
    [ -n "$(find "$work/programs/var/lib/nbiutil/collections" -name '*.csv')" ]
    [ -s "$work/programs/var/log/nbiutil/nbi-server.log" ]
    # The client has nothing but its own installation, and the reasons in both languages.
    [ "$(client --lang en reason 0x4E420001)" != "$(client --lang zh reason 0x4E420001)" ]
    ;;
demo)
    # As a reader of an installation has it: the example's folder alone, among the documents.
    examples=$work/documents/examples
    rm -rf "$work/documents"
    mkdir -p "$examples"
    cp -a "$source/examples/northbound" "$examples/"
    "$examples/northbound/demo.sh" "$prefix" >"$work/demo.said" 2>&1 || { cat "$work/demo.said"; exit 1; }
    grep -q 'Everything was as told' "$work/demo.said"
    if "$examples/northbound/demo.sh" "$work/documents" >"$work/demo.said" 2>&1; then exit 1; fi
    grep -q 'neither a build directory of this project nor an installation' "$work/demo.said"
    ;;
symbols)
    library=$(libdir)/libnbiutil.so
    host=$(libdir)/libnbihost_standalone.so
    readelf -d "$library" | grep -q 'SONAME.*\[libnbiutil\.so\.1\]'
    readelf -d "$host" | grep -q 'SONAME.*\[libnbihost_standalone\.so\.1\]'
    if readelf -d "$host" | grep NEEDED | grep -q nbiutil; then
        echo "the host links the library"
        exit 1
    fi

    # Every name shown belongs to a class or function that carries the export mark in a public header.
    marks "$prefix"/include/nbiutil/*.h >"$work/marked"
    nm -D --defined-only -C "$library" | cut -c 20- | awk '
        match($0, /NS_UTIL::[A-Za-z0-9_]+/) { print substr($0, RSTART + 9, RLENGTH - 9); next } { print }' |
        sort -u >"$work/shown"
    [ -s "$work/shown" ]
    if comm -13 "$work/marked" "$work/shown" | grep .; then
        echo "shown, and carries no export mark"
        exit 1
    fi
    # What is marked is shown: all of each header that has a source, but for the interface that is no more than one.
    for header in "$prefix"/include/nbiutil/*.h; do
        [ -z "$(find "$source/src" -name "$(basename "$header" .h).cpp")" ] || marks "$header"
    done | sort -u | grep -vx Functor >"$work/compiled"
    if comm -23 "$work/compiled" "$work/shown" | grep .; then
        echo "carries the export mark, and is not shown"
        exit 1
    fi

    # Operations that were added to classes which were there before: who uses them, finds them.
    nm -D --defined-only -C "$library" | cut -c 20- | sed 's/\[abi:[a-z0-9]*\]//' >"$work/operations"
    while read -r added; do
        grep -qF "NS_UTIL::$added(" "$work/operations" || { echo "not shown: $added"; exit 1; }
    done <<'ADDED'
LocalRsaKeyMgr::DecryptByLocalRsaKey
LocalRsaKeyMgr::GetLocalRsaPublicKeyFingerprint
RsaAlgorithm::CheckPublicKey
ADDED

    # Nothing of the libraries below the host shows through.
    if nm -D --defined-only -C "$host" | cut -c 20- |
        grep -vE 'NS_BUNDLEMGR1::|NS_LOG_SERVICE1::|nbihost::|tavoAESCipher::|__SetDirty|^(memcpy|memset|strncpy|snprintf)_s$'; then
        echo "shown, and none of the host's own"
        exit 1
    fi

    # What the library takes from its host, the host shows.
    nm -D --undefined-only "$library" | awk '{ print $2 }' |
        grep -E 'NS_BUNDLEMGR1|NS_LOG_SERVICE1|tavoAESCipher|SetDirty|_s$' | sort -u >"$work/taken"
    [ -s "$work/taken" ]
    if nm -D --defined-only "$host" | awk '{ print $3 }' | sort -u | comm -13 - "$work/taken" | grep .; then
        echo "taken from the host, which does not show it"
        exit 1
    fi
    ;;
binding)
    # Bound when they are loaded, and then read-only: a resolver that runs later leaves secrets on the stack.
    for library in "$(libdir)/libnbiutil.so" "$(libdir)/libnbihost_standalone.so"; do
        readelf -dW "$library" >"$work/dynamic"
        readelf -lW "$library" >"$work/segments"
        grep -q '(FLAGS_1).*NOW' "$work/dynamic" || { echo "$library: not bound when it is loaded"; exit 1; }
        grep -q 'GNU_RELRO' "$work/segments" || { echo "$library: writable after it is bound"; exit 1; }
    done
    # Threads that have used the library run its code when they end, also when a plug-in has closed it meanwhile.
    readelf -dW "$(libdir)/libnbiutil.so" | grep -q '(FLAGS_1).*NODELETE' || { echo "may be unloaded"; exit 1; }
    ;;
otherhost)
    # The library is pointed at a host that came as a package; no line of it changes.
    # It is the one of docs/recipes/host.md.
    rm -rf "$work/myhost" "$work/otherprefix"
    cp -a "$source/examples/recipes/host" "$work/myhost"
    "$CMAKE" -S "$work/myhost" -B "$work/myhost/build" -DNBIUTIL_SOURCE_DIR="$source" \
        -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror"
    "$CMAKE" --build "$work/myhost/build"
    "$CMAKE" --install "$work/myhost/build" --prefix "$work/otherprefix"
    "$CMAKE" -G 'Unix Makefiles' -S "$source" -B "$work/otherhost" "${quick[@]}" -DNBIUTIL_TESTS=OFF \
        -DNBIUTIL_HOST=myhost::myhost -DCMAKE_PREFIX_PATH="$work/otherprefix"
    "$CMAKE" --build "$work/otherhost" --parallel 2
    readelf -d "$work/otherhost/libnbiutil.so" | grep NEEDED | grep myhost
    if readelf -d "$work/otherhost/libnbiutil.so" | grep NEEDED | grep standalone; then
        echo "still linked with the default host"
        exit 1
    fi
    "$CMAKE" --install "$work/otherhost" --prefix "$work/otherprefix"
    [ ! -e "$work/otherprefix/lib/libnbihost_standalone.so" ]
    "$CMAKE" -S "$work/myhost/program" -B "$work/myhost/program/build" -DCMAKE_PREFIX_PATH="$work/otherprefix"
    "$CMAKE" --build "$work/myhost/program/build"
    said=$(TaskMgrMaxThreadNum=3 "$work/myhost/program/build/program" 2>"$work/myhost/log")
    [ "$said" = $'hello from a worker\n3 workers' ] || { echo "said: $said"; exit 1; }
    grep -q '^nbitaskmgr:.* pTask is NULL' "$work/myhost/log" || { cat "$work/myhost/log"; exit 1; }
    ;;
subproject)
    # The library is a part of a larger project, on a host of that project's.
    rm -rf "$work/subproject" "$work/subprefix"
    "$CMAKE" -G 'Unix Makefiles' -S "$source/tests/consumer/subproject" -B "$work/subproject" "${quick[@]}" \
        -DNBIUTIL_SOURCE_DIR="$source"
    for part in TESTS EXAMPLES; do
        grep -x "NBIUTIL_$part:BOOL=OFF" "$work/subproject/CMakeCache.txt"
    done
    take_objects "$work/otherhost" "$work/subproject" nbiutil
    "$CMAKE" --build "$work/subproject" --parallel 2
    readelf -d "$work/subproject/nbiutil/libnbiutil.so" | grep NEEDED | grep myhost
    [ "$(TaskMgrMaxThreadNum=3 "$work/subproject/program" 2>/dev/null)" = $'hello from a worker\n3 workers' ]
    "$CMAKE" --install "$work/subproject" --prefix "$work/subprefix"
    [ -n "$(find "$work/subprefix" -name nbiutilTargets.cmake)" ]
    if grep -r myhost "$work/subprefix" --include='*.cmake'; then
        echo "whoever finds the library looks for a target of the project that it was built in"
        exit 1
    fi
    ;;
flags)
    # flags_of FOLDER ARGUMENT...: how the library's own sources are compiled.
    flags_of() {
        local folder=$work/$1
        shift
        rm -rf "$folder"
        "$CMAKE" -S "$source" -B "$folder" -DNBIUTIL_TESTS=OFF -DNBIUTIL_EXAMPLES=OFF \
            -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "$@" >"$folder.log"
        grep '"command"' "$folder/compile_commands.json" | grep hugetask
    }
    flags_of flags-default | grep -e '-O2 -DNDEBUG'
    flags_of flags-given -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O1 -g1" >"$work/flags"
    grep -e '-O1 -g1' "$work/flags"
    if grep -e '-O2' "$work/flags"; then
        echo "flags that were given are overwritten"
        exit 1
    fi
    ;;
*)
    echo "unknown step $step"
    exit 1
    ;;
esac
