#include "tools/sysmira/events/ChannelCommand.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "libSysmira/eventLogs/VistaEventLogs.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Progress.h"
#include "tools/sysmira/events/EventText.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::getLastEventQueryError;
using libSysmira::VistaEventLogs;
using EventRow = zor::Array<zor::ZORValue>;

namespace {

struct Column {
    std::string label;
    std::string path;
};

const char* const recordPath = "Event/System/EventRecordID";

// What is shown when nobody says what.
const std::vector<Column>& usualColumns() {
    static const std::vector<Column> columns = {{"Record", recordPath},
                                                {"Time", "Event/System/TimeCreated/@SystemTime"},
                                                {"Provider", "Event/System/Provider/@Name"},
                                                {"Event ID", "Event/System/EventID"},
                                                {"Computer", "Event/System/Computer"}};
    return columns;
}

std::vector<Column> columnsOf(const ChannelRequest& request) {
    if (request.valuePaths.empty()) return usualColumns();
    std::vector<Column> columns;
    for (const std::string& path : request.valuePaths) columns.push_back({path, path});
    return columns;
}

zor::Array<zor::String> pathsOf(const std::vector<Column>& columns) {
    zor::Array<zor::String> paths;
    for (const Column& column : columns) paths.append(zor::String::fromUTF8(column.path));
    return paths;
}

template <class T>
T held(const zor::ZORValue& value) {
    T content{};
    value.get(content);
    return content;
}

Json toJson(const zor::ZORValue& value) {
    const std::string type = value.getTypeName();
    if (value.isNull()) return nullptr;
    // The library gives booleans the other way round.
    if (type == "bool") return !held<bool>(value);
    if (type == "short") return held<short>(value);
    if (type == "unsigned short") return held<unsigned short>(value);
    if (type == "int") return held<int>(value);
    if (type == "unsigned int") return held<unsigned int>(value);
    if (type == "long long") return held<long long>(value);
    if (type == "unsigned long long") return held<unsigned long long>(value);
    if (type == "DateTime") return localTimeToJson(withOwnOffset(held<zor::DateTime>(value)));
    return toUtf8(value.toString());
}

std::string toText(const zor::ZORValue& value, std::size_t indent) {
    if (value.isNull()) return "-";
    if (value.getTypeName() == std::string("bool")) return held<bool>(value) ? "false" : "true";
    if (value.getTypeName() == std::string("DateTime"))
        return localTimeText(withOwnOffset(held<zor::DateTime>(value)));
    return printableLines(messageText(value.toString()), indent);
}

// One event as it was read: its values in the order of the columns, then, with messages, its provider and its
// user data.
struct Event {
    EventRow row;
    zor::String xml;
    zor::String message;
};

class Events {
public:
    explicit Events(const ChannelRequest& request) : m_columns(columnsOf(request)) {
        if (request.xml) m_columns = {{"Record", recordPath}};
        const zor::String channel = zor::String::fromUTF8(request.channel);
        const zor::String query = request.query.empty() ? "*" : zor::String::fromUTF8(request.query);
        const auto order = request.oldestFirst ? VistaEventLogs::OldestFirst : VistaEventLogs::NewestFirst;
        zor::Array<EventRow> rows;
        zor::Array<zor::String> messages;
        if (request.messages) {
            m_pathsTaken =
                VistaEventLogs::queryLogs(channel, query, order, pathsOf(m_columns), rows, messages);
        } else if (!request.xml) {
            m_pathsTaken = VistaEventLogs::queryLogs(channel, query, order, pathsOf(m_columns), rows);
        }
        m_error = getLastEventQueryError();
        for (unsigned i = 0; i < rows.size(); ++i) {
            m_events.push_back({std::move(rows[i]), {}, i < messages.size() ? messages[i] : zor::String()});
        }
        if (request.xml && (!request.messages || m_error == 0)) readXml(channel, query, order);
    }

    const std::vector<Event>& all() const { return m_events; }
    const std::vector<Column>& columns() const { return m_columns; }
    bool allRendered() const { return m_allRendered; }
    bool pathsTaken() const { return m_pathsTaken; }
    DWORD error() const { return m_error; }

private:
    // The messages come from another query than the XML, and events may have come in between: they belong
    // together by their numbers.
    void readXml(const zor::String& channel, const zor::String& query, VistaEventLogs::SortOrder order) {
        std::map<std::string, zor::String> messages;
        for (const Event& event : m_events) {
            if (!event.row.empty()) messages[toUtf8(event.row[0].toString())] = event.message;
        }
        zor::Array<zor::String> texts;
        m_allRendered = VistaEventLogs::queryLogs(channel, query, order, texts);
        m_error = getLastEventQueryError();
        m_events.clear();
        for (zor::String& xml : texts) {
            const auto message = messages.find(recordOf(toUtf8(xml)));
            m_events.push_back(
                {{}, std::move(xml), message != messages.end() ? message->second : zor::String()});
        }
    }

    static std::string recordOf(const std::string& xml) {
        const std::string begin = "<EventRecordID>";
        const std::size_t at = xml.find(begin);
        if (at == std::string::npos) return {};
        const std::size_t first = at + begin.size();
        return xml.substr(first, xml.find('<', first) - first);
    }

    std::vector<Column> m_columns;
    std::vector<Event> m_events;
    bool m_allRendered = true;
    bool m_pathsTaken = true;  // Windows renders them
    DWORD m_error = 0;
};

Json toJson(const ChannelRequest& request, const Events& events, const Event& event) {
    Json object;
    const unsigned columns = static_cast<unsigned>(events.columns().size());
    if (request.xml) {
        object["xml"] = toUtf8(event.xml);
    } else if (event.row.empty()) {
        object["values"] = nullptr;
    } else {
        Json values = Json::object();
        for (unsigned i = 0; i < columns && i < event.row.size(); ++i) {
            values[events.columns()[i].path] = toJson(event.row[i]);
        }
        object["values"] = std::move(values);
    }
    if (!request.messages) return object;
    if (!request.xml) {
        Json data = Json::array();
        for (unsigned i = columns + 1; i < event.row.size(); ++i) data.push_back(toJson(event.row[i]));
        object["provider"] = columns < event.row.size() ? toJson(event.row[columns]) : Json(nullptr);
        object["data"] = std::move(data);
    }
    const std::string message = messageText(event.message);
    object["message"] = message.empty() ? Json(nullptr) : Json(message);
    return object;
}

using NamedValues = std::vector<std::pair<std::string, const zor::ZORValue*>>;

NamedValues linesOf(const ChannelRequest& request, const Events& events, const Event& event) {
    NamedValues lines;
    const unsigned columns = static_cast<unsigned>(events.columns().size());
    for (unsigned i = 0; i < event.row.size(); ++i) {
        if (i < columns) {
            lines.emplace_back(printable(events.columns()[i].label), &event.row[i]);
        } else if (i > columns) {
            lines.emplace_back("Data[" + std::to_string(i - columns - 1) + "]", &event.row[i]);
        } else if (!request.valuePaths.empty()) {
            lines.emplace_back("Provider", &event.row[i]);  // among the usual values it stands already
        }
    }
    return lines;
}

std::string toText(const ChannelRequest& request, const Events& events, const Event& event) {
    const std::string messageLabel = "Message";
    const std::string message = messageText(event.message);
    if (request.xml) {
        std::string text = printableLines(messageText(event.xml), 0) + "\n";
        if (request.messages)
            text += messageLabel + ": " + printableLines(message, messageLabel.size() + 2) + "\n";
        return text;
    }
    if (event.row.empty()) return "(this event cannot be shown)\n";
    const NamedValues lines = linesOf(request, events, event);
    std::size_t width = request.messages ? messageLabel.size() : 0;
    for (const auto& line : lines) width = std::max(width, displayWidth(line.first));
    width += 2;
    std::string text;
    for (const auto& [label, value] : lines)
        text += padded(label + ":", width) + toText(*value, width) + "\n";
    if (request.messages) text += padded(messageLabel + ":", width) + printableLines(message, width) + "\n";
    return text;
}

void print(const ChannelRequest& request, const Events& events, Output& output) {
    if (output.wantsJson()) {
        Json list = Json::array();
        for (const Event& event : events.all()) list.push_back(toJson(request, events, event));
        return output.printDocument({{"channel", request.channel},
                                     {"query", request.query.empty() ? "*" : request.query},
                                     {"events", list}});
    }
    bool first = true;
    for (const Event& event : events.all()) {
        output.print((first ? "" : "\n") + toText(request, events, event));
        first = false;
    }
}

void checkUsage(const ChannelRequest& request) {
    if (request.channel.empty()) {
        throw CommandFailure(WrongUsage,
                             "\"sysmira channel\" needs the path of a channel, and takes a filter, as in: "
                             "sysmira channel System \"*[System/Level=1]\"");
    }
    if (request.xml && !request.valuePaths.empty()) {
        throw CommandFailure(WrongUsage, "\"--xml\" and \"--value\" exclude each other");
    }
}

void checkPaths(const ChannelRequest& request, const Events& events) {
    const bool refused = !events.pathsTaken() && events.error() == ERROR_EVT_INVALID_QUERY;
    if (!refused || request.valuePaths.empty()) return;
    std::string paths;
    for (const std::string& path : request.valuePaths) paths += (paths.empty() ? "\"" : ", \"") + path + "\"";
    throw CommandFailure(NotRead, "Windows refuses " +
                                      std::string(request.valuePaths.size() == 1 ? "" : "one of ") + paths +
                                      "; \"--value\" takes a path like Event/System/EventID");
}

Events read(const ChannelRequest& request, Output& output) {
    const Progress progress(output.errors(), "reading the channel \"" + request.channel + "\"");
    return Events(request);
}

}  // namespace

void runChannel(const ChannelRequest& request, Output& output) {
    checkUsage(request);
    const Events events = read(request, output);
    checkPaths(request, events);
    const std::string query = request.query.empty() ? "the channel \"" + request.channel + "\""
                                                    : "the query \"" + request.query +
                                                          "\" on the channel \"" + request.channel + "\"";
    if (events.error() != 0 && events.all().empty()) {
        throw CommandFailure(NotRead, query + " cannot be run: " + describeError(events.error()));
    }
    print(request, events, output);
    if (events.error() != 0) {
        throw CommandFailure(NotRead,
                             query + " ended before all events were read: " + describeError(events.error()));
    }
    if (!events.allRendered())
        throw CommandFailure(NotRead, "an event of " + query + " cannot be shown as XML");
    if (!output.wantsJson() && events.all().empty()) output.remark("the query finds no events");
}

}  // namespace sysmira
