// Any text is a filter of events or none, and a path to a value or none; either is evaluated without a fault.
#include <cstddef>
#include <cstdint>

#include "simulation/api/EventXPath.h"

namespace {

using namespace simulation;

const EventElement& fanEvent() {
    static const EventElement event = [] {
        ChannelEvent fan(u"Nordlicht-Fan", 7, ticksOfUnixTime(1150898589));
        fan.keywords = 0x8000000000000080ull;
        fan.with(u"Name", u"CPU").with(u"Speed", EventValue::number(EvtVarTypeUInt32, 900));
        fan.with(u"", EventValue::boolean(true))
            .with(u"Samples", EventValue::array(EvtVarTypeString, {u"a"}));
        return fan.tree();
    }();
    return event;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text text = fromUtf8({reinterpret_cast<const char*>(data), size});
    constexpr ULONGLONG now = ticksOfUnixTime(1150900000);
    if (const auto query = EventXPath::parseQuery(text)) {
        (void)query->selectsAll();
        (void)query->matches(fanEvent(), now);
    }
    if (const auto path = EventXPath::parsePath(text)) (void)path->find(fanEvent(), now);
    return 0;
}
