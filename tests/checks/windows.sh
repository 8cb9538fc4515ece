# The DLLs and sysmira.exe under Wine. Read by ./test.

declare_windows_checks() {
    check windows:drive "Wine has a drive T: with a label and a serial number" has_wine_drive
    check windows:overrides "the simulation takes every call of a function that it owns" simulation_takes_calls
    check windows:exports "the DLLs export their public classes and nothing of the run-time library" exports_are_public
    check windows:imports "the DLLs import from Windows and the run-time library alone" imports_are_windows
    check windows:devices "sysmira.exe lists the devices of this system" lists_wine_devices
    check windows:tree "sysmira.exe says in a sentence that there is no device tree" tree_is_refused
    check windows:volumes "sysmira.exe shows the volumes of this system" shows_wine_volumes
    check windows:edid "sysmira.exe shows the EDID in this system's registry" shows_wine_edid
    check windows:monitors "display functions and sysmira.exe find two monitors" two_monitors
    check windows:pdh "Sysmira.dll loads pdh.dll when it needs it, and works without" pdh_is_delayed
    check windows:counters "sysmira.exe reads the up time of this system" reads_up_time
    check windows:report "sysmira.exe reports what this system answers, and says what it does not" reports_wine
    check windows:help "sysmira.exe refuses help and dialogs that do not exist with a sentence" refuses_to_show
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

imports_wine_disk() {
    SYSMIRA_WINE=$windows "$here/cmake/in-wine" regedit /S "$here/tests/contract/disk.reg"
}

lists_wine_devices() {
    local disk='ACME ROCKET 1000 SSD'
    once imports_wine_disk && expect 0 in_wine sysmira.exe devices --disks && has "$out" "$disk" && has "$out" 'scsi#disk&ven_acme' &&
        expect 0 in_wine sysmira.exe devices --all && has "$out" "$disk" && has "$out" 'Device\[1\]'
}

tree_is_refused() {
    expect 1 in_wine sysmira.exe tree && has "$err" '^sysmira: .*\.$' && [ -z "$out" ]
}

# A folder of the prefix as a drive; Wine reads label and serial number from files in it, and looks for drives when
# the prefix's server starts. Before any other program runs, therefore.
makes_wine_drive() {
    in_wine sysmira.exe --version >/dev/null || return 1
    local prefix=$windows/wine-prefix
    WINEPREFIX=$prefix /usr/lib/wine/wineserver64 -k
    WINEPREFIX=$prefix /usr/lib/wine/wineserver64 -w
    mkdir -p "$prefix/drive_t" && printf 'SYSMIRA-T' >"$prefix/drive_t/.windows-label" &&
        printf '1a2b3c4d' >"$prefix/drive_t/.windows-serial" && ln -sfn ../drive_t "$prefix/dosdevices/t:"
}

has_wine_drive() {
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
    expect 1 in_wine sysmira.exe report && has "$err" 'not read: .*Performance counters' && has "$out" '^System: complete' && has "$out" '^Devices: partial' &&
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
