#include "tools/sysmira/events/DiagnosticsCommand.h"

#include <nlohmann/json.hpp>

#include "libSysmira/eventLogs/VistaEventLogs.h"
#include "libSysmira/vista/VistaDiagnosticEvents.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/events/EventText.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::DiskDiagnosticEvent;
using libSysmira::getLastEventQueryError;
using libSysmira::MemoryDiagnosticEvent;
using libSysmira::VistaDiagnosticEvents;

namespace {

std::string timeText(const libSysmira::EventDateTime& time) {
    return localTimeText(withOwnOffset(time.zorDateTime()));
}

Json timeJson(const libSysmira::EventDateTime& time) {
    return localTimeToJson(withOwnOffset(time.zorDateTime()));
}

std::string toText(const MemoryDiagnosticEvent& event) {
    std::string text =
        "  " + timeText(event.dateTime()) + "  " + (event.passed() ? "passed" : "FAILED") + "\n";
    const auto line = [&](const char* label, unsigned value) {
        text += "    " + padded(label, 17) + std::to_string(value) + "\n";
    };
    line("Duration:", event.testDuration());
    line("Pages tested:", event.numberPagesTested());
    line("Pages untested:", event.numberPagesUntested());
    line("Bad pages:", event.numberBadPages());
    return text;
}

std::string toText(const DiskDiagnosticEvent& event) {
    return "  " + timeText(event.dateTime()) + "  " + printable(event.diskFriendlyName()) + "\n" +
           "    Hardware ID: " + printable(event.diskHardwareId()) + "\n" + "    Volumes:     " +
           (event.diskVolumeNames().empty() ? "not told" : printable(event.diskVolumeNames())) + "\n";
}

Json toJson(const MemoryDiagnosticEvent& event) {
    return {{"time", timeJson(event.dateTime())},           {"passed", event.passed()},
            {"testDuration", event.testDuration()},         {"pagesTested", event.numberPagesTested()},
            {"pagesUntested", event.numberPagesUntested()}, {"badPages", event.numberBadPages()}};
}

Json toJson(const DiskDiagnosticEvent& event) {
    return {{"time", timeJson(event.dateTime())},
            {"disk", toUtf8(event.diskFriendlyName())},
            {"hardwareId", toUtf8(event.diskHardwareId())},
            {"volumes", toUtf8(event.diskVolumeNames())}};
}

}  // namespace

void runDiagnostics(Output& output) {
    VistaDiagnosticEvents& events = VistaDiagnosticEvents::instance();
    events.findMemoryDiagnosticEvents();
    const DWORD memoryError = getLastEventQueryError();
    events.findDiskDiagnosticEvents();
    const DWORD diskError = getLastEventQueryError();
    const unsigned tests = events.memoryDiagnosticEventCount(), failures = events.diskDiagnosticEventCount();

    Json document = {{"memoryTests", Json::array()}, {"diskFailures", Json::array()}};
    std::string text;
    for (unsigned i = 0; i < tests; ++i) {
        document["memoryTests"].push_back(toJson(events.memoryDiagnosticEvent(i)));
        text += (i == 0 ? "Memory tests\n" : "") + toText(events.memoryDiagnosticEvent(i));
    }
    if (tests == 0 && memoryError == 0) text += "No memory test has left a result.\n";
    const std::string gap = text.empty() ? "" : "\n";
    for (unsigned i = 0; i < failures; ++i) {
        document["diskFailures"].push_back(toJson(events.diskDiagnosticEvent(i)));
        text +=
            (i == 0 ? gap + "Disks that are about to fail\n" : "") + toText(events.diskDiagnosticEvent(i));
    }
    if (failures == 0 && diskError == 0) text += gap + "No failure of a disk was predicted.\n";

    const DWORD error = memoryError != 0 ? memoryError : diskError;
    const bool anything = tests != 0 || failures != 0 || memoryError == 0 || diskError == 0;
    if (output.wantsJson() && anything) {
        output.printDocument(document);
    } else if (!text.empty()) {
        output.print(text);
    }
    if (error != 0) {
        throw CommandFailure(NotRead,
                             "the results that Windows keeps in the channel \"System\" cannot be read: " +
                                 describeError(error),
                             causeOfError(error));
    }
}

}  // namespace sysmira
