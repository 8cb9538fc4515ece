#include "libSysmira/vista/VistaDiagnosticEvents.h"

#include "support/RaisedException.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::DiskDiagnosticEvent;
using libSysmira::MemoryDiagnosticEvent;
using libSysmira::VistaDiagnosticEvents;
using simulation::ChannelEvent;
using simulation::EventValue;

using simulation::Text;

const Text MemoryProvider = u"Microsoft-Windows-MemoryDiagnostics-Results";
const Text DiskProvider = u"Microsoft-Windows-DiskDiagnostic";

using simulation::Text;

class Diagnostics : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        channel = &machine.events.channels[u"System"];
    }

    void addMemoryTest(const Text& completion, WORD id = 1101) {
        ChannelEvent event(MemoryProvider, id, simulation::ticksOfUnixTime(1150898589));
        const std::pair<const char16_t*, unsigned> numbers[] = {{u"MemorySize", 8000},
                                                                {u"TestDuration", 310},
                                                                {u"NumPagesTested", 2000000},
                                                                {u"NumPagesUnTested", 40}};
        event.withUserData(u"Results", u"CompletionType", completion);
        for (const auto& [name, value] : numbers) {
            event.withUserData(u"Results", name, EventValue::number(EvtVarTypeUInt32, value));
        }
        channel->add(std::move(event));
    }
    void addDiskFailure(const Text& disk, BYTE level = 1) {
        ChannelEvent event(DiskProvider, 1);
        event.level = level;
        event.with(u"DiskFriendlyName", disk).with(u"HardwareID", u"SCSI\\DiskNORD");
        channel->add(std::move(event));
    }

    simulation::EventChannel* channel = nullptr;
    VistaDiagnosticEvents& events = VistaDiagnosticEvents::instance();
};

TEST_F(Diagnostics, MemoryTestsAreFoundNewestFirst) {
    addMemoryTest(u"Pass");
    addMemoryTest(u"Fail", 1102);
    channel->events.back().withUserData(u"Results", u"NumBadPages", EventValue::number(EvtVarTypeUInt32, 3));
    addMemoryTest(u"PASS", 1103);
    addMemoryTest(u"");
    channel->add(ChannelEvent(u"Other", 1101));
    EXPECT_EQ(&VistaDiagnosticEvents::instance(), &events);
    events.findMemoryDiagnosticEvents();
    ASSERT_EQ(events.memoryDiagnosticEventCount(), 3u) << "of two IDs";
    EXPECT_FALSE(events.memoryDiagnosticEvent(0).passed());
    EXPECT_FALSE(events.memoryDiagnosticEvent(1).passed());
    EXPECT_EQ(events.memoryDiagnosticEvent(1).numberBadPages(), 3u);
    const MemoryDiagnosticEvent& oldest = events.memoryDiagnosticEvent(2);
    EXPECT_TRUE(oldest.passed());
    EXPECT_EQ(oldest.testDuration(), 310u);
    EXPECT_EQ(oldest.numberPagesTested(), 2000000u);
    EXPECT_EQ(oldest.numberPagesUntested(), 40u);
    EXPECT_EQ(oldest.numberBadPages(), 0u) << "without a value";
    const auto time = oldest.dateTime();
    EXPECT_EQ(time.year(), 2006u);
    EXPECT_EQ(time.month(), 6u);
    EXPECT_EQ(time.minute() % 30, 3u);
    EXPECT_EQ(time.second(), 9u);
    EXPECT_EQ(time.day(), time.zorDateTime().getDay());
    EXPECT_EQ(time.hour(), time.zorDateTime().getHour());
    EXPECT_THROW(events.memoryDiagnosticEvent(3), zor::RaisedException);

    channel->events.clear();
    ChannelEvent bare(MemoryProvider, 1101);
    channel->add(bare.withUserData(u"Results", u"CompletionType", u"Pass"));
    events.findMemoryDiagnosticEvents();
    ASSERT_EQ(events.memoryDiagnosticEventCount(), 1u);
    EXPECT_TRUE(events.memoryDiagnosticEvent(0).passed());
    EXPECT_EQ(events.memoryDiagnosticEvent(0).testDuration(), 0u) << "null counts as 0";
    EXPECT_EQ(events.memoryDiagnosticEvent(0).numberPagesTested(), 0u);

    channel->events.clear();
    addMemoryTest(u"pass");
    events.findMemoryDiagnosticEvents();
    EXPECT_EQ(events.memoryDiagnosticEventCount(), 1u) << "the last search alone";
    machine.events.channels.clear();
    events.findMemoryDiagnosticEvents();
    EXPECT_EQ(events.memoryDiagnosticEventCount(), 0u);
}

TEST_F(Diagnostics, DiskFailuresAreThoseOfTheHighestLevel) {
    addDiskFailure(u"one");
    channel->events.back().with(u"VolumeNames", u"C: D:");
    addDiskFailure(u"two");
    addDiskFailure(u"three", 4);
    events.findDiskDiagnosticEvents();
    ASSERT_EQ(events.diskDiagnosticEventCount(), 2u);
    const DiskDiagnosticEvent& newest = events.diskDiagnosticEvent(0);
    EXPECT_EQ(newest.diskFriendlyName(), "two");
    EXPECT_EQ(newest.diskHardwareId(), "SCSI\\DiskNORD");
    EXPECT_EQ(newest.diskVolumeNames(), "");
    EXPECT_FALSE(newest.passed());
    EXPECT_EQ(events.diskDiagnosticEvent(1).diskVolumeNames(), "C: D:");
    EXPECT_THROW(events.diskDiagnosticEvent(2), zor::RaisedException);
}

TEST_F(Diagnostics, EventsOfOtherShapesAreLeftOut) {
    addDiskFailure(u"good");
    ChannelEvent nameless(DiskProvider, 1);
    nameless.level = 1;
    channel->add(nameless);
    addDiskFailure(u"also good");
    channel->events.back().with(u"VolumeNames", EventValue::number(EvtVarTypeUInt32, 5));
    addDiskFailure(u"unrendered");
    failCall("EvtRender", ERROR_EVT_INVALID_EVENT_DATA);
    events.findDiskDiagnosticEvents();
    ASSERT_EQ(events.diskDiagnosticEventCount(), 1u);
    EXPECT_EQ(events.diskDiagnosticEvent(0).diskFriendlyName(), "good");
    ASSERT_EQ(log.size(), 2u) << "a row of another length is left out silently";
    for (const LogLine& line : log) {
        EXPECT_EQ(line.logger, "Sysmira.VistaDiagnosticEvents");
        EXPECT_EQ(line.priority, 4);
        EXPECT_EQ(line.text.compare(0, 41, "50 Unexpected type returned from event : "), 0) << line.text;
    }
}

// Only a value of another type leaves an event out: misuse is reported to the caller.
TEST_F(Diagnostics, OtherExceptionsReachTheCaller) {
    addDiskFailure(u"disk");
    libSysmira::QueryParameters& parameters = DiskDiagnosticEvent::queryParameters();
    const libSysmira::QueryParameters kept = parameters;
    parameters.valuePaths = {kept.valuePaths[0], kept.valuePaths[1]};
    EXPECT_THROW(events.findDiskDiagnosticEvents(), zor::RaisedException);
    parameters = kept;
    events.findDiskDiagnosticEvents();
    EXPECT_EQ(events.diskDiagnosticEventCount(), 1u);
}

TEST_F(Diagnostics, SearchesTraceTheirScopes) {
    zor::LogFactory::setPriority(1);
    events.findDiskDiagnosticEvents();
    Strings marks;
    for (const LogLine& line : log) marks.push_back(line.text.substr(line.text.find(' ') + 1));
    EXPECT_EQ(marks, (Strings{"> findDiskDiagnosticEvents", "> createEvents", "> queryParameters",
                              "< queryParameters", "< createEvents", "< findDiskDiagnosticEvents"}));
}

TEST_F(Diagnostics, ParametersMayBeChanged) {
    auto& parameters = DiskDiagnosticEvent::queryParameters();
    EXPECT_EQ(&parameters, &DiskDiagnosticEvent::queryParameters());
    const zor::String before = parameters.channel;
    machine.events.channels[u"Archive"];
    std::swap(machine.events.channels[u"Archive"], *channel);
    channel = &machine.events.channels[u"Archive"];
    addDiskFailure(u"archived");
    parameters.channel = "Archive";
    events.findDiskDiagnosticEvents();
    parameters.channel = before;
    EXPECT_EQ(events.diskDiagnosticEventCount(), 1u);
}

}  // namespace
