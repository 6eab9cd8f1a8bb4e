# shellcheck shell=bash
# An example as a reader of its page has it: a copy out of this tree, built against the installed library. To be read by
# the test of the example, whose arguments are STEP PROJECT_DIR BUILD_DIR.
# shellcheck disable=SC2034 # the tests use them too
step=$1 source=$2 build=$3

# reader EXAMPLE FILE...: builds all programs of examples/EXAMPLE and ends, where that is the step. Else the step goes on in
# a folder of its own with copies of these files, and the programs are in ../build.
reader() {
    local example=$1 built=$build/$1
    shift
    if [ "$step" = build ]; then
        rm -rf "$built"
        cp -a "$source/examples/$example" "$built"
        "$CMAKE" -S "$built" -B "$built/build" -DCMAKE_PREFIX_PATH="$build/consumer/prefix" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror"
        "$CMAKE" --build "$built/build" --parallel 2
        exit
    fi
    rm -rf "${built:?}/$step"
    mkdir "$built/$step"
    cd "$built" && cp -a "$@" "$step" && cd "$step" || exit 1
}
