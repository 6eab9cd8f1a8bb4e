#!/usr/bin/env bash
# The packages in a clean root: installed, used, removed, and nothing of them left.
# usage: clean_root.sh FOLDER_OF_PACKAGES PROJECT_DIR
# The root is this machine's, read through an overlay, so that no network is needed; what is written goes to memory and
# is gone afterwards. Needs root and the kernel's overlay; without them: status 77.
set -eu
packages=$(realpath "$1") source=$(realpath "$2")
[ "$(id -u)" -eq 0 ] || { echo "not root: no clean root can be made"; exit 77; }

if [ "${3:-}" != inside ]; then
    root=$(mktemp -d)
    trap 'rmdir "$root"' EXIT
    # Name spaces of its own: mounts end with it, and the server's port is free.
    unshare --mount --net --propagation private -- "$0" "$packages" "$source" inside "$root"
    exit
fi

top=$4
root=$top/root
mount -t tmpfs tmpfs "$top"
mkdir "$root" "$top/upper" "$top/work" "$top/given"
cp "$packages"/*.deb "$top/given/"
mount -t overlay overlay -o "lowerdir=/,upperdir=$top/upper,workdir=$top/work" "$root" 2>/dev/null ||
    { echo "no overlay can be mounted"; exit 77; }
for folder in proc dev sys; do mount --rbind "/$folder" "$root/$folder"; done
mkdir -p "$root/given" "$root/source"
mount --bind "$top/given" "$root/given"
mount --bind "$source" "$root/source"
mount -t tmpfs tmpfs "$root/tmp"
ip link set lo up

within() { env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root USER=tester LC_ALL=C.UTF-8 chroot "$root" "$@"; }
names=$(for deb in "$top"/given/*.deb; do dpkg-deb -f "$deb" Package; done)
named() { grep -qx "$1" <<<"$names"; }

echo "-- installed"
# shellcheck disable=SC2016
within sh -c 'dpkg -i /given/*.deb && dpkg -i /given/*.deb' >"$top/log" 2>&1 || { cat "$top/log"; exit 1; }
for name in libnbiutil1 libnbihost-standalone1 libnbiutil-common libnbiutil-testing1 libnbiutil-dev nbiutil-tools nbiutil-doc; do
    named "$name" || { echo "there is no package $name"; exit 1; }
done
within nbi-server --version
[ "$(within stat -c '%a %U %G' /var/lib/nbiutil)" = "750 nbiutil nbiutil" ] || { echo "state folder"; exit 1; }
within md5sum /etc/nbiutil/nbi-server.ini >"$top/before"
# The unit names a program, pages and directives that are there.
within systemd-analyze verify nbi-server.service >"$top/log" 2>&1 || { cat "$top/log"; exit 1; }
if grep nbi-server "$top/log"; then exit 1; fi

echo "-- README's program, by CMake and by pkg-config"
within bash -eu -c '
    block() { awk -v fence="\`\`\`$1" "\$0 == fence { inside = 1; next } /^\`\`\`/ { inside = 0 } inside" /source/README.md; }
    mkdir /tmp/hello && cd /tmp/hello
    block cpp >main.cpp; block ini >hello.ini; block cmake >CMakeLists.txt
    cmake -B build >/dev/null && cmake --build build >/dev/null
    [ "$(./build/hello)" = "hello from a worker" ]
    c++ -std=c++17 main.cpp -o hello $(pkg-config --cflags --libs nbiutil nbihost-standalone)
    [ "$(./hello)" = "hello from a worker" ]'

echo "-- the server, as its unit restricts it"
within /source/packaging/checks/under_unit.py /lib/systemd/system/nbi-server.service \
    /usr/sbin/nbi-server --ready-file /run/nbiutil/ready >"$top/server.log" 2>&1 &
server=$!
for _ in $(seq 300); do
    [ ! -e "$root/run/nbiutil/ready" ] || break
    kill -0 $server 2>/dev/null || { cat "$top/server.log"; exit 1; }
    sleep 0.1
done
within sh -eu -c '
    ask() { nbi-client --server unix:/run/nbiutil/nbi-server.sock "$@"; }
    as_nobody() { setpriv --reuid nobody --regid nogroup "$@" nbi-client --server unix:/run/nbiutil/nbi-server.sock inventory; }
    if as_nobody --clear-groups 2>/dev/null; then
        echo "anybody is served"
        exit 1
    fi
    as_nobody --groups nbiutil | grep -q port=lo
    ask inventory | grep -q port=lo
    ask counters lo >/dev/null
    for method in gzip tar zip; do
        ask collect lo --interval 0.1 --duration 0.2 --quiet --pack $method >/dev/null
    done
    ask config set HugeTaskLimit 5
    grep -qx HugeTaskLimit=5 /var/lib/nbiutil/items.ini
    [ "$(ask --lang zh reason 0x4E420001 | wc -c)" -gt 20 ]
    ask stop'
wait $server || { cat "$top/server.log"; exit 1; }
within md5sum /etc/nbiutil/nbi-server.ini | cmp - "$top/before"
for kind in gz tar zip; do
    [ -n "$(find "$root/var/lib/nbiutil/collections" -name "*.$kind")" ] || { echo "no archive: $kind"; exit 1; }
done
[ -s "$root/var/log/nbiutil/nbi-server.log" ]
within logrotate --debug /etc/logrotate.d/nbiutil-tools >"$top/log" 2>&1 || { cat "$top/log"; exit 1; }

echo "-- removed"
# shellcheck disable=SC2086
within dpkg --purge $names >"$top/log" 2>&1 || { cat "$top/log"; exit 1; }
# What dpkg and the tools that it calls keep for themselves, and the user, whose number must not be given away.
mine='^/(var/lib/dpkg|var/log/dpkg\.log|var/log/alternatives\.log|var/cache/(ldconfig|man|debconf)|etc/ld\.so\.cache'
mine="$mine|etc/\.pwd\.lock|etc/(passwd|group|shadow|gshadow)-?\$|given\$|source\$|run/(log|systemd))"
left=$(cd "$top/upper" && find . ! -type d ! -type c | sed 's/^\.//' | grep -vE "$mine" || true)
if [ -n "$left" ]; then
    echo "left behind: $left"
    exit 1
fi
for folder in /etc/nbiutil /var/lib/nbiutil /var/log/nbiutil /run/nbiutil /usr/share/nbiutil /usr/include/nbiutil; do
    [ ! -e "$root$folder" ] || { echo "left behind: $folder"; exit 1; }
done
echo "nothing is left but the user: $(grep '^nbiutil:' "$root/etc/passwd")"
