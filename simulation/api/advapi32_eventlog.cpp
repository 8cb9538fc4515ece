// The classic event log.
#include <algorithm>
#include <cstring>

#include "simulation/control/Call.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

struct OpenLog {
    Text name;
    unsigned clearings;  // of the log when it was opened
    bool positioned = false;
    size_t next = 0;  // forwards: the record to read; backwards: the one behind it
};

HandleTable<OpenLog>& openLogs() {
    static HandleTable<OpenLog> theLogs(Resource::EventLog);
    static const AtReset atReset([] { theLogs.clear(); });
    return theLogs;
}

ClassicLog* logOf(const OpenLog& open) {
    const auto found = machine().events.classic.find(open.name);
    return found != machine().events.classic.end() ? &found->second : nullptr;
}

constexpr DWORD OneOrigin = EVENTLOG_SEQUENTIAL_READ | EVENTLOG_SEEK_READ;
constexpr DWORD OneDirection = EVENTLOG_FORWARDS_READ | EVENTLOG_BACKWARDS_READ;

bool hasOne(DWORD flags, DWORD mask) {
    const DWORD bits = flags & mask;
    return bits != 0 && (bits & (bits - 1)) == 0;
}

// The largest reading that Windows takes.
constexpr DWORD LargestRead = 0x7FFFF;

// How many records from `next` on fit.
size_t fittingForwards(const ClassicLog& log, size_t next, size_t capacity) {
    size_t count = 0;
    while (next + count < log.count() && log.begin(next + count + 1) - log.begin(next) <= capacity) ++count;
    return count;
}

size_t fittingBackwards(const ClassicLog& log, size_t next, size_t capacity) {
    size_t count = 0;
    while (count < next && log.begin(next) - log.begin(next - count - 1) <= capacity) ++count;
    return count;
}

const std::vector<long long> countCodes = {ERROR_INVALID_HANDLE, RPC_S_SERVER_UNAVAILABLE,
                                           ERROR_EVENTLOG_FILE_CORRUPT};

BOOL tellNumber(Call& call, HANDLE handle, PDWORD number, DWORD (*ask)(const ClassicLog&)) {
    if (const auto fault = call.fault<BOOL>()) return *fault;
    if (number == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    const OpenLog* const open = openLogs().find(handle, call.name());
    const ClassicLog* const log = open != nullptr ? logOf(*open) : nullptr;
    if (log == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    if (!call.distorted(Distortion::NothingWritten)) *number = ask(*log);
    return call.returns<BOOL>(TRUE);
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(HANDLE, WINAPI, OpenEventLogW, (LPCWSTR server, LPCWSTR name)) {
    static const Function function{"OpenEventLogW",
                                   Fails::WithZero,
                                   {ERROR_ACCESS_DENIED, RPC_S_SERVER_UNAVAILABLE, ERROR_INVALID_PARAMETER,
                                    ERROR_EVENTLOG_FILE_CORRUPT}};
    Call call(function, name);
    if (const auto fault = call.fault<HANDLE>()) return *fault;
    if (name == nullptr || *name == 0) return call.fails<HANDLE>(ERROR_INVALID_PARAMETER);
    if (server != nullptr && *server != 0) return call.fails<HANDLE>(RPC_S_SERVER_UNAVAILABLE);
    // A log that is not registered: the Application log is opened in its place.
    auto& logs = machine().events.classic;
    auto found = logs.find(fromWide(name));
    if (found == logs.end()) found = logs.find(u"Application");
    if (found == logs.end()) return call.fails<HANDLE>(ERROR_FILE_NOT_FOUND);
    if (found->second.openError != 0) return call.fails<HANDLE>(found->second.openError);
    return call.returns(openLogs().add(
        std::make_unique<OpenLog>(OpenLog{found->first, found->second.clearings()}), call.name()));
}

SIMULATED(BOOL, WINAPI, CloseEventLog, (HANDLE handle)) {
    static const Function function{"CloseEventLog", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    Call call(function, handle);
    // A log whose closing is made to fail is gone all the same: nobody closes twice.
    const bool closed = openLogs().close(handle, call.name());
    if (const auto fault = call.fault<BOOL>()) return *fault;
    return closed ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(ERROR_INVALID_HANDLE);
}

// Whole records only. The needed size is told when not one fits.
SIMULATED(BOOL, WINAPI, ReadEventLogW,
          (HANDLE handle, DWORD flags, DWORD offset, LPVOID buffer, DWORD size, DWORD* read, DWORD* needed)) {
    static const Function function{
        "ReadEventLogW",
        Fails::WithZero,
        {ERROR_HANDLE_EOF, ERROR_EVENTLOG_FILE_CHANGED, ERROR_EVENTLOG_FILE_CORRUPT,
         ERROR_INSUFFICIENT_BUFFER, RPC_S_CALL_FAILED},
        Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero | Distortion::OddSize |
            Distortion::NoTerminator};
    Call call(function, flags, offset, size);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    // Wine's tests of the event log, run on Windows: arguments are checked before the handle, and leave the
    // counts alone.
    const bool valid = hasOne(flags, OneOrigin) && hasOne(flags, OneDirection) && buffer != nullptr &&
                       read != nullptr && needed != nullptr && size <= LargestRead;
    if (!valid) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    OpenLog* const open = openLogs().find(handle, call.name());
    ClassicLog* const log = open != nullptr ? logOf(*open) : nullptr;
    if (log == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    *read = 0;
    *needed = 0;
    if (open->clearings != log->clearings()) return call.fails<BOOL>(ERROR_EVENTLOG_FILE_CHANGED);

    const bool backwards = (flags & EVENTLOG_BACKWARDS_READ) != 0;
    if ((flags & EVENTLOG_SEEK_READ) != 0) {
        if (offset < log->oldestNumber() || offset - log->oldestNumber() >= log->count())
            return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
        open->next = offset - log->oldestNumber() + (backwards ? 1 : 0);
    } else if (!open->positioned) {
        open->next = backwards ? log->count() : 0;
    }
    open->positioned = true;
    if (open->next == (backwards ? 0 : log->count())) return call.fails<BOOL>(ERROR_HANDLE_EOF);

    const size_t count =
        backwards ? fittingBackwards(*log, open->next, size) : fittingForwards(*log, open->next, size);
    if (count == 0) {
        const size_t next = backwards ? open->next - 1 : open->next;
        *needed = static_cast<DWORD>(log->begin(next + 1) - log->begin(next));
        return call.fails<BOOL>(ERROR_INSUFFICIENT_BUFFER);
    }
    std::vector<unsigned char> reversed;
    const unsigned char* bytes = log->bytes() + log->begin(open->next);
    size_t length = 0;
    if (backwards) {
        for (size_t index = open->next; index != open->next - count; --index) {
            reversed.insert(reversed.end(), log->bytes() + log->begin(index - 1),
                            log->bytes() + log->begin(index));
        }
        bytes = reversed.data();
        length = reversed.size();
        open->next -= count;
    } else {
        length = log->begin(open->next + count) - log->begin(open->next);
        open->next += count;
    }
    copyOut(call, bytes, length, buffer, size, read);
    if (++log->reads == log->clearAfter) log->clear();
    return call.returns<BOOL>(TRUE);
}

SIMULATED(BOOL, WINAPI, GetNumberOfEventLogRecords, (HANDLE handle, PDWORD number)) {
    static const Function function{"GetNumberOfEventLogRecords", Fails::WithZero, countCodes,
                                   0u | Distortion::NothingWritten};
    Call call(function, handle);
    return tellNumber(call, handle, number,
                      [](const ClassicLog& log) { return static_cast<DWORD>(log.count()); });
}

SIMULATED(BOOL, WINAPI, GetOldestEventLogRecord, (HANDLE handle, PDWORD number)) {
    static const Function function{"GetOldestEventLogRecord", Fails::WithZero, countCodes,
                                   0u | Distortion::NothingWritten};
    Call call(function, handle);
    return tellNumber(call, handle, number, [](const ClassicLog& log) { return log.oldestNumber(); });
}
