#include "libSysmira/perf/PerformanceCounter.h"

#include <optional>

#include "libSysmira/perf/PerformanceCounterQuery.h"
#include "support/RaisedException.h"
#include "tests/behaviour/CounterPc.h"

namespace {

using libSysmira::PerformanceCounter;
using libSysmira::PerformanceCounterPath;
using libSysmira::PerformanceCounterQuery;

class Counters : public CounterPc {
protected:
    static PerformanceCounterPath load(const char* instance = "_Total") {
        return {"Processor", instance, "% Processor Time"};
    }
    static PerformanceCounterPath threads() { return {"System", "", "Threads"}; }

    // -77 when there is none.
    template <class Value>
    static Value valueOf(const PerformanceCounter& counter) {
        Value value = -77;
        const bool read = counter.getCounterValue(value);
        EXPECT_EQ(read, value != -77) << "a failure leaves the value alone";
        return value;
    }
    static long long whole(const PerformanceCounter& counter) { return valueOf<long long>(counter); }
    static double real(const PerformanceCounter& counter) { return valueOf<double>(counter); }
    static int narrow(const PerformanceCounter& counter) { return valueOf<int>(counter); }
};

TEST_F(Counters, OnItsOwnEachReadTakesASample) {
    machine.counters.objects[1].counters[1].shows.samples = {2.75, 5000000000ll, -5000000000ll};
    const PerformanceCounterPath path = threads();
    forgetCalls();
    const PerformanceCounter counter(path);
    EXPECT_EQ(callNames(),
              (Strings{"PdhValidatePathW", "PdhOpenQueryW", "PdhValidatePathW", "PdhAddCounterW"}));
    EXPECT_TRUE(counter.counterExists());
    EXPECT_EQ(plain(counter.getCounterPath().getFullCounterPath()), "\\System\\Threads");
    forgetCalls();
    EXPECT_EQ(real(counter), 2.75);
    EXPECT_EQ(whole(counter), 5000000000ll);
    EXPECT_EQ(narrow(counter), -2147483647 - 1) << "the least that fits";
    EXPECT_EQ(callNames(),
              (Strings{"PdhCollectQueryData", "PdhGetFormattedCounterValue", "PdhCollectQueryData",
                       "PdhGetFormattedCounterValue", "PdhCollectQueryData", "PdhGetFormattedCounterValue"}));
    const Strings formats = argumentsOf("PdhGetFormattedCounterValue");
    ASSERT_EQ(formats.size(), 3u);
    EXPECT_EQ(formats[0].substr(formats[0].rfind(' ')), " 512");
    EXPECT_EQ(formats[1].substr(formats[1].rfind(' ')), " 1024");
    EXPECT_EQ(formats[2].substr(formats[2].rfind(' ')), " 256");
}

TEST_F(Counters, RatesNeedTwoSamples) {
    const PerformanceCounter counter(load());
    EXPECT_EQ(real(counter), -77);
    EXPECT_EQ(real(counter), 2.5);
    EXPECT_EQ(real(counter), 3.5);
    // Gone for a sample, and two more until there is a difference again.
    machine.counters.objects[0].instances.pop_back();
    EXPECT_EQ(real(counter), -77);
    machine.counters.objects[0].instances.push_back(u"_Total");
    EXPECT_EQ(real(counter), -77);
    EXPECT_EQ(real(counter), 3.5);
}

TEST_F(Counters, OneThatIsNotThereIsTriedAgainByEachRead) {
    const PerformanceCounterPath unknown("Nothing", "", "Threads");
    EXPECT_EQ(whole(PerformanceCounter(unknown)), -77);
    EXPECT_FALSE(PerformanceCounter(unknown).counterExists());
    EXPECT_EQ(calls("PdhValidatePathW"), 0u) << "there is nothing to ask for";

    const PerformanceCounter counter(load("2"));
    EXPECT_EQ(calls("PdhOpenQueryW"), 0u);
    EXPECT_EQ(real(counter), -77);
    EXPECT_EQ(narrow(counter), -77);
    EXPECT_FALSE(counter.counterExists());
    machine.counters.objects[0].instances.push_back(u"2");
    EXPECT_EQ(real(counter), -77) << "the first sample";
    EXPECT_EQ(real(counter), 20.5);
    EXPECT_EQ(calls("PdhOpenQueryW"), 1u);
}

// Microsoft, PdhAddCounter: an instance that is missing is no error; it may come.
TEST_F(Counters, AnInstanceThatGoesBeforeItIsAddedHasNoValueUntilItComesBack) {
    const Text path = u"\\Prozessor(2)\\Prozessorzeit (%)";
    PDH_HQUERY query = nullptr;
    PDH_HCOUNTER counter = nullptr;
    ASSERT_EQ(PdhOpenQueryW(nullptr, 0, &query), ERROR_SUCCESS);
    EXPECT_EQ(static_cast<DWORD>(PdhValidatePathW(simulation::wide(path))), PDH_CSTATUS_NO_INSTANCE);
    ASSERT_EQ(PdhAddCounterW(query, simulation::wide(path), 0, &counter), ERROR_SUCCESS);
    PDH_FMT_COUNTERVALUE value = {};
    EXPECT_EQ(static_cast<DWORD>(PdhCollectQueryData(query)), PDH_NO_DATA);
    EXPECT_EQ(static_cast<DWORD>(PdhGetFormattedCounterValue(counter, PDH_FMT_DOUBLE, nullptr, &value)),
              PDH_INVALID_DATA);
    EXPECT_EQ(value.CStatus, PDH_CSTATUS_NO_INSTANCE);
    machine.counters.objects[0].instances.push_back(u"2");
    EXPECT_EQ(PdhCollectQueryData(query), ERROR_SUCCESS);
    EXPECT_EQ(PdhCollectQueryData(query), ERROR_SUCCESS);
    EXPECT_EQ(PdhGetFormattedCounterValue(counter, PDH_FMT_DOUBLE, nullptr, &value), ERROR_SUCCESS);
    EXPECT_EQ(value.doubleValue, 30);
    EXPECT_EQ(PdhCloseQuery(query), ERROR_SUCCESS);
}

TEST_F(Counters, AFailureOnTheWayLeavesNothingOpen) {
    const PerformanceCounterPath path = threads();
    const struct {
        const char* function;
        unsigned nth;
        unsigned closed;
    } rows[] = {
        {"PdhValidatePathW", 1, 0},
        {"PdhOpenQueryW", 1, 0},
        {"PdhValidatePathW", 2, 1},
        {"PdhAddCounterW", 1, 1},
    };
    for (const auto& row : rows) {
        forgetCalls();
        failCall(row.function, PDH_MEMORY_ALLOCATION_FAILURE, row.nth);
        const PerformanceCounter counter(path);
        EXPECT_EQ(calls("PdhCloseQuery"), row.closed) << row.function;
        EXPECT_TRUE(simulation::ledger().empty()) << row.function;
        clearFaults();
        EXPECT_EQ(whole(counter), 2718) << row.function;
    }
    const PerformanceCounter counter(path);
    failCall("PdhCollectQueryData", PDH_NO_DATA);
    EXPECT_EQ(whole(counter), -77);
    failCall("PdhGetFormattedCounterValue", PDH_INVALID_DATA);
    EXPECT_EQ(whole(counter), -77);
    EXPECT_EQ(whole(counter), 2718);
}

TEST_F(Counters, CopiesShareAQueryThatTheLastCloses) {
    std::optional<PerformanceCounter> first(threads());
    std::optional<PerformanceCounter> second(*first);
    PerformanceCounter third(load());
    third = *second;
    EXPECT_EQ(calls("PdhCloseQuery"), 1u) << "that of what it was before";
    EXPECT_EQ(calls("PdhOpenQueryW"), 2u);
    first.reset();
    EXPECT_EQ(whole(*second), 2718);
    second.reset();
    EXPECT_EQ(calls("PdhCloseQuery"), 1u);
    EXPECT_EQ(whole(third), 2718);
}

TEST_F(Counters, TheHelperIsLookedForWithoutLoadingIt) {
    EXPECT_FALSE(PerformanceCounter::apiAvailable());
    machine.files[u"C:\\Windows\\system32\\pdh.dll"].image = true;
    EXPECT_FALSE(PerformanceCounter::apiAvailable()) << "nobody says where Windows is";
    machine.environment[u"windir"] = u"C:\\Windows\\";
    forgetCalls();
    EXPECT_TRUE(PerformanceCounter::apiAvailable());
    EXPECT_EQ(callNames(), (Strings{"GetEnvironmentVariableW", "GetFileAttributesW"}));
    EXPECT_EQ(argumentsOf("GetFileAttributesW"), Strings{"C:\\Windows\\system32\\Pdh.dll"});
    machine.files.clear();
    EXPECT_FALSE(PerformanceCounter::apiAvailable());
}

TEST_F(Counters, OneCollectionSamplesAWholeQuery) {
    PerformanceCounterQuery query;
    for (const char* instance : {"0", "1", "_Total"}) EXPECT_TRUE(query.addCounter(load(instance)).isValid());
    const auto added = query.addCounter(threads());
    ASSERT_EQ(query.counters(), 4u);
    EXPECT_EQ(&query.getCounter(3), added.get());
    EXPECT_EQ(real(query.getCounter(2)), -77) << "nothing was sampled yet";
    EXPECT_TRUE(query.updateCounters());
    EXPECT_EQ(whole(*added), 2718);
    EXPECT_EQ(real(query.getCounter(0)), -77) << "rates need two samples";
    EXPECT_TRUE(query.updateCounters());
    forgetCalls();
    const PerformanceCounterQuery& constant = query;
    EXPECT_EQ(real(constant.getCounter(0)), 20.5);
    EXPECT_EQ(real(constant.getCounter(0)), 20.5);
    EXPECT_EQ(real(constant.getCounter(1)), 20.5);
    EXPECT_EQ(real(constant.getCounter(2)), 2.5);
    EXPECT_EQ(narrow(*added), 2718);
    EXPECT_EQ(calls("PdhCollectQueryData"), 0u);
    EXPECT_EQ(calls("PdhGetFormattedCounterValue"), 5u);

    // One that is gone does not keep the others from being sampled.
    machine.counters.objects[0].instances.pop_back();
    EXPECT_TRUE(query.updateCounters());
    EXPECT_EQ(real(query.getCounter(2)), -77);
    EXPECT_EQ(real(query.getCounter(1)), 30);
}

TEST_F(Counters, WhatCannotBeAddedLeavesTheQueryAsItWas) {
    PerformanceCounterQuery query;
    EXPECT_FALSE(query.updateCounters()) << "there is nothing to sample";
    EXPECT_FALSE(query.addCounter(load("7")).isValid());
    EXPECT_FALSE(query.addCounter(PerformanceCounterPath()).isValid());
    EXPECT_TRUE(query.addCounter(threads()).isValid());
    failCall("PdhAddCounterW", PDH_CSTATUS_NO_INSTANCE);
    EXPECT_FALSE(query.addCounter(load()).isValid()) << "it went since it was validated";
    EXPECT_EQ(query.counters(), 1u);
    EXPECT_TRUE(query.addCounter(load("0")).isValid());
    EXPECT_TRUE(query.updateCounters());
    EXPECT_TRUE(query.updateCounters());
    EXPECT_EQ(whole(query.getCounter(0)), 2718);
    EXPECT_EQ(real(query.getCounter(1)), 20.5);

    EXPECT_THROW(query.getCounter(2), zor::RaisedException);
    EXPECT_THROW(const_cast<const PerformanceCounterQuery&>(query).getCounter(2), zor::RaisedException);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_NE(log[0].text.find("index < size()"), std::string::npos);
}

TEST_F(Counters, AQueryIsClosedWhenTheLastOfItsUsersGoes) {
    PerformanceCounterQuery::Counter counter;
    std::optional<PerformanceCounter> member;
    {
        std::optional<PerformanceCounterQuery> query(std::in_place);
        counter = query->addCounter(threads());
        PerformanceCounterQuery copy(*query);
        EXPECT_TRUE(copy.addCounter(load()).isValid());
        EXPECT_EQ(query->counters(), 1u) << "what is added later is the copy's own";
        EXPECT_EQ(copy.counters(), 2u);
        query.reset();
        EXPECT_TRUE(copy.updateCounters());
        member.emplace(copy.getCounter(0));
        PerformanceCounterQuery other;
        EXPECT_EQ(calls("PdhCloseQuery"), 0u);
        other = copy;
        EXPECT_EQ(calls("PdhCloseQuery"), 1u);
    }
    EXPECT_EQ(whole(*counter), 2718);
    counter.release();
    EXPECT_EQ(whole(*member), 2718);
    EXPECT_EQ(calls("PdhCloseQuery"), 1u);
    member.reset();
    EXPECT_EQ(calls("PdhCloseQuery"), 2u);
    EXPECT_TRUE(simulation::ledger().empty());
}

TEST_F(Counters, AQueryThatWasNotOpenedIsNotClosed) {
    failCall("PdhOpenQueryW", PDH_MEMORY_ALLOCATION_FAILURE);
    {
        PerformanceCounterQuery query;
        EXPECT_FALSE(query.addCounter(threads()).isValid());
        EXPECT_FALSE(query.updateCounters());
    }
    EXPECT_EQ(calls("PdhCollectQueryData"), 0u);
    EXPECT_EQ(calls("PdhCloseQuery"), 0u);
}

}  // namespace
