// Any message text with any insertion strings: it is rendered or not, the formatter finds an argument for
// whatever it asks for, and nothing stays open. The units up to the first NUL are the message, further texts
// behind it the strings.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "fuzz/Check.h"
#include "libSysmira/eventLogs/EventLogParser.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"

namespace {

using simulation::Text;

constexpr const char16_t* file = u"C:\\Windows\\fan.dll";

void fillMachine() {
    simulation::Machine& machine = simulation::machine();
    machine.files[file].image = true;
    machine.localMachine()
        .make(u"SYSTEM\\CurrentControlSet\\Services\\Eventlog\\System\\fan")
        .values[u"EventMessageFile"] = simulation::RegistryValue::text(file);
}

simulation::ClassicRecord recordOf(const Text& strings) {
    simulation::ClassicRecord record;
    record.source = u"fan";
    record.id = 7;
    for (std::size_t begin = 0; begin < strings.size();) {
        const std::size_t end = std::min(strings.find(u'\0', begin), strings.size());
        record.strings.push_back(strings.substr(begin, end - begin));
        begin = end + 1;
    }
    return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t longest = 20000;  // the record must fit into the parser's buffer
    // Never destroyed: the simulation may go before it.
    static auto& theParser = *new libSysmira::EventLogParser;
    static const bool filled = [] {
        fillMachine();
        return true;
    }();
    (void)filled;
    simulation::control().watching = false;

    Text text(std::min(size, longest) / 2, u'\0');
    std::memcpy(text.data(), data, text.size() * 2);
    const std::size_t end = std::min(text.find(u'\0'), text.size());
    simulation::machine().files[file].messages = std::map<DWORD, Text>{{7, text.substr(0, end)}};
    simulation::ClassicLog& log = simulation::machine().events.classic[u"System"];
    log.clear();
    log.add(recordOf(end < text.size() ? text.substr(end + 1) : Text()));

    FUZZ_CHECK(theParser.openEventLog("System"));
    FUZZ_CHECK(theParser.getNextEvent());
    const zor::String message = theParser.getEventMessage();
    const zor::String trimmed = zor::String(message).trim();
    FUZZ_CHECK(message == trimmed);
    FUZZ_CHECK(simulation::ledger().count(simulation::Resource::Module) == 0);
    FUZZ_CHECK(simulation::ledger().count(simulation::Resource::LocalAllocation) == 0);
    return 0;
}
