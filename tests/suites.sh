# The suites of ./test and how they are counted; read by it with $here, $host, $threads, $windows and $results set.

replays="MultiString Location RegistryValue MachineFile Wql Storage DisplayMatching Edid NameTable"
# Those whose seeds are short and quick enough to change each byte of.
changing_replays="EventMessage EventRecords EventValues EventXPath"

export ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1

on_linux() {
    echo "Linux, with AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer:"
    suite behaviour "$host/behaviour"
    suite sweep "$host/sweep"
    suite contract "$host/contract"
    check "sysmira prints the bundled PC as text" prints_devices
    check "sysmira prints the bundled PC as JSON" prints_json
    check "sysmira reads EDIDs as edid-decode does" "$here/tests/compareEdid.py" "$host/sysmira" "$here"/fuzz/corpus/Edid/*
    check "sysmira draws the desktop and logs how long WMI took" draws_desktop
    check "sysmira reads German counters by English names" reads_counters
    check "sysmira draws a trend on a terminal, and nowhere else" draws_trends
    check "the report's page, document and text tell the same, and the page looks and folds as it should" report_holds
    check "sysmira analyses a volume, and shows what a help call would open" analyses_and_helps
    check "sysmira refuses what it does not know" refuses
    check "the example prepare-drive keeps off what it must not touch, and unlocks" prepares_a_drive
    check "the reference of the public headers is made without a warning" makes_reference
    check "libcommon.a and libSysmira.a hold nothing of the simulation" archives_stand_alone
    check "the package for Linux is whole, and tells nothing of where it was made" installs_on_linux
    check "its examples are built of nothing else, and do what they should" uses_package_on_linux
    echo "Linux, with ThreadSanitizer:"
    suite threads "$threads/threads"
    echo "Linux, parsers of bytes from outside, with the same sanitizers:"
    for name in $replays; do
        check "the fuzz seeds of $name" "$host/${name}_replay" "$here/fuzz/corpus/$name"
    done
    for name in $changing_replays; do
        check "the fuzz seeds of $name, each byte changed" "$host/${name}_replay" --changes "$here/fuzz/corpus/$name"
    done
}

on_windows() {
    echo "Windows programs, under Wine:"
    suite behaviour in_wine behaviour.exe
    suite sweep in_wine sweep.exe
    suite contract in_wine contract.exe
    check "Wine has a drive T: with a label and a serial number" makes_wine_drive
    suite windows_tests in_wine windows_tests.exe
    for name in $replays; do
        check "the fuzz seeds of $name" in_wine "${name}_replay.exe" "$here/fuzz/corpus/$name"
    done
    for name in $changing_replays; do
        check "the fuzz seeds of $name, each byte changed" in_wine "${name}_replay.exe" --changes "$here/fuzz/corpus/$name"
    done
    check "the simulation takes every call of a function that it owns" simulation_takes_calls
    check "the DLLs export their public classes and nothing of the run-time library" exports_are_public
    check "the DLLs import from Windows and the run-time library alone" imports_are_windows
    check "sysmira.exe lists the devices of this system" lists_wine_devices
    check "sysmira.exe says in a sentence that there is no device tree" tree_is_refused
    check "sysmira.exe shows the volumes of this system" shows_wine_volumes
    check "sysmira.exe shows the EDID in this system's registry" shows_wine_edid
    check "display functions and sysmira.exe find two monitors" two_monitors
    check "Sysmira.dll loads pdh.dll when it needs it, and does without" pdh_is_delayed
    check "sysmira.exe reads the up time of this system" reads_up_time
    check "sysmira.exe reports what this system tells, and says what it does not" reports_wine
    check "sysmira.exe ends help and dialogs that are not there with a sentence" refuses_to_show
    check "the package for Windows is whole, and tells nothing of where it was made" makes_zip
    check "its sysmira.exe runs, its examples are built of nothing else, and run" uses_zip
}

# Counting. A suite counts with its cases, a check as one.

# suite NAME COMMAND...: a GoogleTest program.
suite() {
    local name=$1 log passed failed skipped status=0 start=$SECONDS
    shift
    log=$(mktemp -p "$results" log.XXXXXX)
    limited "$@" >"$log" 2>&1 </dev/null || status=$?
    sed -i 's/\r$//' "$log"
    passed=$(grep -c '^\[       OK \]' "$log")
    failed=$(grep -cE '^\[  FAILED  \] .* \([0-9]+ ms\)$' "$log")
    skipped=$(grep -cE '^\[  SKIPPED \] .* \([0-9]+ ms\)$' "$log")
    # A program that ends early, or runs nothing, has failed whatever its cases say.
    if [ "$failed" -eq 0 ] && { [ "$status" -ne 0 ] || [ "$passed" -eq 0 ]; }; then
        failed=1
        echo "$name ended with status $status" >>"$log"
    fi
    echo "$passed $failed" >>"$results/counts"
    printf '  %-14s %4d passed' "$name" "$passed"
    [ "$skipped" -eq 0 ] || printf ', %d skipped' "$skipped"
    if [ "$failed" -eq 0 ]; then
        echo ", $((SECONDS - start)) s"
    else
        printf ', %d FAILED, %d s:\n' "$failed" $((SECONDS - start))
        grep -vE '^\[ RUN      \]|^\[       OK \]|^\[---' "$log" | tail -n 60 | sed 's/^/      /'
    fi
    grep '^sweep: ' "$log" | sed 's/^sweep: /                 /'
}

# check SENTENCE COMMAND...: passed when the command succeeds; what it prints says why it did not.
check() {
    local sentence=$1 log start=$SECONDS
    shift
    log=$(mktemp -p "$results" log.XXXXXX)
    if limited "$@" >"$log" 2>&1 </dev/null; then
        echo "1 0" >>"$results/counts"
        echo "  ok: $sentence, $((SECONDS - start)) s"
    else
        fail "$sentence"
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

# Ten minutes, for a program; the functions below are quick.
limited() {
    case $(type -t "$1") in
        function) "$@" ;;
        *) timeout -k 10 600 "$@" ;;
    esac
}

# in_wine PROGRAM [ARGUMENT...]: one of build/windows.
in_wine() {
    local program=$1
    shift
    timeout -k 10 600 "$here/cmake/in-wine" "$windows/$program" "$@"
}

# The checks.

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

prints_devices() {
    expect 0 "$host/sysmira" devices --disks && has "$out" 'Device\[0\]' && [ -z "$err" ] &&
        expect 0 "$host/sysmira" tree && has "$out" 'HTREE\\ROOT\\0' && [ -z "$err" ]
}

prints_json() {
    expect 0 "$host/sysmira" --json devices --all && python3 -c '
import json, sys
devices = json.load(sys.stdin)["devices"]
sys.exit(not (len(devices) > 50 and all(device["id"] for device in devices)))' <<<"$out" &&
        expect 0 "$host/sysmira" --json tree && python3 -m json.tool <<<"$out" >/dev/null
}

draws_desktop() {
    expect 0 "$host/sysmira" displays --picture && has "$out" 'DISPLAY1 .*DISPLAY2' && [ -z "$err" ] &&
        expect 0 "$host/sysmira" --log 1 displays --edid && has "$err" '122 Wmi-EDID fetch took: [0-9.]+ seconds' &&
        has "$out" 'DisplayID Extension Block'
}

reads_counters() {
    local load='Processor(_Total)\% Processor Time'
    expect 0 "$host/sysmira" counters && has "$out" '^Processor$' && [ -z "$err" ] &&
        expect 0 "$host/sysmira" counters Processor --json && has "$out" '"localizedName": "Prozessor"' &&
        expect 0 "$host/sysmira" counters "$load" --every 0.05 --samples 3 && [ "$(wc -l <<<"$out")" -eq 4 ] &&
        expect 1 "$host/sysmira" counters 'Procesor(_Total)\% Processor Time' && has "$err" 'mean "Processor"' && [ -z "$out" ]
}

draws_trends() {
    local counters=("$host/sysmira" counters 'System\Processor Queue Length' --every 0.05 --samples 5)
    expect 0 "${counters[@]}" && ! grep -q '[▁█]' <<<"$out" &&
        expect 0 python3 -c 'import pty, sys; sys.exit(pty.spawn(sys.argv[1:]) >> 8)' "${counters[@]}" &&
        has "$out" '3 +▁▁▃▁█'
}

report_holds() {
    local folder=$results/report
    mkdir -p "$folder" && "$host/sysmira" --json report --html "$folder/page.html" >"$folder/document.json" &&
        "$host/sysmira" report >"$folder/text" && "$here/tests/reportPage.py" "$folder"/{page.html,document.json,text}
}

analyses_and_helps() {
    expect 0 "$host/sysmira" --json defrag && has "$out" '"C:"' && expect 0 "$host/sysmira" defrag D &&
        has "$out" 'not needed' && has "$out" 'Total fragmentation +3 %' && expect 0 "$host/sysmira" help fans &&
        has "$out" fans && expect 1 "$host/sysmira" network-properties '{00000000-0000-0000-0000-000000000000}' &&
        has "$err" 'Network Connections folder' && [ -z "$out" ]
}

refuses() {
    expect 2 "$host/sysmira" no-such-subcommand && has "$err" no-such-subcommand && [ -z "$out" ] &&
        expect 1 "$host/sysmira" device 'NO\SUCH\DEVICE' && has "$err" 'NO\\SUCH\\DEVICE' && [ -z "$out" ] &&
        expect 1 "$host/sysmira" --machine no-such-file.json tree && has "$err" no-such-file.json && [ -z "$out" ]
}

prepares_a_drive() {
    expect 0 "$host/prepare-drive" && has "$out" 'Windows or this program runs from it' &&
        has "$out" 'sector 2048: in use' && has "$out" 'unlocked' && has "$out" 'hands off' && [ -z "$err" ]
}

makes_reference() {
    (cd "$here" && doxygen docs/Doxyfile) && [ -s "$here/build/reference/html/index.html" ]
}

archives_stand_alone() {
    local found
    found=$(nm -C --undefined-only "$host/libcommon.a" "$host/libSysmira.a" 2>/dev/null | grep simulation)
    [ -z "$found" ] || { echo "$found"; return 1; }
}

imports() { x86_64-w64-mingw32-objdump -p "$windows/$1" | sed -n 's/^\tDLL Name: //p'; }

# No function whose import pointer the simulation defines may be imported from a DLL all the same.
simulation_takes_calls() {
    local program owned
    owned=$(x86_64-w64-mingw32-nm --defined-only "$windows/libSysmiraSimulation.a" 2>/dev/null |
        sed -n 's/^[0-9a-f]* D __imp_//p' | sort -u)
    has "$owned" '^CM_Get_Child$' && has "$owned" '^RegQueryValueExW$' || return 1
    for program in behaviour.exe sweep.exe; do
        x86_64-w64-mingw32-objdump -p "$windows/$program" | awk '/DLL Name/ {inside = 1} inside && NF == 3 {print $3}' |
            sort -u | comm -12 - <(echo "$owned") >"$results/taken"
        [ -s "$results/taken" ] || continue
        echo "$program imports:"
        cat "$results/taken"
        return 1
    done
}

# The names that a DLL exports, as C++ writes them.
exports() {
    x86_64-w64-mingw32-objdump -p "$windows/$1" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' |
        sed -n 's/^\t\[ *[0-9]*\].* //p' | x86_64-w64-mingw32-c++filt
}

exports_are_public() {
    local dll space
    for dll in common.dll:zor Sysmira.dll:libSysmira; do
        space=${dll#*:}
        exports "${dll%:*}" >"$results/exports"
        [ -s "$results/exports" ] || { echo "${dll%:*} exports nothing"; return 1; }
        # Of its own name space (instances of templates begin with their result), or the table of virtual
        # functions and the type information of such a class.
        if grep -vE "^((vtable|typeinfo|typeinfo name) for |bool )?$space::" "$results/exports"; then return 1; fi
    done
}

imports_are_windows() {
    local dll
    for dll in common.dll Sysmira.dll; do
        if imports $dll | grep -viE '^(kernel32|advapi32|setupapi|cfgmgr32|version|ole32|oleaut32|user32|shell32|wevtapi|msvcrt)\.dll$' |
            grep -vE '^(libstdc\+\+-6|libgcc_s_seh-1|libwinpthread-1|common)\.dll$'; then
            return 1
        fi
    done
    # The functions on the device tree come from setupapi.dll, as on every Windows.
    ! imports Sysmira.dll | grep -i cfgmgr32
}

lists_wine_devices() {
    local disk='ACME ROCKET 1000 SSD'
    "$here/cmake/in-wine" "$windows/sysmira.exe" --version >/dev/null &&
        SYSMIRA_WINE=$windows "$here/cmake/in-wine" regedit /S "$here/tests/contract/disk.reg" &&
        expect 0 in_wine sysmira.exe devices --disks && has "$out" "$disk" && has "$out" 'scsi#disk&ven_acme' &&
        expect 0 in_wine sysmira.exe devices --all && has "$out" "$disk" && has "$out" 'Device\[1\]'
}

tree_is_refused() {
    expect 1 in_wine sysmira.exe tree && has "$err" '^sysmira: .*\.$' && [ -z "$out" ]
}

# A folder of the prefix as a drive; Wine reads label and serial number from files in it, and looks for drives when
# the prefix's server starts.
makes_wine_drive() {
    in_wine sysmira.exe --version >/dev/null || return 1
    local prefix=$windows/wine-prefix
    WINEPREFIX=$prefix /usr/lib/wine/wineserver64 -k
    WINEPREFIX=$prefix /usr/lib/wine/wineserver64 -w
    mkdir -p "$prefix/drive_t" && printf 'SYSMIRA-T' >"$prefix/drive_t/.windows-label" &&
        printf '1a2b3c4d' >"$prefix/drive_t/.windows-serial" && ln -sfn ../drive_t "$prefix/dosdevices/t:" &&
        expect 0 in_wine sysmira.exe --json volumes && has "$out" 'SYSMIRA-T'
}

shows_wine_volumes() {
    expect 0 in_wine sysmira.exe volumes && has "$out" '^T: SYSMIRA-T$' && has "$out" 'Serial number +1A2B-3C4D' &&
        has "$out" 'OS locator +.*C:$'
}

shows_wine_edid() {
    in_wine sysmira.exe displays >/dev/null &&
        SYSMIRA_WINE=$windows "$here/cmake/in-wine" regedit /S "$here/tests/windows/monitor-edid.reg" &&
        expect 0 in_wine sysmira.exe displays --edid && has "$out" '00 ff ff ff ff ff ff 00 04 6d 34 12' &&
        has "$out" 'ACME MON' && has "$out" '128 bytes from the registry'
}

# A screen of two parts, which Wine takes for two monitors, although it knows the mode of the first alone; in a
# prefix of its own, as Wine keeps what it found.
two_monitors() {
    local folder=$windows/two-monitors xvfb status=0
    mkdir -p "$folder"
    Xvfb -displayfd 9 -screen 0 1280x800x24 -screen 1 1024x768x24 +xinerama -extension RANDR -nolisten tcp \
        9>"$folder/display" >/dev/null 2>&1 &
    xvfb=$!
    for _ in $(seq 50); do
        [ ! -s "$folder/display" ] || break
        sleep 0.2
    done
    local -x DISPLAY SYSMIRA_WINE=$folder SYSMIRA_MONITORS=2
    DISPLAY=:$(cat "$folder/display")
    in_wine contract.exe --gtest_filter='DisplayContract.*-*.CurrentModes*' && expect 0 in_wine sysmira.exe displays &&
        has "$out" 'DISPLAY1\\Monitor0' && has "$out" 'DISPLAY2\\Monitor0' && has "$out" 'Display\[1\]' || status=1
    WINEPREFIX=$folder/wine-prefix /usr/lib/wine/wineserver64 -k 2>/dev/null
    kill $xvfb
    wait $xvfb 2>/dev/null
    return $status
}

pdh_is_delayed() {
    x86_64-w64-mingw32-nm "$windows/Sysmira.dll" | grep -q __DELAY_IMPORT_DESCRIPTOR_ || { echo "not delayed"; return 1; }
    ! imports Sysmira.dll | grep -i pdh && ! imports sysmira.exe | grep -i pdh &&
        WINEDLLOVERRIDES=pdh= expect 0 in_wine sysmira.exe counters && has "$err" 'no performance objects' &&
        WINEDLLOVERRIDES=pdh= expect 1 in_wine sysmira.exe counters 'System\System Up Time' && [ -z "$out" ]
}

# Beside the program lies a pdh.dll that adds to the system the names that are needed and missing.
reads_up_time() {
    local folder=$results/up-time
    mkdir -p "$folder" && cp "$windows"/*.dll "$windows/sysmira.exe" "$windows/counter-names/pdh.dll" "$folder" &&
        SYSMIRA_WINE=$windows WINEDLLOVERRIDES=pdh=n,b expect 0 \
            "$here/cmake/in-wine" "$folder/sysmira.exe" counters 'System\System Up Time' --json &&
        has "$out" '"value":[0-9]+\}' && [ -z "$err" ]
}

# Each section is there, whatever Wine does to the process that reads it: it ends programs that call functions that
# it does not have.
reports_wine() {
    expect 0 in_wine sysmira.exe report && has "$out" '^System: complete' && has "$out" '^Devices: partial' &&
        has "$out" '^Displays: ' && has "$out" '^Diagnostics: ' && has "$out" 'exception 0x80000100' &&
        [ "$(grep -c 'not the report' <<<"$out")" -le 1 ] &&
        expect 0 in_wine sysmira.exe --json report --section displays --html "z:$results/wine.html" &&
        has "$out" '"partial"|"complete"' && grep -q '<section id="displays"' "$results/wine.html"
}

refuses_to_show() {
    expect 1 in_wine sysmira.exe help fans && has "$err" '^sysmira: .*\.$' && [ -z "$out" ] &&
        expect 1 in_wine sysmira.exe help-file 'C:\no such file.chm' fans.htm && has "$err" 'no such file' && [ -z "$out" ] &&
        expect 1 in_wine sysmira.exe network-properties '{00000000-0000-0000-0000-000000000000}' && [ -z "$out" ]
}

# Every header of the package is read, so that none asks for one that stayed behind.
installs_on_linux() {
    local package=$results/linux
    expect 0 cmake --install "$host" --prefix "$package" && ! grep -rlIF -- "$here" "$package" &&
        (cd "$package/include/sysmira" && find . -name '*.h' -printf '#include "%P"\n') |
            g++ -std=c++20 -fsyntax-only -fshort-wchar -fms-extensions -idirafter /usr/share/mingw-w64/include \
                -I"$package/include/sysmira" -x c++ -
}

# builds_example NAME PACKAGE [CMAKE OPTION...]: in $results/NAME of PACKAGE, by what stands in the package alone.
builds_example() {
    local name=$1 package=$2 folder source
    shift 2
    folder=$results/$name-$(basename "$package")
    source=$(find "$package" -type d -name "$name")
    expect 0 cmake -G Ninja -S "$source" -B "$folder" -D CMAKE_PREFIX_PATH="$package" "$@" &&
        expect 0 ninja -C "$folder" && ! grep -rlIF -- "$here" "$folder"
}

uses_package_on_linux() {
    local package=$results/linux
    builds_example diagnostic-test "$package" && builds_example prepare-drive "$package" &&
        expect 0 "$results/diagnostic-test-linux/disk-test-cases" "$package"/share/doc/*/examples/diagnostic-test/pc.json &&
        has "$out" '^ok: Bad blocks fail the disk that they are on$' && ! grep FAILED <<<"$out" && [ -z "$err" ] &&
        expect 0 "$results/prepare-drive-linux/prepare-drive" && has "$out" 'sector 2048: in use'
}

makes_zip() {
    local package=$results/windows
    mkdir -p "$package" && expect 0 cpack --config "$windows/CPackConfig.cmake" -B "$results/zip" &&
        (cd "$package" && cmake -E tar xf "$results"/zip/*.zip && mv sysmira-*/* .) &&
        ! grep -rlF -- "$here" "$package" && diff <(cd "$package" && find bin lib -maxdepth 1 -type f | sort) - <<END &&
bin/Sysmira.dll
bin/common.dll
bin/libgcc_s_seh-1.dll
bin/libstdc++-6.dll
bin/libwinpthread-1.dll
bin/sysmira.exe
lib/libSysmira.dll.a
lib/libcommon.dll.a
END
        ls "$package"/README.md "$package"/docs/architecture.md "$package"/licences/mingw-w64-common.txt
}

uses_zip() {
    local package=$results/windows name
    for name in diagnostic-test prepare-drive; do
        builds_example $name "$package" -D CMAKE_SYSTEM_NAME=Windows \
            -D CMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix || return 1
    done
    local -x SYSMIRA_WINE=$windows WINEPATH=Z:${package//\//\\}\\bin
    expect 0 "$here/cmake/in-wine" "$package/bin/sysmira.exe" devices --disks && has "$out" 'ACME ROCKET 1000 SSD' &&
        expect 2 "$here/cmake/in-wine" "$results/diagnostic-test-windows/disk-test.exe" &&
        has "$out" '^unknown +ACME ROCKET 1000 SSD$' && has "$out" 'the drive does not answer' &&
        expect 0 "$here/cmake/in-wine" "$results/prepare-drive-windows/prepare-drive.exe" &&
        has "$out" '^ACME ROCKET 1000 SSD, 0 bytes$' && has "$out" 'no fixed disk'
}
