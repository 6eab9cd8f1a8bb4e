# shellcheck shell=bash
# docs/assurance.md from what the parts of scripts/assure printed in their last runs that passed.

LAST=build/assure/last

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
Years of tasks change nothing|\`soak_test\`, every change some thousand|soak/release|soak
The server under load with cancellations, changes and reloads loses no request and keeps its memory|\`scripts/assurance/server-soak\`|serversoak/run|server
Servers that share a book lose no order and finish none twice, whichever of them or its engine is killed|\`northbound/cluster\`, every change some rounds|cluster/takeover|cluster
No remark of clang's analyzer, the tests included|\`scripts/tidy --analyze-tests\`|analyze/tests|analyze
A release holds what it promises, byte for byte|\`scripts/release --check\`|release/check|release
"

# What the outputs on standard input come to, in a few words.
figures_of() {
    case $1 in
        models)
            awk '/ holds, /{ n++; states += $(NF - 1) } / found$/{ wrong++ }
                END { printf "%d sizes hold, %d states; %d wrong variants, all found", n, states, wrong }' ;;
        schedules)
            awk '/^orders:/{ orders = $2 } /^\[ +OK/{ n++ } END { printf "%d scenarios, %d orders each", n, orders }' ;;
        faults)
            grep -a '^faults injected:' | sed 's/^faults injected: *//' | tr ';' '\n' | awk '
                NF { n = $NF; $NF = ""; sub(/ +$/, ""); kinds[$0] += n; all += n; if (!($0 in seen)) { seen[$0] = 1; order[++k] = $0 } }
                END { printf "%d faults:", all; for (i = 1; i <= k; ++i) printf "%s %s %d", (i > 1 ? "," : ""), order[i], kinds[order[i]] }' ;;
        fuzz)
            awk '/^stat::number_of_executed_units:/{ n++; runs += $2 } END { printf "%d targets, %d inputs, nothing found", n, runs }' ;;
        mutate)
            awk '/ mutants: /{ n += $1; killed += $3; survived += $5 }
                END { printf "%d mutants, %.1f %% of those that compile killed, %d left with a reason", n, killed + survived ? 100 * killed / (killed + survived) : 0, survived }' ;;
        coverage)
            awk '/^lines: /{ lines = $2 } /^branches: /{ branches = $2 } END { printf "%s of the lines, %s of the branches", lines, branches }' ;;
        soak) awk '/^\[ +PASSED/{ print $4 " tests passed" }' | tail -n 1 ;;
        server) awk '/^requests:/ { requests = $0 } /^memory:/ { memory = $0 } END { printf "%s; %s", requests, memory }' ;;
        cluster)
            awk '/^round [0-9]+: .* killed; /{ n++; if ($10 > longest) longest = $10 }
                END { printf "%d servers killed, taken over within %s s where the lease is 1 s", n, longest }' ;;
        analyze) printf '0 remarks' ;;
        release) tail -n 1 ;;
    esac | tr '\n' ' ' | sed 's/ *$//'
}

row() {  # row PROMISE GATE PARTS FIGURES
    local part parts=() when='not run'
    # The build is a part, too, and has no figures.
    for part in "$LAST"/$3/when; do [ ! -e "$part" ] || [[ $part == *build/when ]] || parts+=("${part%/when}"); done
    if [ ${#parts[@]} -eq 0 ]; then
        printf '| %s | %s | | not run |\n' "$1" "$2"
        return
    fi
    when=$(cut -d ',' -f 1,2 "${parts[@]/%//when}" | sort -u | paste -sd ';' | sed 's/;/; /g')
    printf '| %s | %s | %s | %s |\n' "$1" "$2" "$(cat "${parts[@]/%//output}" | figures_of "$4")" "$when"
}

assurance_page() {
    local promise gate parts figures
    cat <<'END'
# How it is tested

<!-- Written by scripts/assure --report, figures included: change that script instead. -->

What is promised, which gate holds it, and what the last long run of the gate came to. The gates of every change run in
`.ci/run`, where a failure stops the change; the long ones are `scripts/assure`, by hand, and may be stopped and started again.

| promise | gate | last long run | when, at which commit |
| --- | --- | --- | --- |
END
    while IFS='|' read -r promise gate parts figures; do
        [ -z "$promise" ] || row "$promise" "$gate" "$parts" "$figures"
    done <<<"$ROWS"
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
