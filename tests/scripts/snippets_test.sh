#!/usr/bin/env bash
# The pages show what their files say; first of all, that the check sees when they do not. usage: snippets_test.sh PROJECT_DIR
set -u
SCRIPT=$1/scripts/snippets
SAMPLE=$(mktemp -d)
trap 'rm -rf "$SAMPLE"' EXIT
failures=0

fail() {
    echo "$*"
    failures=$((failures + 1))
}

cat >"$SAMPLE/main.cpp" <<'END'
int main()
{
    // [body]
    int n = 1;
    if (n > 0) {
        return n;
    }
    // [body]
}
END
cat >"$SAMPLE/page.md" <<'END'
# Page
<!-- taken from main.cpp body -->
```cpp
```
<!-- taken from main.cpp -->
```cpp
```
```cpp
int other;
```
END
! "$SCRIPT" check "$SAMPLE" >/dev/null || fail "an empty block passes"
"$SCRIPT" write "$SAMPLE" || fail "a page is not written"
"$SCRIPT" check "$SAMPLE" || fail "a written page does not pass"
diff - "$SAMPLE/page.md" <<'END' || fail "a page is written otherwise"
# Page
<!-- taken from main.cpp body -->
```cpp
int n = 1;
if (n > 0) {
    return n;
}
```
<!-- taken from main.cpp -->
```cpp
int main()
{
    int n = 1;
    if (n > 0) {
        return n;
    }
}
```
```cpp
int other;
```
END
sed -i 's/n = 1/n = 2/' "$SAMPLE/main.cpp"
! "$SCRIPT" check "$SAMPLE" >/dev/null || fail "a stale block passes"
sed -i 's/main.cpp body/main.cpp nobody/' "$SAMPLE/page.md"
! "$SCRIPT" check "$SAMPLE" >/dev/null 2>&1 || fail "a part that is not there passes"

"$SCRIPT" check "$1" || fail "the project's pages are stale: scripts/snippets write"
[ "$failures" -eq 0 ]
