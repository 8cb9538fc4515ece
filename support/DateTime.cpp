#include "support/DateTime.h"

#include <chrono>
#include <cstdlib>

#include "support/SprintfFormat.h"
#include "support/WindowsApi.h"

namespace zor {

namespace {

constexpr unsigned long long TicksPerSecond = 10'000'000;
constexpr unsigned long long LargestTicks = 0x7FFFFFFFFFFFFFFFU;
constexpr unsigned long long UnixEpochSeconds = 11'644'473'600;  // of the FILETIME clock

// Minutes east of Greenwich, daylight saving included.
int currentUtcOffset() noexcept {
    TIME_ZONE_INFORMATION zone = {};
    const DWORD season = GetTimeZoneInformation(&zone);
    if (season == TIME_ZONE_ID_INVALID) return 0;
    LONG bias = zone.Bias;
    if (season == TIME_ZONE_ID_STANDARD) bias += zone.StandardBias;
    if (season == TIME_ZONE_ID_DAYLIGHT) bias += zone.DaylightBias;
    // No zone is a day away: anything else is damage.
    return bias > -24 * 60 && bias < 24 * 60 ? -static_cast<int>(bias) : 0;
}

DateTime fromTicks(unsigned long long ticks, int utcOffset) noexcept {
    using namespace std::chrono;
    const auto minutesTicks = static_cast<unsigned long long>(std::abs(utcOffset)) * 60 * TicksPerSecond;
    if (utcOffset < 0) {
        ticks = ticks < minutesTicks ? 0 : ticks - minutesTicks;
    } else {
        ticks += minutesTicks;
    }
    const auto wholeSeconds = static_cast<long long>(ticks / TicksPerSecond);
    const sys_days epoch = year{1601} / January / 1;
    const sys_days day = epoch + days(wholeSeconds / 86400);
    const year_month_day date(day);
    const hh_mm_ss time(seconds(wholeSeconds % 86400));
    return DateTime(
        static_cast<unsigned short>(int(date.year())), static_cast<unsigned char>(unsigned(date.month())),
        static_cast<unsigned char>(unsigned(date.day())), static_cast<unsigned char>(time.hours().count()),
        static_cast<unsigned char>(time.minutes().count()),
        static_cast<unsigned char>(time.seconds().count()),
        static_cast<unsigned int>(ticks % TicksPerSecond / 10), utcOffset < 0 ? '-' : '+',
        static_cast<unsigned short>(std::abs(utcOffset)));
}

}  // namespace

DateTime::DateTime(unsigned short year, unsigned char month, unsigned char day, unsigned char hour,
                   unsigned char minute, unsigned char second, unsigned int microseconds, char utcSign,
                   unsigned short utcOffset) noexcept
    : m_microseconds(microseconds),
      m_year(year),
      m_utcOffset(utcOffset),
      m_month(month),
      m_day(day),
      m_hour(hour),
      m_minute(minute),
      m_second(second),
      m_utcSign(utcSign) {}

DateTime DateTime::getCurrentDateTime() noexcept {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    const unsigned long long ticks =
        static_cast<unsigned long long>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
    return fromTicks(std::min(ticks, LargestTicks), currentUtcOffset());
}

DateTime DateTime::fromUnixTimeStamp(unsigned long long seconds) noexcept {
    if (seconds > LargestTicks / TicksPerSecond - UnixEpochSeconds) return DateTime();
    return fromTicks((seconds + UnixEpochSeconds) * TicksPerSecond, /*utcOffset=*/0);
}

DateTime DateTime::fromFileTime(unsigned long long ticks) noexcept {
    return ticks > LargestTicks ? DateTime() : fromTicks(ticks, /*utcOffset=*/0);
}

String DateTime::toString() const {
    if (isEmpty()) return String();
    return dateStampString() + SprintfFormat(" %02u:%02u:%02u", m_hour, m_minute, m_second);
}

String DateTime::dateStampString() const {
    if (isEmpty()) return String();
    return SprintfFormat("%04u-%02u-%02u", m_year, m_month, m_day);
}

}  // namespace zor
