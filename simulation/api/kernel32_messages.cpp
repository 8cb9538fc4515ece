// Message texts: of message files of the PC, of the caller's own text, of system errors.
#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "simulation/api/MessageText.h"
#include "simulation/api/Modules.h"
#include "simulation/api/RealFunction.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

struct SystemMessage {
    DWORD code;
    const char* text;
};

// As Windows words them in English.
constexpr SystemMessage systemMessages[] = {
    {ERROR_SUCCESS, "The operation completed successfully."},
    {ERROR_INVALID_FUNCTION, "Incorrect function."},
    {ERROR_FILE_NOT_FOUND, "The system cannot find the file specified."},
    {ERROR_PATH_NOT_FOUND, "The system cannot find the path specified."},
    {ERROR_ACCESS_DENIED, "Access is denied."},
    {ERROR_INVALID_HANDLE, "The handle is invalid."},
    {ERROR_NOT_ENOUGH_MEMORY, "Not enough memory resources are available to process this command."},
    {ERROR_INVALID_DATA, "The data is invalid."},
    {ERROR_NO_MORE_FILES, "There are no more files."},
    {ERROR_NOT_LOCKED, "The segment is already unlocked."},
    {ERROR_WRITE_PROTECT, "The media is write protected."},
    {ERROR_NOT_READY, "The device is not ready."},
    {ERROR_GEN_FAILURE, "A device attached to the system is not functioning."},
    {ERROR_SHARING_VIOLATION,
     "The process cannot access the file because it is being used by another process."},
    {ERROR_HANDLE_EOF, "Reached the end of the file."},
    {ERROR_NOT_SUPPORTED, "The request is not supported."},
    {ERROR_INVALID_PARAMETER, "The parameter is incorrect."},
    {ERROR_CALL_NOT_IMPLEMENTED, "This function is not supported on this system."},
    {ERROR_INSUFFICIENT_BUFFER, "The data area passed to a system call is too small."},
    {ERROR_MOD_NOT_FOUND, "The specified module could not be found."},
    {ERROR_PROC_NOT_FOUND, "The specified procedure could not be found."},
    {ERROR_BUSY, "The requested resource is in use."},
    {ERROR_BAD_EXE_FORMAT, "%1 is not a valid Win32 application."},
    {ERROR_MORE_DATA, "More data is available."},
    {ERROR_NO_MORE_ITEMS, "No more data is available."},
    {ERROR_NOT_FOUND, "Element not found."},
    {ERROR_RESOURCE_DATA_NOT_FOUND, "The specified image file did not contain a resource section."},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, "The specified resource type cannot be found in the image file."},
    {ERROR_UNRECOGNIZED_VOLUME,
     "The volume does not contain a recognized file system.\r\nPlease make sure that all required file "
     "system "
     "drivers are loaded and that the volume is not corrupted."},
    {ERROR_IO_DEVICE, "The request could not be performed because of an I/O device error."},
    {ERROR_INVALID_USER_BUFFER, "The supplied user buffer is not valid for the requested operation."},
    {ERROR_TIMEOUT, "This operation returned because the timeout period expired."},
    {ERROR_EVENTLOG_FILE_CORRUPT, "The event log file is corrupted."},
    {ERROR_EVENTLOG_FILE_CHANGED, "The event log file has changed between read operations."},
    {RPC_S_SERVER_UNAVAILABLE, "The RPC server is unavailable."},
    {RPC_S_CALL_FAILED, "The remote procedure call failed."},
    {ERROR_EVT_INVALID_CHANNEL_PATH, "The specified channel path is invalid."},
    {ERROR_EVT_INVALID_QUERY, "The specified query is invalid."},
    {ERROR_EVT_PUBLISHER_METADATA_NOT_FOUND, "The publisher metadata cannot be found in the resource."},
    {ERROR_EVT_CHANNEL_NOT_FOUND, "The specified channel could not be found. Check channel configuration."},
    {ERROR_EVT_QUERY_RESULT_STALE,
     "The query result is stale / invalid and must be recreated. This may be due to the log being cleared or "
     "rolling over after the query result was created."},
    {ERROR_EVT_MESSAGE_NOT_FOUND,
     "The message resource is present but the message is not found in the string/message table."},
    {ERROR_EVT_UNRESOLVED_VALUE_INSERT, "The substitution string for insert index (%1) could not be found."},
};

const char* findSystemMessage(DWORD code) {
    for (const SystemMessage& message : systemMessages) {
        if (message.code == code) return message.text;
    }
    return nullptr;
}

constexpr DWORD Sources =
    FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_STRING;

// The message's own text, or why there is none.
DWORD findText(const Call& call, DWORD flags, LPCVOID source, DWORD id, Text& text) {
    if ((flags & FORMAT_MESSAGE_FROM_STRING) != 0) {
        if (source == nullptr) return ERROR_INVALID_PARAMETER;
        text = fromWide(static_cast<const WCHAR*>(source));
        return ERROR_SUCCESS;
    }
    DWORD error = ERROR_INVALID_PARAMETER;
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
        const Text* const path = loadedModulePath(source, call.name());
        const auto* const table = path != nullptr ? messageTable(*path) : nullptr;
        const auto found = table != nullptr ? table->find(id) : std::map<DWORD, Text>::const_iterator();
        if (table != nullptr && found != table->end()) {
            text = found->second;
            return ERROR_SUCCESS;
        }
        error = table != nullptr ? ERROR_MR_MID_NOT_FOUND : ERROR_RESOURCE_TYPE_NOT_FOUND;
        if (path == nullptr) error = ERROR_INVALID_HANDLE;
    }
    // The system is asked when the module has no such message.
    if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0) {
        const char* const known = findSystemMessage(id);
        if (known == nullptr) return ERROR_MR_MID_NOT_FOUND;
        text = fromUtf8(known) + u"\r\n";
        return ERROR_SUCCESS;
    }
    return error;
}

// An array is taken at its word: nobody tells how long it is. Of a va_list each argument is fetched once.
class Arguments {
public:
    Arguments(va_list* arguments, bool isArray) : m_list(arguments), m_isArray(isArray) {}

    ULONG_PTR operator()(unsigned number) {
        if (m_isArray) return reinterpret_cast<const ULONG_PTR*>(m_list)[number - 1];
        while (m_fetched.size() < number) m_fetched.push_back(va_arg(*m_list, ULONG_PTR));
        return m_fetched[number - 1];
    }

private:
    va_list* m_list;
    bool m_isArray;
    std::vector<ULONG_PTR> m_fetched;
};

}  // namespace

}  // namespace simulation

using namespace simulation;

// The result excludes the terminator. Asked to allocate, the function takes the address of a pointer as
// buffer; who called gives the block back with LocalFree.
SIMULATED(DWORD, WINAPI, FormatMessageW,
          (DWORD flags, LPCVOID source, DWORD id, DWORD language, LPWSTR buffer, DWORD units,
           va_list* arguments)) {
    static const Function function{"FormatMessageW",
                                   Fails::WithZero,
                                   {ERROR_MR_MID_NOT_FOUND, ERROR_RESOURCE_TYPE_NOT_FOUND,
                                    ERROR_NOT_ENOUGH_MEMORY, ERROR_INSUFFICIENT_BUFFER},
                                   Distortion::NothingWritten | Distortion::NullResult};
    static const auto real =
        realFunction<DWORD WINAPI(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, va_list*)>(L"kernel32.dll",
                                                                                          "FormatMessageW");
    const bool ours = (flags & FORMAT_MESSAGE_FROM_HMODULE) != 0 && Ledger::wasGivenOut(source);
    if (real != nullptr && !ours) return real(flags, source, id, language, buffer, units, arguments);
    Call call(function, flags, id, language, units);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    if ((flags & Sources) == 0 || buffer == nullptr) return call.fails<DWORD>(ERROR_INVALID_PARAMETER);
    const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    auto** const allocated = reinterpret_cast<LPWSTR*>(buffer);
    if (allocate && !call.distorted(Distortion::NothingWritten)) *allocated = nullptr;

    Text message;
    if (const DWORD error = findText(call, flags, source, id, message)) return call.fails<DWORD>(error);
    const bool pass = (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0;
    Arguments given(arguments, (flags & FORMAT_MESSAGE_ARGUMENT_ARRAY) != 0);
    bool lacking = false;
    const MessageInsert insert = [&](unsigned number, const Text& format) {
        lacking = lacking || arguments == nullptr || number == 0;
        if (lacking) return Text();
        return formatArgument(number, format, [&](unsigned each) { return given(each); });
    };
    const MessageExpansion expanded = expandMessage(message, pass ? nullptr : &insert);
    if (expanded.error != 0) return call.fails<DWORD>(expanded.error);
    if (lacking) return call.fails<DWORD>(ERROR_INVALID_PARAMETER);
    const Text& text = expanded.text;

    if (call.distorted(Distortion::NothingWritten)) return call.returns<DWORD>(0);
    if (!allocate && units <= text.size()) return call.fails<DWORD>(ERROR_INSUFFICIENT_BUFFER);
    LPWSTR target = buffer;
    if (allocate) {
        if (call.distorted(Distortion::NullResult)) return call.returns(static_cast<DWORD>(text.size()));
        target = static_cast<LPWSTR>(std::malloc((text.size() + 1) * sizeof(WCHAR)));
        if (target == nullptr) return call.fails<DWORD>(ERROR_NOT_ENOUGH_MEMORY);
        ledger().opened(Resource::LocalAllocation, target, call.name());
        *allocated = target;
    }
    std::memcpy(target, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
    return call.returns(static_cast<DWORD>(text.size()));
}

SIMULATED(HLOCAL, WINAPI, LocalFree, (HLOCAL memory)) {
    static const Function function{"LocalFree", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    static const auto real = realFunction<HLOCAL WINAPI(HLOCAL)>(L"kernel32.dll", "LocalFree");
    if (real != nullptr) {
        const std::lock_guard lock(callMutex());
        const Call::Inside inside;
        if (!ledger().isOpen(Resource::LocalAllocation, memory)) return real(memory);
    }
    Call call(function);
    if (memory == nullptr) return nullptr;
    if (!ledger().close(Resource::LocalAllocation, memory, call.name())) {
        SetLastError(ERROR_INVALID_HANDLE);
        return memory;  // as all failures of this function
    }
    std::free(memory);
    return nullptr;
}
