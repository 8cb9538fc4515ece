#include <memory>

#include "libSysmira/eventLogs/EventLogParser.h"
#include "libSysmira/eventLogs/VistaEventLogs.h"
#include "libSysmira/vista/VistaDiagnosticEvents.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::EventLogParser;
using libSysmira::EventLogSearchParams;
using libSysmira::VistaDiagnosticEvents;
using libSysmira::VistaEventLogs;
using simulation::ChannelEvent;
using simulation::ClassicRecord;
using simulation::EventValue;
using simulation::RegistryValue;

using Texts = zor::Array<zor::String>;
using Rows = zor::Array<zor::Array<zor::ZORValue>>;

ClassicRecord record(const char16_t* source, DWORD id, std::vector<simulation::Text> strings) {
    ClassicRecord record;
    record.source = source;
    record.id = id;
    record.strings = std::move(strings);
    return record;
}

// A log of two sources, one of which has two message files, and a channel with values of the types that are
// not simply copied, and with what Windows' diagnostics leave.
void eventPc(simulation::Machine& machine) {
    machine.environment[u"SystemRoot"] = u"C:\\Windows";
    for (const auto& [name, id] : {std::pair(u"C:\\Windows\\other.dll", 9), {u"C:\\Windows\\fan.dll", 7}}) {
        simulation::File& file = machine.files[name];
        file.image = true;
        file.messages = std::map<DWORD, simulation::Text>{{id, u"Fan %1 turns at %2."}};
    }
    machine.localMachine()
        .make(u"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\fan")
        .values[u"EventMessageFile"] =
        RegistryValue::text(u"%SystemRoot%\\other.dll;%SystemRoot%\\fan.dll", REG_EXPAND_SZ);
    simulation::ClassicLog& log = machine.events.classic[u"System"];
    log.add(record(u"fan", 7, {u"CPU", u"900"}));
    log.add(record(u"disk", 8, {}));
    log.add(record(u"fan", 7, {u"a name that is too long for a small text", u"1"}));

    simulation::EventChannel& channel = machine.events.channels[u"System"];
    machine.events.publishers[u"fan"].messages = {{7, u"Fan %1 turns."}};
    ChannelEvent fan(u"fan", 7);
    fan.with(u"Name",
             u"a name that makes the row longer than what is tried at first, which is 256 bytes: "
             u"so this goes on for a while, and then for some more");
    fan.with(u"Label", EventValue::ansi("CPU")).with(u"Since", EventValue::fileTime(127953721892500000ull));
    channel.add(fan);
    channel.add(ChannelEvent(u"gone", 8));

    const char16_t* const provider = u"Microsoft-Windows-MemoryDiagnostics-Results";
    for (const auto& [completion, bad] : {std::pair(u"pass", 0), {u"fail", 3}}) {
        ChannelEvent test(provider, 1101);
        test.withUserData(u"Results", u"CompletionType", completion);
        for (const char16_t* name :
             {u"TestDuration", u"NumPagesTested", u"NumPagesUnTested", u"NumBadPages"}) {
            test.withUserData(u"Results", name, EventValue::number(EvtVarTypeUInt32, bad));
        }
        channel.add(test);
    }
    ChannelEvent failure(u"Microsoft-Windows-DiskDiagnostic", 1);
    failure.level = 1;
    failure.with(u"DiskFriendlyName", u"Nordlicht").with(u"HardwareID", u"NORD").with(u"VolumeNames", u"C:");
    channel.add(failure);
}

// The classic log

std::unique_ptr<EventLogParser> opened() {
    auto parser = std::make_unique<EventLogParser>();
    return parser->openEventLog("System") ? std::move(parser) : nullptr;
}

Result records() {
    const auto parser = opened();
    std::string sources;
    while (parser != nullptr && parser->getNextEvent()) sources += plain(parser->getSource()) + "\n";
    return {true, sources};
}

class Sources : public libSysmira::EventLogViewer {
public:
    bool viewEvent(EventLogParser& parser, void*) override {
        Texts strings;
        parser.getMessageStringArguments(strings);
        found += plain(parser.getEventType()) + "\n" + plain(strings);
        return true;
    }
    std::string found;
};

Result search() {
    const auto parser = opened();
    if (parser == nullptr) return {false, ""};
    EventLogSearchParams params;
    params.searchByCodeAndSource(7, "fan", nullptr);
    Sources viewer;
    const bool success = parser->search(viewer, params);
    return {success, viewer.found};
}

Result ofFirst(zor::String (*read)(EventLogParser&)) {
    const auto parser = opened();
    if (parser == nullptr || !parser->getNextEvent()) return {false, ""};
    return {true, plain(read(*parser))};
}

Result message() {
    return ofFirst([](EventLogParser& parser) { return parser.getEventMessage(); });
}

Result report() {
    return ofFirst([](EventLogParser& parser) { return parser.toString(true, 2); });
}

// A message that asks for more than the record has: nothing comes of it but a log line.
Result unrendered() {
    auto& messages = *simulation::machine().files[u"C:\\Windows\\fan.dll"].messages;
    messages[7] = u"Fan %5.";
    const Result result = message();
    messages[7] = u"Fan %1 turns at %2.";
    return result;
}

// The channel

Texts paths() {
    return {"Event/System/EventID", "Event/EventData/Data[@Name='Name']",
            "Event/EventData/Data[@Name='Label']", "Event/EventData/Data[@Name='Since']"};
}

const char* const someEvents = "*[System/EventID=7 or System/EventID=8]";

// A line for each value, which names its place.
std::string linesOf(const Rows& rows) {
    std::string text;
    for (unsigned row = 0; row < rows.size(); ++row) {
        for (unsigned column = 0; column < rows[row].size(); ++column) {
            text += std::to_string(row) + "." + std::to_string(column) + ": " +
                    plain(rows[row][column].toString()) + "\n";
        }
    }
    return text;
}

Result xml() {
    Texts texts;
    const bool success = VistaEventLogs::queryLogs("System", someEvents, VistaEventLogs::OldestFirst, texts);
    return {success, plain(texts)};
}

Result values() {
    Rows rows;
    const bool success =
        VistaEventLogs::queryLogs("System", someEvents, VistaEventLogs::OldestFirst, paths(), rows);
    return {success, linesOf(rows)};
}

Result messages() {
    Rows rows;
    Texts texts;
    const bool success =
        VistaEventLogs::queryLogs("System", someEvents, VistaEventLogs::OldestFirst, paths(), rows, texts);
    std::string text = linesOf(rows);
    for (unsigned i = 0; i < texts.size(); ++i) {
        text += "message " + std::to_string(i) + ": " + plain(texts[i]) + "\n";
    }
    return {success && texts.size() == rows.size(), text};
}

// Diagnostics

Result memoryTests() {
    VistaDiagnosticEvents& events = VistaDiagnosticEvents::instance();
    events.findMemoryDiagnosticEvents();
    std::string text;
    for (unsigned i = 0; i < events.memoryDiagnosticEventCount(); ++i) {
        const auto& event = events.memoryDiagnosticEvent(i);
        const std::string name = event.passed() ? "passed" : "failed";
        text += name + " duration: " + std::to_string(event.testDuration()) + "\n" + name +
                " bad: " + std::to_string(event.numberBadPages()) + "\n";
    }
    return {true, text};
}

Result diskFailures() {
    VistaDiagnosticEvents& events = VistaDiagnosticEvents::instance();
    events.findDiskDiagnosticEvents();
    std::string text;
    for (unsigned i = 0; i < events.diskDiagnosticEventCount(); ++i) {
        const auto& event = events.diskDiagnosticEvent(i);
        text += plain(event.diskFriendlyName()) + ": " + plain(event.diskVolumeNames()) + "\n";
    }
    return {true, text};
}

}  // namespace

std::vector<Operation> eventOperations() {
    // The argument array is built while the message file is loaded; without memory for it the file stays so.
    const char* const module = "module of LoadLibraryExW\n";
    return {
        {"EventLogRecords", eventPc, records, beginningOfIt()},
        {"EventLogSearch", eventPc, search, beginningOfIt()},
        {"EventLogMessage", eventPc, message, anyOf({""}), throwsNothing, module},
        {"EventLogReport", eventPc, report, linesMayLose({}), throwsNothing, module},
        {"EventLogUnrenderedMessage", eventPc, unrendered, anyOf({""}), throwsNothing, module},
        {"ChannelXml", eventPc, xml, beginningOfIt()},
        {"ChannelValues", eventPc, values, linesMayLose({})},
        {"ChannelMessages", eventPc, messages, linesMayLose({})},
        {"MemoryDiagnostics", eventPc, memoryTests, linesMayLose({"0"})},
        {"DiskDiagnostics", eventPc, diskFailures, linesMayLose({})},
    };
}

}  // namespace sweep
