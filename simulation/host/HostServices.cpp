// What Windows gives every program and Linux lacks: last error, locks, local memory, time. Compiled for the
// host alone. Of the simulated PC only its clock, where the machine file sets one.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "simulation/control/Call.h"
#include "simulation/control/Clock.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"

namespace {

thread_local DWORD theLastError = ERROR_SUCCESS;

// A critical section holds a recursive mutex where Windows keeps its semaphore.
std::recursive_mutex& mutexOf(LPCRITICAL_SECTION section) {
    return *static_cast<std::recursive_mutex*>(section->LockSemaphore);
}

ULONGLONG realTicks() {
    constexpr ULONGLONG ticksTo1970 = 116444736000000000ull;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    return ticksTo1970 + static_cast<ULONGLONG>(microseconds) * 10;
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
    const ULONGLONG fixed = machine().events.now;
    const ULONGLONG ticks = fixed != 0 ? fixed + sleptMilliseconds() * 10000 : realTicks();
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

}  // extern "C"
