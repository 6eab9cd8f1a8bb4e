#!/usr/bin/env bash
# What CONTRIBUTING says of names holds: type letters of parameters in the public headers, thread-locals, guards.
# usage: spelling_test.sh PROJECT_DIR
set -u

# odd_names FOLDER...: parameters of a number, flag or pointer without their letter, thread-locals without "t_".
odd_names() {
    grep -rnE --include='*.h' -v '^[^:]*:[0-9]+: *//' "$@" 2>/dev/null | grep -v '\boperator\b' | sed 's|//.*||' |
        grep -E '[(,] *(const )?(unsigned )?(bool|int|long|std::size_t)( (int|long))?( const)?&? [a-z][a-zA-Z]*[,)=]|[(,] *[A-Za-z_:<> ]+\*( const)?&? ?[a-z][a-zA-Z]*[,)=]' |
        grep -vE '[(,] *[A-Za-z_:<> ]+[*& ]+(p|pp|n|b)[A-Z]' || true
}
odd_thread_locals() { grep -rnE --include='*.h' --include='*.cpp' 'thread_local [^;=({]*[ *]([^t ]|t[^_])[A-Za-z_]*( =|;|\{)' "$@"; }
const_guards() { grep -rnE --include='*.h' --include='*.cpp' 'const ((Mutex|Recursive|Read|Write)Guard|std::(lock_guard|unique_lock|scoped_lock|shared_lock)(<[^>]*>)?) [a-z]' "$@"; }

sample=$(mktemp -d)
trap 'rm -rf "$sample"' EXIT
cat >"$sample/good.h" <<'END'
void f(int nValue, const char* pText, bool bOn, char** ppPath, const std::string& text);
thread_local int* t_pNow = nullptr;
END
cat >"$sample/bad.h" <<'END'
void f(int value);
void g(const std::string& text, const char* name);
static thread_local int now = 0;
const MutexGuard guard(m_Lock);
END
[ "$(odd_names "$sample" | wc -l)" -eq 2 ] && [ "$(odd_thread_locals "$sample" | wc -l)" -eq 1 ] &&
    [ "$(const_guards "$sample" | wc -l)" -eq 1 ] || {
    echo "this test does not see the odd names of its sample"
    odd_names "$sample"
    odd_thread_locals "$sample"
    exit 1
}

cd "$1" || exit 1
found=$(odd_names include/nbiutil host/include; odd_thread_locals src host include examples; const_guards src host examples tests bench)
[ -z "$found" ] || {
    printf '%s\n' "$found" "see Style in CONTRIBUTING.md"
    exit 1
}
