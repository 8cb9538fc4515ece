#include "libSysmira/perf/PerformanceCounterEnum.h"

#include "tests/behaviour/CounterPc.h"

namespace {

using libSysmira::PerformanceCounterEnum;

class CounterLists : public CounterPc {
protected:
    static Strings objects(bool refresh = false) {
        zor::Array<zor::String> names = usedArray();
        PerformanceCounterEnum::enumObjects(names, refresh);
        return plain(names);
    }
    struct Lists {
        Strings instances;
        Strings counters;
        bool operator==(const Lists&) const = default;
    };
    static Lists listsOf(const char* object) {
        zor::Array<zor::String> instances = usedArray(), counters = usedArray();
        PerformanceCounterEnum::enumCounters(object, instances, counters);
        return {plain(instances), plain(counters)};
    }
};

TEST_F(CounterLists, ObjectsComeInEnglish) {
    machine.counters.add({950});  // German alone
    machine.counters.add({900});  // English alone
    machine.counters.add({910}).detail = 100;
    machine.counters.add({230}).detail = 200;  // for those who know more
    EXPECT_EQ(objects(), (Strings{"Processor", "System", "Fan"}));
    // Terminators count: "Prozessor", "System", "Regler", the number of what has no name, "Lüfter".
    const Strings asked = argumentsOf("PdhEnumObjectsW");
    EXPECT_EQ(asked, (Strings{"0, 100, 0", "36, 100, 0"}));
    machine.counters.objects.clear();
    machine.counters.seen.reset();
    EXPECT_EQ(objects(), Strings{});
}

TEST_F(CounterLists, WindowsLooksAgainWhenItIsTold) {
    EXPECT_EQ(objects().size(), 2u);
    machine.counters.add({910});
    EXPECT_EQ(objects().size(), 2u);
    forgetCalls();
    EXPECT_EQ(objects(/*refresh=*/true).size(), 3u);
    EXPECT_EQ(argumentsOf("PdhEnumObjectsW"), (Strings{"0, 100, 1", "25, 100, 0"}));

    machine.counters.add({230});
    EXPECT_FALSE(PerformanceCounterEnum::refreshObjects()) << "the list of objects needs room";
    EXPECT_EQ(objects().size(), 4u) << "and yet Windows has looked";
    machine.counters.objects.clear();
    EXPECT_TRUE(PerformanceCounterEnum::refreshObjects());
}

TEST_F(CounterLists, CountersAreTranslatedAndInstancesAreNot) {
    EXPECT_EQ(listsOf("processor"), (Lists{{"0", "1", "_Total"}, {"% Processor Time"}}));
    EXPECT_EQ(argumentsOf("PdhEnumObjectItemsW"),
              (Strings{"Prozessor, 0, 0, 100, 0", "Prozessor, 19, 12, 100, 0"}));
    EXPECT_EQ(listsOf("System"), (Lists{{}, {"System Up Time", "Threads"}}));

    simulation::CounterObject& process = machine.counters.add({230});
    process.hasInstances = true;
    process.instances = {u"Processor", u"dienst", u"dienst"};
    process.add({24});
    process.add({506}).detail = 300;
    process.add({900});
    process.add({264});
    EXPECT_EQ(listsOf("Process"), (Lists{{"Processor", "dienst", "dienst"}, {"Threads", "Bytes/sec"}}));
    EXPECT_TRUE(libSysmira::PerformanceCounterPath("Process", "dienst#1", "Threads").counterExists());
    EXPECT_FALSE(libSysmira::PerformanceCounterPath("Process", "dienst#2", "Threads").counterExists());
    process.instances.clear();
    EXPECT_EQ(listsOf("Process"), (Lists{{}, {"Threads", "Bytes/sec"}})) << "none at the moment";

    EXPECT_EQ(listsOf("Nothing"), Lists{});
    EXPECT_EQ(listsOf("Fan"), Lists{}) << "known by name, and not there";
}

TEST_F(CounterLists, ListsThatChangeBetweenTwoCallsAreWalkedWithinTheirRoom) {
    simulation::CounterObject& processor = machine.counters.objects[0];
    processor.instancesGrowBy = 1;
    EXPECT_EQ(listsOf("Processor"), Lists{}) << "Windows refuses the room that it asked for";
    processor.instancesGrowBy = -2;
    EXPECT_EQ(listsOf("Processor"), (Lists{{"0"}, {"% Processor Time"}}));
    processor.instancesGrowBy = 0;

    for (const char* function : {"PdhEnumObjectsW", "PdhEnumObjectItemsW"}) {
        const auto nothing = [&] { return objects().empty() && listsOf("Processor") == Lists{}; };
        for (const Distortion size : {Distortion::SizeTooLarge, Distortion::SizeZero}) {
            distort(function, size);
            EXPECT_NE(objects().empty(), listsOf("Processor") == Lists{}) << function;
            clearFaults();
        }
        for (const unsigned nth : {1u, 2u}) {
            failCall(function, PDH_INSUFFICIENT_BUFFER, nth);
            EXPECT_NE(objects().empty(), listsOf("Processor") == Lists{}) << function;
            clearFaults();
        }
        distort(function, Distortion::NothingWritten, 2);
        EXPECT_NE(objects().empty(), listsOf("Processor") == Lists{}) << function;
        clearFaults();
        EXPECT_FALSE(nothing());
    }
    // Lists without an end: names in part, and nothing from behind the room.
    distort("PdhEnumObjectItemsW", Distortion::NoTerminator, 2);
    const Lists lists = listsOf("Processor");
    EXPECT_EQ(lists.instances, (Strings{"0", "1", "_Total", "\u7878"}));
    EXPECT_EQ(lists.counters, (Strings{"% Processor Time"}));
}

}  // namespace
