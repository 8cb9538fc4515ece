# Runs suites and checks, two at a time, and counts them: a suite with its cases, a check as one. Read by ./test with
# $here, $host, $threads, $windows and $results set.

names=()            # of all that is declared, as "TARGET:NAME"
declare -A sentence # of each check
declare -A command  # of each suite and check, quoted for the shell
declare -A cases    # "yes" for a suite

# suite TARGET:NAME COMMAND...: a GoogleTest program.
suite() {
    names+=("$1")
    cases[$1]=yes
    command[$1]=$(printf '%q ' "${@:2}")
}

# check TARGET:NAME SENTENCE COMMAND...: passed when the command succeeds; what it prints says why it did not.
check() {
    names+=("$1")
    sentence[$1]=$2
    command[$1]=$(printf '%q ' "${@:3}")
}

# declare_built TARGET FOLDER COMMAND...: the programs that the build registered in FOLDER/tests.list. The command gets
# the name of the program and its arguments.
declare_built() {
    local target=$1 folder=$2 name kind program arguments text
    shift 2
    while read -r name kind program arguments; do
        # shellcheck disable=SC2086  # arguments hold no blanks of their own
        case $kind in
            suite) suite "$target:$name" "$@" "$program" $arguments ;;
            check)
                text="the fuzz seeds of ${name#seeds-}, whole and cut short"
                [[ $arguments != *--changes* ]] || text+=", each byte changed"
                check "$target:$name" "$text" "$@" "$program" $arguments
                ;;
        esac
    done <"$folder/tests.list"
}

# run NAME...: two at a time; what each prints appears when it ends.
run() {
    local name running=0
    for name in "$@"; do
        if [ $running -ge 2 ]; then
            wait -n
            running=$((running - 1))
        fi
        run_one "$name" 9>&- &
        running=$((running + 1))
    done
    wait
}

run_one() {
    local name=$1 log status=0 start=$EPOCHREALTIME
    log=$(mktemp -p "$results" log.XXXXXX)
    (
        cd "$here" || exit
        case $(type -t "${command[$name]%% *}") in
            function) eval "${command[$name]}" ;;
            *) eval "timeout -k 10 600 ${command[$name]}" ;;
        esac
        status=$?
        times >"$log.times"
        exit $status
    ) >"$log" 2>&1 </dev/null || status=$?
    local took
    took=$(awk -v start="$start" -v now="$EPOCHREALTIME" 'END {split($1, u, /[ms]/); split($2, s, /[ms]/)
        printf "%.1f s, CPU %.1f s", now - start, 60 * u[1] + u[2] + 60 * s[1] + s[2]}' "$log.times")
    if [ "${cases[$name]-}" = yes ]; then
        count_suite "$name" "$log" "$status" "$took"
    else
        count_check "$name" "$log" "$status" "$took"
    fi >"$log.text"
    cat "$log.text"
}

count_suite() {
    local name=$1 log=$2 status=$3 took=$4 passed failed skipped
    sed -i 's/\r$//' "$log"
    passed=$(grep -c '^\[       OK \]' "$log")
    failed=$(grep -cE '^\[  FAILED  \] .* \([0-9]+ ms\)$' "$log")
    skipped=$(grep -cE '^\[  SKIPPED \] .* \([0-9]+ ms\)$' "$log")
    # A program that ends early, or runs nothing, has failed whatever its cases say.
    if [ "$failed" -eq 0 ] && { [ "$status" -ne 0 ] || [ "$passed" -eq 0 ]; }; then
        failed=1
        echo "$name ended with status $status after $passed cases" >>"$log"
    fi
    echo "$passed $failed" >>"$results/counts"
    if [ "$failed" -eq 0 ]; then printf '  ok: '; else printf '  FAILED: '; fi
    printf '%s, %d passed' "$name" "$passed"
    [ "$skipped" -eq 0 ] || printf ', %d skipped' "$skipped"
    [ "$failed" -eq 0 ] || printf ', %d failed' "$failed"
    echo " ($took)"
    [ "$failed" -eq 0 ] ||
        grep -vE '^\[ RUN      \]|^\[       OK \]|^\[---|^$' "$log" | tail -n 60 | sed 's/^/      /'
    grep '^sweep: ' "$log" | sed 's/^sweep: /      /'
}

count_check() {
    local name=$1 log=$2 status=$3 took=$4
    if [ "$status" -eq 0 ]; then
        echo "1 0" >>"$results/counts"
        echo "  ok: $name, ${sentence[$name]} ($took)"
    else
        fail "$name, ${sentence[$name]} ($took)"
        tail -n 40 "$log" | sed 's/^/      /'
    fi
}

fail() {
    echo "0 1" >>"$results/counts"
    echo "  FAILED: $1"
}

finish() {
    local passed failed
    read -r passed failed < <(awk '{p += $1; f += $2} END {print p + 0, f + 0}' "$results/counts")
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
    exit
}
