#include "simulation/control/Call.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

std::vector<void (*)()>& resetWork() {
    static std::vector<void (*)()> work;
    return work;
}

}  // namespace

Control& control() {
    static Control theControl;
    return theControl;
}

std::recursive_mutex& callMutex() {
    static std::recursive_mutex theMutex;
    return theMutex;
}

AtReset::AtReset(void (*work)()) { resetWork().push_back(work); }

void reset() {
    const std::lock_guard lock(callMutex());
    control().clearJournal();
    control().clearFaults();
    control().clearGiven();
    for (const auto work : resetWork()) work();
    ledger().clear();
    machine() = Machine();
}

unsigned Control::calls(std::string_view function) const {
    return static_cast<unsigned>(
        std::count_if(m_journal.begin(), m_journal.end(),
                      [&](const JournalEntry& entry) { return entry.function->isCalled(function); }));
}

std::vector<std::string> Control::names() const {
    std::vector<std::string> result;
    for (const JournalEntry& entry : m_journal) result.emplace_back(entry.function->name);
    return result;
}

std::string toArgument(long long value) { return std::to_string(value); }

std::string toArgument(unsigned long long value) {
    if (value < 0x10000) return std::to_string(value);
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", value);
    return text;
}

std::string toArgument(const void* value) {
    if (value == nullptr) return "null";
    if (value == INVALID_HANDLE_VALUE) return "invalid";
    return toArgument(static_cast<unsigned long long>(reinterpret_cast<ULONG_PTR>(value)));
}

std::string toArgument(const WCHAR* value) { return value == nullptr ? "null" : toUtf8(fromWide(value)); }

std::string toArgument(const GUID* value) { return value == nullptr ? "null" : toString(*value); }

void Call::begin() {
    Control& theControl = control();
    m_entry = theControl.m_journal.size();
    theControl.m_journal.push_back({&m_function, {}, {}});
    for (Fault& fault : theControl.m_faults) {
        if (!fault.function.empty() && !m_function.isCalled(fault.function)) continue;
        ++fault.seen;
        if (fault.seen != fault.nth && !(fault.onwards && fault.seen > fault.nth)) continue;
        theControl.m_given = true;
        if (fault.endsProcess) std::abort();
        while (fault.hangs) std::this_thread::sleep_for(std::chrono::hours(1));
        if (fault.distortion == Distortion::None) {
            m_code = fault.code;
        } else {
            m_distortion = fault.distortion;
        }
    }
}

void Call::note(long long result) {
    if (!m_lock.owns_lock() || m_entry >= control().m_journal.size()) return;
    control().m_journal[m_entry].result = std::to_string(result);
}

void Call::append(const std::string& argument) {
    std::string& arguments = control().m_journal[m_entry].arguments;
    if (!arguments.empty()) arguments += ", ";
    arguments += argument;
}

bool copyOut(const Call& call, const void* bytes, size_t size, void* buffer, size_t capacity,
             DWORD* reported) {
    const bool fits = buffer != nullptr && size <= capacity;
    if (call.distorted(Distortion::NothingWritten)) return true;
    if (call.distorted(Distortion::NoTerminator) && fits && capacity >= 2) {
        // The text goes on to the very end of what the caller gave; what it had there stays.
        std::memset(buffer, 'x', capacity);
        if (size > 2) std::memcpy(buffer, bytes, size - 2);
        if (reported != nullptr) *reported = static_cast<DWORD>(capacity);
        return true;
    }
    if (fits && size != 0) std::memcpy(buffer, bytes, size);
    if (reported != nullptr) {
        *reported = static_cast<DWORD>(size);
        if (call.distorted(Distortion::SizeTooLarge))
            *reported = fits ? static_cast<DWORD>(capacity) + 4096 : 0xFFFFFFF0u;
        if (call.distorted(Distortion::SizeZero)) *reported = 0;
        if (call.distorted(Distortion::OddSize) && size != 0) *reported = static_cast<DWORD>(size) - 1;
    }
    return fits;
}

}  // namespace simulation
