# ./test thorough: what takes too long for every run. Read by ./test.

declare_thorough() {
    check thorough:alone-linux "every source compiles alone on Linux, with only the headers that it names" \
        compiles host-alone all benchmarks
    check thorough:alone-windows "every source compiles alone for Windows, with only the headers that it names" \
        compiles windows-alone all benchmarks
    check thorough:strict "the libraries use no extension of GNU C++" compiles host-strict common Sysmira
    local suite
    for suite in behaviour sweep contract; do
        suite "thorough:gcc-$suite" runs_with_gcc "$suite"
        suite "thorough:clang-$suite" runs_with_windows_clang "$suite.exe"
    done
    suite thorough:clang-windows_tests runs_with_windows_clang windows_tests.exe
    check thorough:clang-sysmira "sysmira.exe, built by Clang, shows the volumes of this system" clang_shows_volumes
    check thorough:fuzz "no fuzz target finds anything in $fuzz_seconds s each, beyond its seeds" fuzzes
    check thorough:benchmarks "no benchmark misses its aim by more than a tenth in the best of three runs" measures
}

# thorough [--list | --fuzz-seconds N] [NAME...]
thorough() {
    fuzz_seconds=60
    if [ "${1-}" = --fuzz-seconds ]; then
        fuzz_seconds=${2:?"--fuzz-seconds needs a number"}
        shift 2
    fi
    declare_thorough
    if [ "${1-}" = --list ]; then
        printf '%s\n' "${names[@]#thorough:}"
        exit
    fi
    # shellcheck disable=SC2086
    install_missing $all_packages libbenchmark-dev libicu-dev libevt-utils || { fail "the packages"; finish; }
    select_names "${@/#/thorough:}"
    [ $# -gt 0 ] || select_names '*'
    # One at a time: each builds on both cores, and a benchmark wants the machine to itself.
    local name
    for name in "${selected[@]}"; do run "$name"; done
    [ ! -s "$results/table" ] || cat "$results/table"
    finish
}

# compiles PRESET TARGET...
compiles() { build "$1" -- "${@:2}"; }

runs_with_gcc() { compiles host-gcc "$1" && timeout -k 10 900 "$here/build/host-gcc/$1"; }

runs_with_windows_clang() {
    compiles windows-clang all && timeout -k 10 900 "$here/cmake/in-wine" "$here/build/windows-clang/$1"
}

clang_shows_volumes() { expect 0 runs_with_windows_clang sysmira.exe volumes && has "$out" 'OS locator +.*C:$'; }

# Each target starts from its seeds; what it adds to them stays in the build folder.
fuzzes() {
    build host-fuzz -- all || return 1
    local program name found=0
    for program in "$here"/build/host-fuzz/*_fuzz; do
        name=$(basename "$program" _fuzz)
        mkdir -p "$here/build/host-fuzz/corpus/$name"
        "$program" -max_total_time="$fuzz_seconds" -print_final_stats=0 -verbosity=0 \
            -artifact_prefix="$here/build/host-fuzz/$name-" \
            "$here/build/host-fuzz/corpus/$name" "$here/fuzz/corpus/$name" || return 1
        found=$((found + 1))
    done
    # As many as the build registered.
    [ "$found" -eq "$(grep -c '^seeds-' "$here/build/host-fuzz/tests.list")" ] && [ "$found" -gt 0 ]
}

measures() {
    build host -- benchmarks && build windows -- all benchmarks || return 1
    "$here/benchmarks/measure.py" --list "$here/build/host/benchmarks.list" \
        --wine "$here/cmake/in-wine" "$here/build/windows/benchmarks.list" | tee "$results/table"
    return "${PIPESTATUS[0]}"
}
