#include "tools/sysmira/events/EventText.h"

#include "support/SprintfFormat.h"
#include "support/System.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

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
