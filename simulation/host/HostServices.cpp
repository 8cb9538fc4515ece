// What Windows gives every program and Linux lacks: last error, locks, local memory, time, texts of system
// errors. No part of the simulated PC, compiled for the host alone.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"

namespace {

thread_local DWORD theLastError = ERROR_SUCCESS;

// A critical section holds a recursive mutex where Windows keeps its semaphore.
std::recursive_mutex& mutexOf(LPCRITICAL_SECTION section) {
    return *static_cast<std::recursive_mutex*>(section->LockSemaphore);
}

struct Message {
    DWORD code;
    const char* text;
};

// As Windows words them in English.
constexpr Message messages[] = {
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
};

const char* findMessage(DWORD code) {
    for (const Message& message : messages) {
        if (message.code == code) return message.text;
    }
    return nullptr;
}

}  // namespace

using namespace simulation;

extern "C" {

DWORD WINAPI GetLastError(void) { return theLastError; }
void WINAPI SetLastError(DWORD code) { theLastError = code; }

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) {
    std::memset(section, 0, sizeof *section);
    section->LockSemaphore = new std::recursive_mutex;
}
void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) { mutexOf(section).lock(); }
WINBOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section) { return mutexOf(section).try_lock(); }
void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) { mutexOf(section).unlock(); }
void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section) {
    delete &mutexOf(section);
    section->LockSemaphore = nullptr;
}

void WINAPI GetSystemTimeAsFileTime(LPFILETIME time) {
    constexpr ULONGLONG ticksTo1970 = 116444736000000000ull;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    const ULONGLONG ticks = ticksTo1970 + static_cast<ULONGLONG>(microseconds) * 10;
    time->dwLowDateTime = static_cast<DWORD>(ticks);
    time->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

// The bias is what UTC has more than local time, in minutes.
DWORD WINAPI GetTimeZoneInformation(LPTIME_ZONE_INFORMATION zone) {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    std::memset(zone, 0, sizeof *zone);
    zone->Bias = static_cast<LONG>(-local.tm_gmtoff / 60);
    return TIME_ZONE_ID_UNKNOWN;
}

HLOCAL WINAPI LocalAlloc(UINT, SIZE_T size) {
    static const Function function{"LocalAlloc", Fails::WithZero, {ERROR_NOT_ENOUGH_MEMORY}};
    Call call(function, size);
    if (const auto fault = call.fault<HLOCAL>()) return *fault;
    // Nothing asked for is an address all the same.
    void* const memory = std::calloc(1, std::max<SIZE_T>(size, 1));
    if (memory == nullptr) return call.fails<HLOCAL>(ERROR_NOT_ENOUGH_MEMORY);
    ledger().opened(Resource::LocalAllocation, memory, call.name());
    return memory;
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    static const Function function{"LocalFree", Fails::WithZero, {ERROR_INVALID_HANDLE}};
    Call call(function);
    if (memory == nullptr) return nullptr;
    if (!ledger().close(Resource::LocalAllocation, memory, call.name())) {
        SetLastError(ERROR_INVALID_HANDLE);
        return memory;  // as all failures of this function
    }
    std::free(memory);
    return nullptr;
}

// System messages alone, without inserts: what a program asks for the text of an error code. The result
// excludes the terminator.
DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID, DWORD code, DWORD, LPWSTR buffer, DWORD units, va_list*) {
    static const Function function{
        "FormatMessageW",
        Fails::WithZero,
        {ERROR_MR_MID_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY, ERROR_INSUFFICIENT_BUFFER},
        Distortion::NothingWritten | Distortion::NullResult};
    Call call(function, flags, code);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0 || buffer == nullptr)
        return call.fails<DWORD>(ERROR_INVALID_PARAMETER);
    const char* const message = findMessage(code);
    if (message == nullptr) return call.fails<DWORD>(ERROR_MR_MID_NOT_FOUND);
    // An insert that nobody gave is refused unless inserts are to pass through.
    if ((flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0 && std::strchr(message, '%') != nullptr) {
        return call.fails<DWORD>(ERROR_INVALID_PARAMETER);
    }
    const Text text = fromUtf8(message) + u"\r\n";
    if (call.distorted(Distortion::NothingWritten)) return call.returns<DWORD>(0);
    if (!allocate && units <= text.size()) return call.fails<DWORD>(ERROR_INSUFFICIENT_BUFFER);
    LPWSTR target = buffer;
    if (allocate) {
        // The buffer parameter is the address of the pointer to fill.
        auto** const pointer = reinterpret_cast<LPWSTR*>(buffer);
        *pointer = nullptr;
        if (call.distorted(Distortion::NullResult)) return call.returns(static_cast<DWORD>(text.size()));
        target = static_cast<LPWSTR>(std::malloc((text.size() + 1) * sizeof(WCHAR)));
        if (target == nullptr) return call.fails<DWORD>(ERROR_NOT_ENOUGH_MEMORY);
        ledger().opened(Resource::LocalAllocation, target, call.name());
        *pointer = target;
    }
    std::memcpy(target, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
    return call.returns(static_cast<DWORD>(text.size()));
}

}  // extern "C"
