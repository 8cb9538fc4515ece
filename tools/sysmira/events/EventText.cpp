#include "tools/sysmira/events/EventText.h"

#include <chrono>
#include <cstdlib>

#include "support/SprintfFormat.h"
#include "support/System.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

namespace {

using Seconds = std::chrono::sys_seconds;

Seconds secondsOf(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                  unsigned second) {
    using namespace std::chrono;
    const sys_days date = std::chrono::year(static_cast<int>(year)) / static_cast<int>(month) / day;
    return date + hours(hour) + minutes(minute) + seconds(second);
}

Seconds secondsOf(const zor::DateTime& time) {
    return secondsOf(time.getYear(), time.getMonth(), time.getDay(), time.getHour(), time.getMinute(),
                     time.getSecond());
}

zor::DateTime dateTimeOf(Seconds time, unsigned microseconds, int offset) {
    using namespace std::chrono;
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return zor::DateTime(
        static_cast<unsigned short>(int(date.year())), static_cast<unsigned char>(unsigned(date.month())),
        static_cast<unsigned char>(unsigned(date.day())), static_cast<unsigned char>(clock.hours().count()),
        static_cast<unsigned char>(clock.minutes().count()),
        static_cast<unsigned char>(clock.seconds().count()), microseconds, offset < 0 ? '-' : '+',
        static_cast<unsigned short>(std::abs(offset)));
}

// Minutes that local time is ahead of UTC at a moment; 0 when Windows cannot convert it.
int offsetAt(Seconds moment) {
    const zor::DateTime time = dateTimeOf(moment, 0, 0);
    const SYSTEMTIME utc = {time.getYear(),   time.getMonth(),  0, time.getDay(), time.getHour(),
                            time.getMinute(), time.getSecond(), 0};
    SYSTEMTIME local = {};
    if (!SystemTimeToTzSpecificLocalTime(nullptr, const_cast<SYSTEMTIME*>(&utc), &local)) return 0;
    const Seconds shifted =
        secondsOf(local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond);
    return static_cast<int>(std::chrono::duration_cast<std::chrono::minutes>(shifted - moment).count());
}

std::string offsetText(const zor::DateTime& time) {
    return toUtf8(zor::SprintfFormat("%c%02u:%02u", time.getUtcSign(), time.getUtcOffset() / 60,
                                     time.getUtcOffset() % 60));
}

}  // namespace

zor::DateTime localTime(unsigned seconds) {
    const Seconds utc{std::chrono::seconds(seconds)};
    const int offset = offsetAt(utc);
    return dateTimeOf(utc + std::chrono::minutes(offset), 0, offset);
}

zor::DateTime withOwnOffset(const zor::DateTime& time) {
    if (time.isEmpty()) return time;
    const Seconds local = secondsOf(time);
    int offset = time.getUtcSign() == '-' ? -int{time.getUtcOffset()} : int{time.getUtcOffset()};
    // The second try starts on the right side of a change between summer and winter time.
    for (int i = 0; i < 2; ++i) offset = offsetAt(local - std::chrono::minutes(offset));
    return dateTimeOf(local, time.getMicroseconds(), offset);
}

std::string localTimeText(const zor::DateTime& time) {
    return time.isEmpty() ? std::string() : toUtf8(time.toString()) + " UTC" + offsetText(time);
}

Json localTimeToJson(const zor::DateTime& time) {
    if (time.isEmpty()) return nullptr;
    return timeToJson(time).get<std::string>() + (time.getUtcOffset() == 0 ? "Z" : offsetText(time));
}

Json timeToJson(const zor::DateTime& time) {
    if (time.isEmpty()) return nullptr;
    zor::String text = time.dateStampString() + zor::SprintfFormat("T%02u:%02u:%02u", time.getHour(),
                                                                   time.getMinute(), time.getSecond());
    if (time.getMicroseconds() != 0) text += zor::SprintfFormat(".%06u", time.getMicroseconds());
    return toUtf8(text);
}

Json eventToJson(libSysmira::EventLogParser& parser, bool withMessage) {
    zor::Array<zor::String> strings;
    parser.getMessageStringArguments(strings);
    Json list = Json::array();
    for (const zor::String& text : strings) list.push_back(toUtf8(text));
    Json event;
    event["record"] = parser.getEvent().RecordNumber;
    event["time"] =
        timeToJson(zor::DateTime::fromUnixTimeStamp(parser.getTimeGenerated())).get<std::string>() + "Z";
    event["type"] = toUtf8(parser.getEventType());
    event["typeCode"] = parser.getEvent().EventType;
    event["code"] = parser.getEventCode();
    event["eventId"] = parser.getEventID();
    event["category"] = parser.getEventCategory();
    event["source"] = toUtf8(parser.getSource());
    event["strings"] = std::move(list);
    if (withMessage) {
        const std::string message = messageText(parser.getEventMessage());
        event["message"] = message.empty() ? Json(nullptr) : Json(message);
    }
    return event;
}

std::string messageText(const zor::String& message) {
    const std::string text = toUtf8(message);
    std::string result;
    for (std::size_t i = 0; i < text.size() && text[i] != '\0'; ++i) {
        if (text[i] == '\r') {
            if (i + 1 < text.size() && text[i + 1] == '\n') continue;
            result += '\n';
        } else {
            result += text[i];
        }
    }
    result.erase(result.find_last_not_of(" \n\t") + 1);
    return result;
}

std::string printableLines(const std::string& text, std::size_t indent) {
    std::string result;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (begin != 0) result += '\n';
        if (begin != 0 && end > begin) result.append(indent, ' ');
        result += printable(std::string_view(text).substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

std::string describeError(DWORD error) {
    std::string text = toUtf8(zor::System::getSystemErrorMsg(error));
    while (!text.empty() && text.back() == '.') text.pop_back();
    return text + " (" + std::to_string(error) + ")";
}

}  // namespace sysmira
