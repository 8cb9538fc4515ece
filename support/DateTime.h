// A calendar date and time.
#pragma once

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// Year to microsecond, and the offset from UTC in minutes. An empty one has no date: all its numbers are 0.
///
/// Components are kept as they are given, without a check of the calendar.
class ZOR_API DateTime {
public:
    DateTime() noexcept = default;
    DateTime(unsigned short year, unsigned char month, unsigned char day, unsigned char hour,
             unsigned char minute, unsigned char second, unsigned int microseconds, char utcSign,
             unsigned short utcOffset) noexcept;

    /// Local time, with the offset that holds at this moment (GetSystemTimeAsFileTime,
    /// GetTimeZoneInformation); UTC when Windows cannot tell the offset.
    static DateTime getCurrentDateTime() noexcept;
    /// UTC from seconds since 1970-01-01; empty beyond the year 30828.
    static DateTime fromUnixTimeStamp(unsigned long long seconds) noexcept;
    /// UTC from a FILETIME's 64 bits: units of 100 ns since 1601-01-01. Values beyond what a FILETIME may
    /// hold (the highest bit set) give the empty date-time.
    static DateTime fromFileTime(unsigned long long ticks) noexcept;

    bool isEmpty() const noexcept { return m_month == 0; }

    unsigned short getYear() const noexcept { return m_year; }
    unsigned char getMonth() const noexcept { return m_month; }
    unsigned char getDay() const noexcept { return m_day; }
    unsigned char getHour() const noexcept { return m_hour; }
    unsigned char getMinute() const noexcept { return m_minute; }
    unsigned char getSecond() const noexcept { return m_second; }
    unsigned int getMicroseconds() const noexcept { return m_microseconds; }
    /// '+' (east of Greenwich) or '-'.
    char getUtcSign() const noexcept { return m_utcSign; }
    /// Minutes.
    unsigned short getUtcOffset() const noexcept { return m_utcOffset; }

    /// "2006-06-21 14:03:09", without conversion to another zone; nothing when empty.
    String toString() const;
    /// "2006-06-21"; nothing when empty.
    String dateStampString() const;

    friend bool operator==(const DateTime&, const DateTime&) noexcept = default;

private:
    unsigned int m_microseconds = 0;
    unsigned short m_year = 0;
    unsigned short m_utcOffset = 0;
    unsigned char m_month = 0;
    unsigned char m_day = 0;
    unsigned char m_hour = 0;
    unsigned char m_minute = 0;
    unsigned char m_second = 0;
    char m_utcSign = '+';
};

}  // namespace zor
