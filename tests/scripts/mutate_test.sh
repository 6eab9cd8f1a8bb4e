#!/usr/bin/env bash
# Which places scripts/mutate changes, and which it leaves alone. usage: mutate_test.sh PROJECT_DIR
SAMPLE=$(mktemp -d)
trap 'rm -rf "$SAMPLE"' EXIT
mkdir -p "$SAMPLE/scripts" "$SAMPLE/src/task" "$SAMPLE/tests/task"
cp "$1/scripts/mutate" "$SAMPLE/scripts"
touch "$SAMPLE/tests/task/CMakeLists.txt"
cat >"$SAMPLE/src/task/sample.cpp" <<'END'
#include <a + b>
// a comment, a == b
constexpr SourceMark MARK{"task", MODULE};
bool Sample(int n)
{
    if (n == limit && !Done()) return true;
    Begin(n);
    End("a < b");
    if (n > limit) Report();
    WriteLog(MARK, "%d", n + 1);
    unlink(name + 2);
    const std::vector<int> list(3);
    return a<int>(b);
}
END
found=$(cd "$SAMPLE" && scripts/mutate --list task | sed 's/^[0-9a-f]*  //')
wanted='src/task/sample.cpp:6  if (n == limit && !Done()) return true;  ->  if (n != limit && !Done()) return true;
src/task/sample.cpp:6  if (n == limit && !Done()) return true;  ->  if (n == limit || !Done()) return true;
src/task/sample.cpp:6  if (n == limit && !Done()) return true;  ->  if (n == limit && Done()) return true;
src/task/sample.cpp:6  if (n == limit && !Done()) return true;  ->  if (n == limit && !Done()) return false;
src/task/sample.cpp:7  Begin(n);  ->  ;
src/task/sample.cpp:7  Begin(n);  ->  End("a < b");
  Begin(n);
src/task/sample.cpp:8  End("a < b");  ->  ;
src/task/sample.cpp:9  if (n > limit) Report();  ->  if (n >= limit) Report();
src/task/sample.cpp:9  if (n > limit) Report();  ->  ;
src/task/sample.cpp:12  const std::vector<int> list(3);  ->  const std::vector<int> list(4);'
if [ "$found" != "$wanted" ]; then
    diff <(printf '%s\n' "$wanted") <(printf '%s\n' "$found")
    exit 1
fi

# The list of survivors names mutants that there are.
cd "$SAMPLE" || exit 1
name=$(scripts/mutate --list task | sed -n '1s/ .*//p')
printf '# a comment\n\n%s a reason\n' "$name" >tests/mutants.txt
scripts/mutate --check || exit 1
printf '0123456789 a reason\n' >>tests/mutants.txt
if scripts/mutate --check >"$SAMPLE/said"; then
    echo "a survivor that is no mutant is not told"
    exit 1
fi
grep -q 'no mutant 0123456789 any more' "$SAMPLE/said"
