#!/usr/bin/env bash
# The models are of the sources as they stand, and scripts/models notices when they are not. usage: models_test.sh PROJECT_DIR
set -eu
cd "$1"
scripts/models check

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
cp -a --parents models scripts src "$copy"
cd "$copy"
sed -i 's|^void AD::Awake()|// A comment changes nothing.\n&|; s|pImpl->Awake();|  &  // nor does this|' src/task/ad.cpp
scripts/models check >/dev/null || { echo "a comment counts as a change"; exit 1; }
sed -i 's/m_Condition.broadcast();/m_Condition.signal();/' src/task/ad_impl.cpp
if scripts/models check >said; then
    echo "a changed function is not noticed"
    exit 1
fi
grep -q '  models/descriptor.pml: AD_Impl::Awake in src/task/ad_impl.cpp' said || { cat said; exit 1; }
[ "$(grep -c '^  ' said)" -eq 1 ] || { cat said; exit 1; }
sed -i 's/AD_Impl::WaitInSlicesLocked/AD_Impl::WaitForSlices/' src/task/ad_impl.cpp
if scripts/models check >said 2>&1; then
    echo "a function that is gone is not noticed"
    exit 1
fi
grep -q 'there is no AD_Impl::WaitInSlicesLocked in src/task/ad_impl.cpp' said || { cat said; exit 1; }
