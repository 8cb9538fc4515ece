#include "libSysmira/eventLogs/EventLogParser.h"

#include <algorithm>
#include <new>
#include <utility>

#include "libSysmira/eventLogs/EventRecord.h"
#include "support/AssertionFailure.h"
#include "support/ClassLogger.h"
#include "support/DateTime.h"
#include "support/LastErrorKeeper.h"
#include "support/SprintfFormat.h"
#include "support/System.h"
#include "support/WindowsRegistryReader.h"

#define PARSER_ASSERT(expression) ZOR_ASSERT_AT("libSysmira/eventLogs/EventLogParser", expression)

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.EventLogParser");

constexpr const char* LogsKey = "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Eventlog\\";

// FormatMessageW takes on trust that there is an argument for every insert. The highest is %99, and a width
// and a precision given as "*" take one more each.
constexpr std::size_t MostInserts = 99 + 2;

constexpr WCHAR EmptyText[] = {0};

// A message file, loaded for its resources.
class MessageModule {
public:
    explicit MessageModule(const zor::String& file)
        : m_module(LoadLibraryExW(file.getUCS2Buffer(), nullptr, LOAD_LIBRARY_AS_DATAFILE)) {}
    ~MessageModule() {
        const zor::LastErrorKeeper keeper;
        if (m_module != nullptr) FreeLibrary(m_module);
    }
    MessageModule(const MessageModule&) = delete;
    MessageModule& operator=(const MessageModule&) = delete;

    HMODULE get() const { return m_module; }
    void leaveLoaded() { m_module = nullptr; }

private:
    HMODULE m_module;
};

// The text that FormatMessageW has allocated.
class FormattedText {
public:
    FormattedText() = default;
    ~FormattedText() {
        const zor::LastErrorKeeper keeper;
        if (m_text != nullptr) LocalFree(m_text);
    }
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;

    // What the function wants for a buffer: the place of a pointer, under another type.
    LPWSTR place() { return reinterpret_cast<LPWSTR>(&m_text); }
    const WCHAR* get() const { return m_text; }

private:
    WCHAR* m_text = nullptr;
};

// Formats a message of the module; with arguments, its inserts too. False with the thread's last error.
bool formatMessage(HMODULE module, DWORD id, const zor::Buffer<unsigned long long>* arguments,
                   zor::String& out) {
    FormattedText text;
    DWORD units = 0;
    if (arguments != nullptr) {
        constexpr DWORD flags =
            FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY;
        units =
            FormatMessageW(flags, module, id, /*dwLanguageId=*/0, text.place(), /*nSize=*/1,
                           reinterpret_cast<va_list*>(const_cast<unsigned long long*>(arguments->data())));
    } else {
        constexpr DWORD flags =
            FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_HMODULE;
        units = FormatMessageW(flags, module, id, /*dwLanguageId=*/0, text.place(), /*nSize=*/1, nullptr);
    }
    if (units == 0 || text.get() == nullptr) return false;
    const WCHAR* const end = std::find(text.get(), text.get() + units, WCHAR{0});
    out = zor::String(text.get(), static_cast<unsigned int>(end - text.get()));
    out.trim();
    return true;
}

// Adds arguments without text, so that no message finds fewer than it can ask for.
void pad(zor::Buffer<unsigned long long>& arguments) {
    const std::size_t given = arguments.size();
    arguments.resize(std::max(given, MostInserts));
    std::fill(arguments.data() + given, arguments.data() + arguments.size(),
              reinterpret_cast<ULONG_PTR>(EmptyText));
}

zor::String reportLine(unsigned int indent, const char* label, const zor::String& value) {
    return zor::String::repeat(' ', indent) + label + value + "\n";
}

zor::String number(unsigned long long value) { return zor::SprintfFormat("%u", value); }

}  // namespace

EventLogViewer::~EventLogViewer() = default;

EventLogParser::EventLogParser() = default;

EventLogParser::~EventLogParser() { close(); }

void EventLogParser::close() {
    if (m_logHandle == nullptr) return;
    const zor::LastErrorKeeper keeper;
    CloseEventLog(m_logHandle);
    m_pEventRecord = nullptr;
    m_bytesLeft = 0;
}

bool EventLogParser::openEventLog(const zor::String& logName) {
    zor::String name = logName;
    close();
    m_logHandle = OpenEventLogW(nullptr, name.getUCS2Buffer());
    if (m_logHandle == nullptr) {
        const DWORD error = zor::System::getSystemError();
        theLog.write(zor::Warning, 108, [&](zor::LoggerStream& line) {
            line << zor::SprintfFormat("Unable to open log \"%ws\". Error:%u", name, error);
        });
        return false;
    }
    m_logName = std::move(name);
    return true;
}

bool EventLogParser::resetIteration() { return openEventLog(m_logName); }

bool EventLogParser::getNextRecord() {
    m_pEventRecord = m_buffer;
    const bool read =
        ReadEventLogW(m_logHandle, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_FORWARDS_READ,
                      /*dwRecordOffset=*/0, m_buffer, BufferSize, &m_bytesLeft, &m_bytesNeeded) != FALSE;
    // What a failed reading has left in the count says nothing.
    if (!read || m_bytesLeft > BufferSize) m_bytesLeft = 0;
    if (read && m_bytesLeft == 0) SetLastError(ERROR_HANDLE_EOF);
    return m_bytesLeft != 0;
}

bool EventLogParser::getNextEvent() {
    if (m_bytesLeft == 0 && !getNextRecord()) return false;
    PARSER_ASSERT(m_pEventRecord);
    const DWORD length = recordLength(m_pEventRecord, m_bytesLeft);
    if (length == 0) {
        m_bytesLeft = 0;
        SetLastError(ERROR_EVENTLOG_FILE_CORRUPT);
        return false;
    }
    m_pCurrentEvent = reinterpret_cast<const EVENTLOGRECORD*>(m_pEventRecord);
    m_pEventRecord += length;
    m_bytesLeft -= length;
    return true;
}

// The current record may have been read over since it was taken: the buffer is its only sure bound.
EventRecord EventLogParser::current() const {
    PARSER_ASSERT(m_pCurrentEvent);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(m_pCurrentEvent);
    return {bytes, static_cast<std::size_t>(m_buffer + BufferSize - bytes)};
}

bool EventLogParser::fits(const EventLogSearchParams& params) const {
    using Params = EventLogSearchParams;
    const EventRecord record = current();
    if ((params.searchFlags & Params::SearchByCode) != 0 && record.code() != params.eventCode) return false;
    if ((params.searchFlags & Params::SearchByCategory) != 0 &&
        record.fixed().EventCategory != params.eventCode) {
        return false;
    }
    if ((params.searchFlags & Params::SearchBySource) != 0 && !record.hasSource(params.source)) {
        return false;
    }
    return (params.searchFlags & Params::SearchByType) == 0 || record.fixed().EventType == params.eventType;
}

bool EventLogParser::search(EventLogViewer& viewer, EventLogSearchParams& params) {
    if (!resetIteration()) return false;
    bool found = false;
    while (getNextEvent()) {
        if (!fits(params)) continue;
        found = true;
        if (!viewer.viewEvent(*this, params.context)) return true;
    }
    return found;
}

unsigned short EventLogParser::getEventCode() const { return current().code(); }

unsigned short EventLogParser::getEventCategory() const { return getEvent().EventCategory; }

unsigned int EventLogParser::getEventID() const { return getEvent().EventID; }

unsigned int EventLogParser::getTimeGenerated() const { return getEvent().TimeGenerated; }

zor::String EventLogParser::getSource() const { return current().source().toString(); }

zor::String EventLogParser::getEventType() const {
    switch (getEvent().EventType) {
        case EVENTLOG_ERROR_TYPE:
            return "Error";
        case EVENTLOG_WARNING_TYPE:
            return "Warning";
        case EVENTLOG_INFORMATION_TYPE:
            return "Information";
        case EVENTLOG_AUDIT_SUCCESS:
            return "Success";
        case EVENTLOG_AUDIT_FAILURE:
            return "Failure Audit";
        default:
            return "UNKNOWN";
    }
}

const EVENTLOGRECORD& EventLogParser::getEvent() const { return current().fixed(); }

void EventLogParser::getMessageStringArguments(zor::Array<zor::String>& out) const {
    const EventRecord record = current();
    out.clear();
    // Far more than there are strings, as a rule.
    out.reserve(
        static_cast<unsigned int>(std::min<std::size_t>(record.fixed().StringOffset, record.length())));
    record.forEachString([&](const RecordText& text) { out.append(text.toString()); });
}

// The addresses of the insertion strings, an empty text's for those that are not there. False when memory
// lacks.
bool EventLogParser::getMessageStringArguments(zor::Buffer<unsigned long long>& args) const {
    const EventRecord record = current();
    const std::size_t count = record.fixed().NumStrings;
    try {
        args.resize(count);
    } catch (const std::bad_alloc&) {
    }
    if (args.size() != count) return false;
    std::fill_n(args.data(), count, reinterpret_cast<ULONG_PTR>(EmptyText));
    std::size_t i = 0;
    record.forEachString(
        [&](const RecordText& text) { args[i++] = reinterpret_cast<ULONG_PTR>(text.bytes); });
    return true;
}

bool EventLogParser::getEventMessageFiles(zor::Array<zor::String>& files) const {
    const zor::String key = zor::String(LogsKey) + m_logName + "\\" + getSource();
    const zor::String value("EventMessageFile");
    const zor::WindowsRegistryReader reader;
    if (reader.keyExists(key)) {
        if (reader.toExpandStringValueExists(key, value)) {
            files = reader.getExpandedStringValue(key, value).tokenize(";");
        } else if (reader.stringValueExists(key, value)) {
            // A plain text is one name, semicolons and all.
            files.append(reader.getStringValue(key, value));
        }
    }
    return !files.empty();
}

bool EventLogParser::getEventMessageImp(zor::String& out, bool withInserts) const {
    zor::Array<zor::String> files;
    if (!getEventMessageFiles(files)) return false;
    const EventRecord record = current();
    for (const zor::String& file : files) {
        MessageModule module(file);
        if (module.get() == nullptr) {
            const DWORD error = zor::System::getSystemError();
            theLog.write(zor::Warning, 333, [&](zor::LoggerStream& line) {
                line << "Trouble loading DLL \"" << file << "\": " << zor::SprintfFormat("0x%x", error);
            });
            continue;
        }
        zor::Buffer<unsigned long long> arguments;
        if (!getMessageStringArguments(arguments)) {
            module.leaveLoaded();  // deliberately
            continue;
        }
        pad(arguments);
        if (formatMessage(module.get(), record.fixed().EventID, withInserts ? &arguments : nullptr, out)) {
            return true;
        }
        const DWORD error = zor::System::getSystemError();
        theLog.write(zor::Warning, 323, [&](zor::LoggerStream& line) {
            line << zor::SprintfFormat(
                "Trouble formatting message. Source:\"%ws\", EventCode:%u, GetLastError():%u",
                record.source().toString(), record.code(), error);
        });
    }
    return false;
}

zor::String EventLogParser::getEventMessage() {
    zor::String message;
    if (!getEventMessageImp(message, /*withInserts=*/false)) return {};
    int highest = 0;
    message.findLast("%", 0, &highest);
    if (highest <= getEvent().NumStrings) {
        zor::String rendered;
        getEventMessageImp(rendered, /*withInserts=*/true);
        return rendered;
    }
    theLog.write(zor::Warning, 279, [&](zor::LoggerStream& line) {
        line << "\nError with the following event:\n"
             << toString(/*withMessage=*/false, 4)
             << "\n    ** Event is missing strings required to render the following string:\n    \""
             << message << "\"\n"
             << "\n    The following strings were found:\n";
        unsigned int i = 0;
        current().forEachString([&](const RecordText& text) {
            line << zor::SprintfFormat("    String[%u] : \"%ws\"\n", i++, text.toString());
        });
    });
    return {};
}

zor::String EventLogParser::toString(bool withMessage, unsigned int indent) {
    const EventRecord record = current();
    zor::String report;
    report.reserveCapacity(300);
    report += reportLine(indent, "Event Type      : ", getEventType());
    report += reportLine(indent, "Event Time      : ",
                         zor::DateTime::fromUnixTimeStamp(record.fixed().TimeGenerated).toString());
    report += reportLine(indent, "Event Code      : ", number(record.code()));
    report += reportLine(indent, "Event Category  : ", number(record.fixed().EventCategory));
    report += reportLine(indent, "Event Source    : ", record.source().toString());
    report += reportLine(indent, "Event Record    : ", number(record.fixed().RecordNumber));
    if (withMessage) report += reportLine(indent, "Event Message   : ", getEventMessage());
    return report;
}

}  // namespace libSysmira
