# shellcheck shell=bash
# That all a release promises holds, the same bytes from another folder included, and that each break of it is refused.

assure_release() {
    require_packages release
    part release/check bash scripts/release --check
    part release/breaks bash packaging/checks/breaks.sh "$PROJECT_DIR" "$PROJECT_DIR/build/release-breaks"
}
