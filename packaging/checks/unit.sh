#!/usr/bin/env bash
# The unit's restrictions: how much they leave open, that each forbids what it says, and that the server's own tests pass
# under them. usage: unit.sh PROJECT_DIR BUILD_DIR [UNIT]
set -euo pipefail
source=$(realpath "$1") build=$(realpath "$2")
unit=${3:-$source/packaging/nbi-server.service}
limit=15  # tenths
systemd-analyze security --offline=yes --threshold=$limit "$unit" | tail -n 1
[ "$(id -u)" -eq 0 ] || { echo "not root: the restrictions cannot be put in force"; exit 77; }

restricted="$source/packaging/checks/under_unit.py --as-user nobody"
$restricted --list "$unit" | sort
$restricted --prove "$unit"
# The tests start programs through setpriv, for which nothing is left to set: in their place a script that only starts.
launcher=$(mktemp)
trap 'rm -f "$launcher"' EXIT
printf '#!/bin/sh\nshift 2\nexec "$@"\n' >"$launcher"
chmod 755 "$launcher"
for test in server inventory collections upkeep stop; do
    program=$build/tests/northbound/programs/northbound_programs_tests
    suites=$(sed -nE 's/^TEST(_F|_P)?\((\w+),.*/\2.*:*\/\2.*/p' "$source/tests/northbound/programs/${test}_test.cpp" | sort -u | paste -sd :)
    [ -n "$suites" ] || { echo "no test in ${test}_test.cpp"; exit 1; }
    # In a network of its own, so that no port is taken.
    unshare --mount --net --propagation private sh -c "
        ip link set lo up && mount --bind '$launcher' /usr/bin/setpriv &&
        exec $restricted --run '$source' --run /usr/bin/setpriv --run /usr/bin/env --run /usr/bin/sh \
            '$unit' '$program' --gtest_brief=1 '--gtest_filter=$suites'"
done
