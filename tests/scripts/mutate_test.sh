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

# Verdicts. The compiler leaves out calls of Nothing, one program has the source's name, and one test waits in the middle.
cat >"$SAMPLE/src/task/sample.cpp" <<'CODE'
void Sample(int n)
{
    if (n == 1) Report();

    Nothing();

    Seen(n);

    SeenByOthers(n);

    Waited(n);

    Needed(n);

    Unseen(n);
}
CODE
mkdir "$SAMPLE/stubs"
cat >"$SAMPLE/stubs/cmake" <<'CODE'
#!/bin/sh
# cmake -S TREE -B BUILD ...
echo prepared >>"$LOG"
mkdir -p "$4/tests/task"
file=$2/src/task/sample.cpp
cat >"$4/tests/task/sample_test" <<PROGRAM
#!/bin/sh
case \$1 in
    --gtest_list_tests) printf 'Sample.\n  Sees\n  DISABLED_Sees\n'; exit ;;
esac
[ ! -e left ] || exit 1
touch left
grep -q '[^a-z]Seen(n)' $file && grep -q 'n == 1) Report()' $file
PROGRAM
cat >"$4/tests/task/other_test" <<PROGRAM
#!/bin/sh
case \$1 in
    --gtest_list_tests) printf 'Other.\n  Sees\n  Waits # comment\n'; exit ;;
    *Waits)
        grep -q 'Waited(n)' $file && exit
        [ -e "$LOG.wait" ] || exit 1
        touch "$LOG.waits"
        exec sleep 100 ;;
    *) grep -q 'SeenByOthers(n)' $file ;;
esac
PROGRAM
chmod +x "$4"/tests/task/*_test
printf '[{"file": "%s", "command": "compiler %s"}]' "$file" "$file" >"$4/compile_commands.json"
CODE
cat >"$SAMPLE/stubs/ninja" <<'CODE'
#!/bin/sh
# ninja -C BUILD ...
grep -q 'Needed' "$2/../tree/src/task/sample.cpp"
CODE
cat >"$SAMPLE/stubs/compiler" <<'CODE'
#!/bin/sh
# compiler FILE ... -o OBJECT
case " $* " in
    *" -MF "*) exit 1 ;;  # as the compiler does, which makes no list of headers here
esac
for object; do :; done
grep -v 'Nothing\|^ *;$' "$1" >"$object"
CODE
chmod +x "$SAMPLE"/stubs/*
git init -q
git add -A
export PATH="$SAMPLE/stubs:$PATH" LOG="$SAMPLE/log"

# The mutant's place and the verdict, from the records.
verdicts() {
    local name place
    scripts/mutate --list task | while read -r name place _; do
        printf '%s %s\n' "${place##*:}" "$(cut -d ' ' -f 2- build/mutate/results/*-"$name" 2>/dev/null || echo 'not judged')"
    done
}

expect() {  # expect WHAT ACTUAL WANTED
    [ "$2" = "$3" ] && return
    diff <(printf '%s\n' "$3") <(printf '%s\n' "$2")
    echo "$1"
    exit 1
}

# Stopped while a test waits: what was judged before is kept, and nothing is said of the one in hand.
touch "$LOG.wait"
scripts/mutate task >"$LOG.said" 2>&1 &
mutate=$!
for ((tries = 0; tries < 600; ++tries)); do
    [ ! -e "$LOG.waits" ] || break
    sleep 0.1
done
expect "a second one" "$(scripts/mutate task 2>&1)" "mutate: another one is at work in build/mutate/"
kill "$mutate"
wait "$mutate"
expect "the code of one that was stopped" $? 143
expect "verdicts before it was stopped" "$(verdicts)" '3 killed by tests/task/sample_test
3 killed by tests/task/sample_test
3 killed by tests/task/sample_test
5 same code
7 killed by tests/task/sample_test
9 killed by tests/task/other_test
11 not judged
13 not judged
15 not judged'
rm "$LOG.wait"
sums='9 mutants: 6 killed, 1 survived, 1 did not compile, 1 are the same code; 85.7 % killed'
said=$(scripts/mutate task)
expect "a survivor without a reason is a failure" $? 1
name=$(sed -n 's/^survived: \([0-9a-f]*\) .*/\1/p' <<<"$said")
expect "what is said" "$said" "survived: $name  src/task/sample.cpp:15  Unseen(n);  ->  ;"$'\n'"$sums"
expect "verdicts" "$(verdicts | tail -n 3)" $'11 killed by tests/task/other_test\n13 does not compile\n15 survived'
printf '%s a reason\n' "$name" >tests/mutants.txt
expect "a survivor with a reason" "$(scripts/mutate task)" \
    "survived, as listed: $name  src/task/sample.cpp:15  Unseen(n);  ->  ;"$'\n'"$sums"
expect "nothing is prepared when nothing is left to judge" "$(grep -c prepared "$LOG")" 2

# Tests have come: what another program noticed is known, and what no test can notice.
touch "$SAMPLE/tests/task/sample_test.cpp" "$SAMPLE/tests/task/other_test.cpp"
scripts/mutate task >/dev/null
expect "tests that were not there" "$(grep -c prepared "$LOG")" 3
again() {  # again WHAT FILE WANTED: how many are judged again when FILE has changed
    touch "$LOG.time"
    echo >>"$SAMPLE/tests/task/$2"
    scripts/mutate task >/dev/null
    expect "judged again when $1" "$(find build/mutate/results -newer "$LOG.time" -type f | wc -l)" "$3"
}
again "a program that noticed four has changed" sample_test.cpp 4
: >"$SAMPLE/tests/mutants.txt"
again "two were noticed by it and one has survived without a reason" other_test.cpp 3
again "what the programs share has changed" testing.h 9
