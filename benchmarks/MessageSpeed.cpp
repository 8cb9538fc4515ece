// What the DLL adds to the Windows calls that it must make for a record's message, on the system's own
// functions and a real message file: against a bare loop of the same calls. Prints the ratio with its spread.
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "benchmarks/Timing.h"
#include "libSysmira/eventLogs/EventLogParser.h"
#include "tests/contract/MessageContractMachine.h"
#include "tests/windows/ImportTable.h"

namespace {

constexpr const WCHAR* sourceKey = L"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\SysmiraSpeed";

// One record: a log of this system may have none.
BOOL WINAPI readRecord(HANDLE, DWORD, DWORD, void* buffer, DWORD, DWORD* read, DWORD*) {
    static const struct {
        EVENTLOGRECORD fixed;
        WCHAR source[14];
        WCHAR strings[8];
        DWORD length;
    } record = {{sizeof record, 0x654C664C, 1, 0, 0, 0xC0040007, EVENTLOG_ERROR_TYPE, 2, 0, 0, 0,
                 sizeof(EVENTLOGRECORD) + sizeof record.source, 0, 0, 0, 0},
                L"SysmiraSpeed",
                {'C', 'P', 'U', 0, '9', '0', '0', 0},
                sizeof record};
    std::memcpy(buffer, &record, sizeof record);
    *read = sizeof record;
    return TRUE;
}

void nameMessageFile() {
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, sourceKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    const WCHAR* const file = contractMessageFile();
    RegSetValueExW(key, L"EventMessageFile", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(file),
                   (static_cast<DWORD>(lstrlenW(file)) + 1) * sizeof(WCHAR));
    RegCloseKey(key);
}

// What the library asks of Windows for one rendering; the length of the text.
DWORD renderBare(DWORD flags) {
    HKEY key = nullptr;
    DWORD type = 0, size = 0;
    BYTE value[1024];
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, sourceKey, 0, KEY_READ, &key);
    RegCloseKey(key);
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, sourceKey, 0, KEY_READ, &key);
    RegQueryValueExW(key, L"EventMessageFile", nullptr, &type, nullptr, nullptr);
    RegCloseKey(key);
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, sourceKey, 0, KEY_READ, &key);
    size = sizeof value;
    RegQueryValueExW(key, L"EventMessageFile", nullptr, &type, value, &size);
    RegCloseKey(key);
    WCHAR file[MAX_PATH + 32];
    ExpandEnvironmentStringsW(reinterpret_cast<const WCHAR*>(value), file, MAX_PATH + 32);
    const HMODULE module = LoadLibraryExW(file, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ULONG_PTR arguments[99] = {reinterpret_cast<ULONG_PTR>(L"CPU"), reinterpret_cast<ULONG_PTR>(L"900")};
    WCHAR* text = nullptr;
    const bool ignore = (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0;
    const DWORD units = FormatMessageW(flags, module, 0xC0040007, 0, reinterpret_cast<LPWSTR>(&text), 1,
                                       ignore ? nullptr : reinterpret_cast<va_list*>(arguments));
    LocalFree(text);
    FreeLibrary(module);
    return units;
}

}  // namespace

int main() {
    using namespace benchmarks;
    constexpr unsigned Rounds = 2001;
    const ReplacedImport reading(GetModuleHandleW(L"Sysmira.dll"), "ReadEventLogW",
                                 reinterpret_cast<void*>(&readRecord));
    nameMessageFile();
    const auto parser = std::make_unique<libSysmira::EventLogParser>();
    if (!reading.isThere() || !parser->openEventLog("System") || !parser->getNextEvent()) return 1;
    std::vector<double> oursSeconds, peerSeconds;
    unsigned oursUnits = 0, peerUnits = 0;
    const auto ours = [&] { oursUnits = parser->getEventMessage().size(); };
    const auto peer = [&] {
        renderBare(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE |
                   FORMAT_MESSAGE_IGNORE_INSERTS);
        peerUnits = renderBare(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE |
                               FORMAT_MESSAGE_ARGUMENT_ARRAY);
    };
    for (unsigned round = 0; round < Rounds; ++round) {
        if (round % 2 == 0) oursSeconds.push_back(secondsOf(ours));
        peerSeconds.push_back(secondsOf(peer));
        if (round % 2 != 0) oursSeconds.push_back(secondsOf(ours));
    }
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, sourceKey);
    // The library trims the line end.
    if (oursUnits == 0 || oursUnits + 2 != peerUnits) {
        std::fprintf(stderr, "The library and the bare loop render different things: %u and %u.\n", oursUnits,
                     peerUnits);
        return 1;
    }
    print({"an event's message, on the system's functions", "bare registry reads, load, format, free",
           /*aim=*/1.05},
          Ratio(oursSeconds, peerSeconds));
}
