#!/usr/bin/env bash
# Every \param, \return, \throws and \tparam stands first on its line, and under no other name: a contract is scanned
# by its tags. usage: tags_test.sh PROJECT_DIR
set -u

# hidden_tags FOLDER...: the lines whose tag a reader who scans would miss.
hidden_tags() {
    grep -rnE --include='*.h' --include='*.cpp' \
        -e '//.*[^/ ].*\\(param|return|throws|tparam)\b' \
        -e '//.*(\\(returns|throw|exception|retval|result|arg)|@(param|return|throws|tparam))\b' "$@"
}

sample=$(mktemp -d)
trap 'rm -rf "$sample"' EXIT
cat >"$sample/good.h" <<'END'
/// \param[out] text as it was when \p n is 0
/// \return whether
END
cat >"$sample/bad.h" <<'END'
/// Takes one. \return whether there was one
/// \returns another name
int m_n;  ///< \return what a field does not
/// @param another mark
END
hidden=$(hidden_tags "$sample" | wc -l)
[ "$hidden" -eq 4 ] || { echo "this test sees $hidden of the 4 hidden tags of its sample"; exit 1; }

cd "$1" || exit 1
if hidden_tags include host src tests examples bench; then
    echo "put each of these tags first on a line of its own"
    exit 1
fi
