#!/usr/bin/env bash
# Completion of the programs in both shells. usage: completion_test.sh PROJECT_DIR BUILD_DIR
set -eu
source=$1 build=$2
made=$build/packaging/manual
# shellcheck disable=SC1090,SC1091
. "$made/nbi-client.bash"
# shellcheck disable=SC1091
. "$made/nbi-server.bash"

# completed WORD...: what bash offers behind these words, the last one being written.
completed() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    "_${1//-/_}" 2>/dev/null
    printf '%s\n' "${COMPREPLY[@]}" | sort -u
}

expect() {
    local wanted=$1
    shift
    if [ "$(completed "$@" | tr '\n' ' ')" != "$wanted " ]; then
        echo "$*: offered $(completed "$@" | tr '\n' ' '), not $wanted"
        exit 1
    fi
}

expect "collect config counters" nbi-client co
expect "set" nbi-client config se
expect "gzip tar zip" nbi-client collect eth0 --pack ""
expect "tar" nbi-client --json collect -p t
expect "en zh" nbi-client counters --lang ""
expect "--pack --password-file --per-archive" nbi-client collect --p
expect "--port" nbi-server --po
cd "$source"
expect "README.md" nbi-client --config READ
expect "README.md" nbi-client send-secret READ

command -v zsh >/dev/null || { echo "zsh is missing"; exit 77; }
functions=$(mktemp -d)
trap 'rm -rf "$functions"' EXIT
cp "$made/nbi-client.zsh" "$functions/_nbi-client"
cp "$made/nbi-server.zsh" "$functions/_nbi-server"

# in_zsh PATTERN LINE: an interactive zsh, told to complete the line, shows the pattern.
in_zsh() {
    timeout 60 zsh -f "$source/tests/packaging/complete.zsh" "$functions" "$2" "$1" ||
        { echo "zsh, behind \"$2\": no $1"; exit 1; }
}
in_zsh "config set" "nbi-client config s"
in_zsh "zip" "nbi-client collect --pack "
in_zsh "Sample interfaces" "nbi-client co"
in_zsh "ready-file" "nbi-server --re"
