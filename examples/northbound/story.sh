# shellcheck shell=bash
# What the demos tell with. Who tells says what stands in each chapter, and ends with "the_end".

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

WAS_AS_TOLD=yes

if [ -t 1 ]; then BOLD=$'\033[1m' DIM=$'\033[2m' PLAIN=$'\033[0m'; else BOLD='' DIM='' PLAIN=''; fi

chapter() { printf '\n%s=== %s ===%s\n' "$BOLD" "$1" "$PLAIN"; }
tell() { fold -s -w 100; }
# A command, as a user would type it.
shown() { printf '%s$ %s%s\n' "$DIM" "$*" "$PLAIN"; }

# expect WHAT CONDITION...: the story goes on, but its exit code tells.
expect() {
    local what=$1
    shift
    if "$@"; then
        printf '  [as expected] %s\n' "$what"
    else
        printf '  [NOT AS EXPECTED] %s\n' "$what"
        WAS_AS_TOLD=no
    fi
}

# the_end WHAT NEXT: what the reader may do now, where all was as told.
the_end() {
    chapter "Done"
    [ "$WAS_AS_TOLD" = yes ] || die "something was not as told; look for NOT AS EXPECTED above"
    tell <<<"Everything was as told. $1"
}
