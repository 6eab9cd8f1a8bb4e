#!/usr/bin/env bash
# The shared library on other expats than the installed one. usage: sharedexpat_test.sh STEP PROGRAM WORK_DIR
set -eu
step=$1 program=$2 work=$3/$1
rm -rf "$work"
mkdir -p "$work"

found() { ldd "$program" | awk '$1 == "libexpat.so.1" { print $3 }'; }

# on FOLDER: the program's tests pass with the expat that stands there.
on() {
    [ "$(LD_LIBRARY_PATH=$1 found)" = "$1/libexpat.so.1" ] || { echo "$1 is not used"; exit 1; }
    LD_LIBRARY_PATH=$1 "$program" --gtest_brief=1
}

case $step in
withoutswitch)
    # Another name of the same length and, for the loader's table, of the same hash: the program still finds it.
    LC_ALL=C sed 's/XML_SetReparseDeferralEnabled/XML_TDtReparseDeferralEnabled/' "$(found)" >"$work/libexpat.so.1"
    on "$work"
    ;;
archive)
    # Every release that the package lists offer beside the installed one.
    installed=$(dpkg-query -W -f '${Version}' libexpat1 2>/dev/null) || installed=
    tried=0
    for version in $(apt-cache madison libexpat1 2>/dev/null | awk '{ print $3 }' | sort -u); do
        [ "$version" != "$installed" ] || continue
        (cd "$work" && timeout 30 apt-get -qq -o Acquire::http::Timeout=5 -o Acquire::Retries=0 \
            download "libexpat1=$version" >/dev/null 2>&1) || continue
        dpkg-deb -x "$work"/libexpat1_*.deb "$work/$version"
        rm "$work"/*.deb
        library=$(find "$work/$version" -name libexpat.so.1)
        echo "libexpat1 $version"
        on "${library%/*}"
        tried=$((tried + 1))
    done
    [ "$tried" -gt 0 ] || { echo "no other release of libexpat1 can be had here"; exit 77; }
    ;;
esac
