// The DLL's performance counters on the system's own.
#include <gtest/gtest.h>

#include <string>

#include "libSysmira/perf/PerformanceCounterQuery.h"
#include "support/RaisedException.h"
#include "tests/windows/CounterSystem.h"
#include "tests/windows/PlainText.h"

namespace {

using libSysmira::PerformanceCounter;
using libSysmira::PerformanceCounterPath;
using libSysmira::PerformanceCounterQuery;

class CounterDll : public testing::Test {
protected:
    // Before any of the cases, and once.
    static void SetUpTestSuite() {
        EXPECT_EQ(GetModuleHandleW(L"pdh.dll"), nullptr) << "nothing has asked for it yet";
        EXPECT_TRUE(PerformanceCounter::apiAvailable());
        const PerformanceCounterPath nothing;
        EXPECT_FALSE(nothing.counterExists());
        EXPECT_EQ(GetModuleHandleW(L"pdh.dll"), nullptr) << "none of this needs it";
        ASSERT_TRUE(loadCounterNames());
    }

    const PerformanceCounterPath upTime{"System", "", "System Up Time"};
};

TEST_F(CounterDll, EnglishNamesLeadToTheSystemsOwn) {
    zor::String name;
    ASSERT_TRUE(PerformanceCounterPath::getLocalizedPerfName("system up time", name));
    zor::String english;
    EXPECT_TRUE(PerformanceCounterPath::getEnglishPerfName(name, english));
    EXPECT_EQ(plain(english), "System Up Time");
    EXPECT_FALSE(PerformanceCounterPath::getLocalizedPerfName("Nothing of the kind", name));
    EXPECT_EQ(plain(upTime.getFullCounterPath()), "\\System\\System Up Time");
    EXPECT_TRUE(upTime.counterExists()) << plain(upTime.getFullLocalizedCounterPath());
    EXPECT_FALSE(PerformanceCounterPath("System", "", "% Processor Time").counterExists());
}

TEST_F(CounterDll, TheUpTimeIsReadAndGoesOn) {
    const PerformanceCounter counter(upTime);
    const auto passed = static_cast<long long>(GetTickCount64() / 1000);
    long long first = 0, second = 0;
    int narrow = 0;
    ASSERT_TRUE(counter.getCounterValue(first));
    EXPECT_NEAR(static_cast<double>(first), static_cast<double>(passed), 3.0);
    Sleep(1100);
    const PerformanceCounter copy(counter);
    ASSERT_TRUE(copy.getCounterValue(second));
    EXPECT_GT(second, first);
    EXPECT_TRUE(copy.getCounterValue(narrow));
    EXPECT_GE(narrow, second);
}

TEST_F(CounterDll, AQueryHandsOutCountersThatOutliveIt) {
    PerformanceCounterQuery::Counter counter;
    {
        PerformanceCounterQuery query;
        EXPECT_FALSE(query.updateCounters());
        counter = query.addCounter(upTime);
        ASSERT_TRUE(counter.isValid());
        EXPECT_FALSE(query.addCounter({"System", "", "Nothing"}).isValid());
        EXPECT_EQ(query.counters(), 1u);
        EXPECT_TRUE(query.updateCounters());
        EXPECT_THROW(query.getCounter(1), zor::RaisedException);
    }
    long long value = 0;
    EXPECT_TRUE(counter->getCounterValue(value));
    EXPECT_GT(value, 0);
}

}  // namespace
