# What checks are written with. Read by ./test.

# in_wine PROGRAM [ARGUMENT...]: one of build/windows.
in_wine() {
    local program=$1
    shift
    timeout -k 10 600 "$here/cmake/in-wine" "$windows/$program" "$@"
}

# once FUNCTION: what several checks need, done by the first of them; the others get its status.
once() {
    (
        flock 8
        if [ ! -e "$results/once.$1" ]; then
            "$1" 8>&- # no server that it starts keeps the lock
            echo $? >"$results/once.$1"
        fi
        exit "$(cat "$results/once.$1")"
    ) 8>"$results/lock.$1"
}

# expect STATUS COMMAND...: sets $out and $err to what the command printed, without carriage returns.
expect() {
    local expected=$1 status=0 printed
    shift
    printed=$(mktemp -d -p "$results")
    "$@" >"$printed/out" 2>"$printed/err" </dev/null || status=$?
    out=$(tr -d '\r' <"$printed/out")
    err=$(tr -d '\r' <"$printed/err")
    [ "$status" -eq "$expected" ] && return
    echo "status $status instead of $expected: $*"
    printf '%s\n%s\n' "$out" "$err" | tail -n 20
    return 1
}

# has TEXT PATTERN: an extended regular expression that matches some line.
has() {
    grep -qE -- "$2" <<<"$1" && return
    printf 'no line matches %s in:\n%s\n' "$2" "$1" | head -n 20
    return 1
}
