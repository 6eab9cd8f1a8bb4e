# shellcheck shell=bash
# docs/assurance.md from what the parts of scripts/assure printed in their last runs that passed. A run may have been on another
# machine: docs/assurance.txt keeps those lines of each part that the figures are made of.

LAST=build/assure/last
PAGE=docs/assurance.md
RECORD=docs/assurance.txt

# Lines "PROMISE|GATE|PARTS|FIGURES": the parts as a pattern of names, and the function that reads their output.
ROWS="
No token, task, waiter or place in the book is lost in any order of steps, as far as the models go|\`scripts/models run\`, every change|models/run|models
The same of the code itself, in orders of steps that seeds make|\`schedules_test\`, every change some hundred|schedules/run|schedules
Each call may fail: no crash, no leak, no stranded waiter, no half-written file, no secret left, the documented result|\`*faults_test\`, every change up to 24 of a kind|faults/release-*faults*|faults
The same under AddressSanitizer and LeakSanitizer|the same, every change|faults/asan-*faults*|faults
No input from outside crashes, leaks, or is read otherwise than by a second implementation|\`tests/fuzz\`, every change some seconds|fuzz/*|fuzz
The tests notice when the code changes|\`scripts/mutate\`, every change a sample|mutate/*|mutate
The tests run the library's lines and branches|gcovr, at least 97 % and 90 %|coverage/src|coverage
And the standalone host's|gcovr, at least 95 % and 85 %|coverage/host|coverage
Years of tasks change nothing|\`soak_test\`, every change some thousand|soak/*|soak
The server under load with cancellations, changes and reloads loses no request and keeps its memory|\`scripts/assurance/server-soak\`|serversoak/run|server
Servers that share a book lose no order and finish none twice, whichever of them or its engine is killed|\`northbound/cluster\`, every change some rounds|cluster/*|cluster
No remark of clang's analyzer, the tests included|\`scripts/tidy --analyze-tests\`|analyze/tests|analyze
A release holds what it promises, byte for byte|\`scripts/release --check\`|release/check|release
"

# Those lines of an output on standard input that figures_of reads.
lines_of() {
    case $1 in
        models) grep -E ' holds, | found$' ;;
        schedules) grep -E '^orders:|^\[ +OK' ;;
        faults) grep -a '^faults injected:' ;;
        fuzz) grep -aE '^Done [0-9]+ runs in ' ;;
        mutate) grep ' mutants: ' ;;
        coverage) grep -E '^(lines|branches): ' ;;
        soak) grep '^soak: ' ;;
        server) grep -E '^(requests|memory):' ;;
        cluster) grep -E '^round [0-9]+: (.* killed; |orders again )' ;;
        analyze) ;;
        release) tail -n 1 ;;
    esac
}

# What the lines on standard input come to, in a few words.
figures_of() {
    case $1 in
        models)
            awk '/ holds, /{ n++; states += $(NF - 1) } / found$/{ wrong++ }
                END { printf "%d sizes hold, %d states; %d wrong variants, all found", n, states, wrong }' ;;
        schedules)
            awk '/^orders:/{ orders = $2 } /^\[ +OK/{ n++ } END { printf "%d scenarios, %d orders each", n, orders }' ;;
        faults)
            sed 's/^faults injected: *//' | tr ';' '\n' | awk '
                NF { n = $NF; $NF = ""; sub(/ +$/, ""); kinds[$0] += n; all += n; if (!($0 in seen)) { seen[$0] = 1; order[++k] = $0 } }
                END { printf "%d faults:", all; for (i = 1; i <= k; ++i) printf "%s %s %d", (i > 1 ? "," : ""), order[i], kinds[order[i]] }' ;;
        fuzz)
            awk '{ n++; runs += $2; if (n == 1 || $5 < least) least = $5 }
                END { printf "%d targets, %d inputs, %d s or more of each, nothing found", n, runs, least }' ;;
        mutate)
            awk -v folders="$(find src/* -maxdepth 0 -type d | wc -l)" '{ n += $1; killed += $3; survived += $5; same += $11 }
                END { printf "%d of %d folders: %d mutants, %d of them the same code; %.1f %% of the others that compile killed, %d left with a reason", NR, folders, n, same, killed + survived ? 100 * killed / (killed + survived) : 0, survived }' ;;
        coverage)
            awk '/^lines: /{ lines = $2 } /^branches: /{ branches = $2 } END { printf "%s of the lines, %s of the branches", lines, branches }' ;;
        soak)
            awk '{ n++; tasks += $2; if ($4 > most) most = $4 }
                END { printf "%d runs, %d tasks, at most %d bytes more in use at the end of one", n, tasks, most }' ;;
        server) awk '/^requests:/ { requests = $0 } /^memory:/ { memory = $0 } END { printf "%s; %s", requests, memory }' ;;
        cluster)
            awk '/ killed; / { servers++; if ($10 > takeover) takeover = $10 }
                / orders again / { engines++; if ($5 > away) away = $5 }
                END {
                    printf "%d servers killed, taken over within %s s where the lease is 1 s", servers, takeover
                    if (engines) printf "; %d engines killed, orders again within %.2g s of their return", engines, away
                }' ;;
        analyze) printf '0 remarks' ;;
        release) cat ;;
    esac | tr '\n' ' ' | sed 's/ *$//'
}

# From here on the record is a folder for each part, with the files "when" and "lines".
unpack_record() {
    local line folder=
    [ ! -e "$RECORD" ] || while IFS= read -r line; do
        case $line in
            '#'*) ;;
            '== '*)
                line=${line#== }
                folder=$KEPT/${line%%: *}
                mkdir -p "$folder"
                printf '%s\n' "${line#*: }" >"$folder/when"
                : >"$folder/lines"
                ;;
            *) printf '%s\n' "$line" >>"$folder/lines" ;;
        esac
    done <"$RECORD"
}

# What was run on this machine replaces what the record has of an earlier day.
take_over() {  # take_over PROMISE GATE PARTS FIGURES
    local part folder
    for part in "$LAST"/$3; do
        # The build is a part, too, and has no figures.
        if [ ! -e "$part/when" ] || [[ $part == *[/-]build ]]; then continue; fi
        folder=$KEPT/${part#"$LAST/"}
        if [ -e "$folder/when" ] && [[ $(cut -d , -f 1 "$part/when") < $(cut -d , -f 1 "$folder/when") ]]; then continue; fi
        mkdir -p "$folder"
        cp "$part/when" "$folder/when"
        lines_of "$4" <"$part/output" >"$folder/lines"
    done
}

assurance_record() {
    local part
    cat <<'END'
# Written by scripts/assure --report: of each part when it was run last, and the lines that docs/assurance.md is made of.
END
    (cd "$KEPT" && find . -name when -printf '%P\n') | LC_ALL=C sort | while IFS= read -r part; do
        part=${part%/when}
        printf '== %s: %s\n' "$part" "$(cat "$KEPT/$part/when")"
        cat "$KEPT/$part/lines"
    done
}

# A row of which the record has nothing keeps what the present page says.
row() {  # row PROMISE GATE PARTS FIGURES
    local part parts=() when
    for part in "$KEPT"/$3; do [ ! -e "$part/when" ] || parts+=("$part"); done
    if [ ${#parts[@]} -eq 0 ]; then
        grep -F "| $1 |" "$PAGE" 2>/dev/null || printf '| %s | %s | | not run |\n' "$1" "$2"
        return
    fi
    when=$(cut -d ',' -f 1,2 "${parts[@]/%//when}" | sort -u | paste -sd ';' | sed 's/;/; /g')
    printf '| %s | %s | %s | %s |\n' "$1" "$2" "$(cat "${parts[@]/%//lines}" | figures_of "$4")" "$when"
}

for_rows() {  # for_rows COMMAND: with a row's promise, gate, parts and figures
    local promise gate parts figures
    while IFS='|' read -r promise gate parts figures; do
        [ -z "$promise" ] || "$1" "$promise" "$gate" "$parts" "$figures"
    done <<<"$ROWS"
}

assurance_page() {
    cat <<'END'
# How it is tested

<!-- Written by scripts/assure --report, figures included: change that script instead. -->

What is promised, which gate holds it, and what the last long run of the gate came to. The gates of every change run in
`.ci/run`, where a failure stops the change; the long ones are `scripts/assure`, by hand, and may be stopped and started again.

| promise | gate | last long run | when, at which commit |
| --- | --- | --- | --- |
END
    for_rows row
    cat <<'END'

Beside these, every change passes all tests as built, under AddressSanitizer with UndefinedBehaviorSanitizer and under
ThreadSanitizer; clang compiles it without a warning; clang-tidy and cppcheck have no remark, or one with its reason beside it;
and the attacks in [security.md](security.md) each name the test that holds.

What is not covered: an allocation or a lock that fails inside of ACE's manager of threads or inside of OpenSSL's own locks is
not tried where those go on without it, which is theirs to mend. `tests/support/withoutfaults.txt` and the scenarios name each
case. What OpenSSL's table of names and SimpleIni lose when they find no memory is theirs, too (`tests/support/faultcalls.cpp`,
`tests/support/singlefaults.cpp`). Orders of steps are tried at locks, semaphores and conditions; what happens between two of
them is ThreadSanitizer's.
END
}

# Both files as a whole or not at all: the page is read while it is written anew.
write_report() {
    KEPT=$(mktemp -d)
    unpack_record
    for_rows take_over
    assurance_record >"$KEPT.record"
    assurance_page >"$KEPT.page"
    cat "$KEPT.record" >"$RECORD"
    cat "$KEPT.page" >"$PAGE"
    rm -r "$KEPT" "$KEPT.record" "$KEPT.page"
}
