# What the command, the example and the archives do on Linux. Read by ./test.

declare_linux_checks() {
    check linux:text "sysmira prints the bundled PC as text" prints_devices
    check linux:json "sysmira prints the bundled PC as JSON" prints_json
    check linux:edid "sysmira reads EDIDs as edid-decode does" "$here/tests/checks/compareEdid.py" "$host/sysmira" \
        "$here"/fuzz/corpus/Edid/*
    check linux:desktop "sysmira draws the desktop and logs how long WMI took" draws_desktop
    check linux:counters "sysmira reads German counters by English names" reads_counters
    check linux:trend "sysmira draws a trend on a terminal, and nowhere else" draws_trends
    check linux:report "the report's page, document and text agree, and the page looks and folds as it should" \
        report_holds
    check linux:defrag "sysmira analyses a volume, and shows what a help call would open" analyses_and_helps
    check linux:refusals "sysmira refuses what it does not know" refuses
    check linux:prepare-drive "the example prepare-drive avoids what it must not touch, and unlocks" prepares_a_drive
    check linux:archives "libcommon.a and libSysmira.a hold nothing of the simulation" archives_stand_alone
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
        "$host/sysmira" report >"$folder/text" && "$here/tests/checks/reportPage.py" "$folder"/{page.html,document.json,text}
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

archives_stand_alone() {
    local found
    found=$(nm -C --undefined-only "$host/libcommon.a" "$host/libSysmira.a" 2>/dev/null | grep simulation)
    [ -z "$found" ] || { echo "$found"; return 1; }
}
