// Conversions of time and text. On Windows the system's own do the work; what is simulated there is their
// failing.
#include <cstring>
#include <ctime>
#include <optional>

#include "simulation/api/RealFunction.h"
#include "simulation/control/Call.h"
#include "simulation/machine/EventLogs.h"

namespace simulation {

namespace {

constexpr ULONGLONG LargestTicks = 0x7FFFFFFFFFFFFFFFull;

// Windows-1252, whose units 0x80 to 0x9F are not those of Unicode; undefined ones stay as they are.
char16_t fromCodePage(unsigned char byte) {
    constexpr char16_t upperHalf[] =
        u"\u20AC\x81\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039"
        u"\u0152\x8D\u017D\x8F\x90\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC"
        u"\u2122\u0161\u203A\u0153\x9D\u017E\u0178";
    return byte >= 0x80 && byte <= 0x9F ? upperHalf[byte - 0x80] : byte;
}

// Ticks that the time of who runs this is ahead of UTC.
long long localAhead(ULONGLONG ticks) {
    const auto seconds = static_cast<std::time_t>(ticks / 10000000) - 11644473600;
    const std::tm* const local = std::localtime(&seconds);
    if (local == nullptr) return 0;
    SYSTEMTIME time = {};
    time.wYear = static_cast<WORD>(local->tm_year + 1900);
    time.wMonth = static_cast<WORD>(local->tm_mon + 1);
    time.wDay = static_cast<WORD>(local->tm_mday);
    time.wHour = static_cast<WORD>(local->tm_hour);
    time.wMinute = static_cast<WORD>(local->tm_min);
    time.wSecond = static_cast<WORD>(local->tm_sec);
    const auto shifted = ticksOf(time);
    return shifted ? static_cast<long long>(*shifted - ticks / 10000000 * 10000000) : 0;
}

// When a zone's change is in this year, in ticks of local time. Without wYear, wDay counts the wDayOfWeek
// days of the month, and 5 is the last one (Microsoft, TIME_ZONE_INFORMATION).
std::optional<ULONGLONG> changeTicks(SYSTEMTIME rule, WORD year) {
    if (rule.wMonth == 0) return std::nullopt;
    if (rule.wYear != 0) return rule.wYear == year ? ticksOf(rule) : std::nullopt;
    constexpr ULONGLONG day = 864000000000ull;
    const WORD week = rule.wDay;
    rule.wYear = year;
    rule.wDay = 1;
    const auto first = ticksOf(rule);
    if (!first) return std::nullopt;
    ULONGLONG ticks = *first + (rule.wDayOfWeek + 7u - systemTimeOf(*first).wDayOfWeek) % 7u * day;
    for (WORD i = 1; i < week && systemTimeOf(ticks + 7 * day).wMonth == rule.wMonth; ++i) ticks += 7 * day;
    return ticks;
}

// Ticks that a given zone is ahead of UTC. The changes are told in the time that they end.
long long zoneAhead(const TIME_ZONE_INFORMATION& zone, ULONGLONG ticks) {
    constexpr long long minute = 600000000;
    const long long standard = -minute * (zone.Bias + zone.StandardBias);
    const long long daylight = -minute * (zone.Bias + zone.DaylightBias);
    const WORD year = systemTimeOf(static_cast<ULONGLONG>(static_cast<long long>(ticks) + standard)).wYear;
    const auto begins = changeTicks(zone.DaylightDate, year), ends = changeTicks(zone.StandardDate, year);
    if (!begins || !ends) return -minute * zone.Bias;  // a zone without rules has no other bias
    const long long now = static_cast<long long>(ticks), begin = static_cast<long long>(*begins) - standard,
                    end = static_cast<long long>(*ends) - daylight;
    const bool isDaylight = begin < end ? now >= begin && now < end : now >= begin || now < end;
    return isDaylight ? daylight : standard;
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(WINBOOL, WINAPI, FileTimeToSystemTime, (const FILETIME* fileTime, LPSYSTEMTIME time)) {
    static const Function function{"FileTimeToSystemTime", Fails::WithZero, {ERROR_INVALID_PARAMETER}};
    static const auto real =
        realFunction<WINBOOL WINAPI(const FILETIME*, LPSYSTEMTIME)>(L"kernel32.dll", "FileTimeToSystemTime");
    Call call(function);
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    if (real != nullptr) return call.returns(real(fileTime, time));
    const ULONGLONG ticks = ULONGLONG{fileTime->dwHighDateTime} << 32 | fileTime->dwLowDateTime;
    if (ticks > LargestTicks) return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    *time = systemTimeOf(ticks);
    return call.returns<WINBOOL>(TRUE);
}

// In the zone of who runs this when none is given, as it is on the day that is converted.
SIMULATED(WINBOOL, WINAPI, SystemTimeToTzSpecificLocalTime,
          (const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* time, LPSYSTEMTIME local)) {
    static const Function function{
        "SystemTimeToTzSpecificLocalTime", Fails::WithZero, {ERROR_INVALID_PARAMETER}};
    static const auto real =
        realFunction<WINBOOL WINAPI(const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, LPSYSTEMTIME)>(
            L"kernel32.dll", "SystemTimeToTzSpecificLocalTime");
    Call call(function);
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    if (real != nullptr) return call.returns(real(zone, time, local));
    const auto ticks = ticksOf(*time);
    if (!ticks) return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    const long long ahead = zone != nullptr ? zoneAhead(*zone, *ticks) : localAhead(*ticks);
    const long long shifted = static_cast<long long>(*ticks) + ahead;
    if (shifted < 0) return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    *local = systemTimeOf(static_cast<ULONGLONG>(shifted));
    return call.returns<WINBOOL>(TRUE);
}

// Sizes are bytes and code units. With no room given the units needed are told; a given length counts the
// terminator when it is within.
SIMULATED(int, WINAPI, MultiByteToWideChar,
          (UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR buffer, int units)) {
    static const Function function{
        "MultiByteToWideChar", Fails::WithZero, {ERROR_NO_UNICODE_TRANSLATION, ERROR_INSUFFICIENT_BUFFER}};
    static const auto real = realFunction<int WINAPI(UINT, DWORD, LPCCH, int, LPWSTR, int)>(
        L"kernel32.dll", "MultiByteToWideChar");
    if (real != nullptr && Call::running()) return real(codePage, flags, text, length, buffer, units);
    Call call(function, codePage, length);
    if (const auto fault = call.fault<int>()) return *fault;
    if (real != nullptr) return call.returns(real(codePage, flags, text, length, buffer, units));
    const bool valid = text != nullptr && length != 0 && length >= -1 && units >= 0 &&
                       (units == 0 || buffer != nullptr) && codePage == CP_ACP &&
                       static_cast<const void*>(text) != buffer;
    if (!valid) return call.fails<int>(ERROR_INVALID_PARAMETER);
    const size_t bytes = length == -1 ? std::strlen(text) + 1 : static_cast<size_t>(length);
    if (units == 0) return call.returns(static_cast<int>(bytes));
    if (bytes > static_cast<size_t>(units)) return call.fails<int>(ERROR_INSUFFICIENT_BUFFER);
    for (size_t at = 0; at < bytes; ++at) {
        buffer[at] = static_cast<WCHAR>(fromCodePage(static_cast<unsigned char>(text[at])));
    }
    return call.returns(static_cast<int>(bytes));
}
