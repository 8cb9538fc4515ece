#include "tests/behaviour/CounterPc.h"

namespace {

using libSysmira::PerformanceCounterPath;
using zor::String;

class CounterPaths : public CounterPc {
protected:
    static std::string localized(const String& name) {
        String text = "before";
        return PerformanceCounterPath::getLocalizedPerfName(name, text) ? plain(text) : "no: " + plain(text);
    }
    static std::string inEnglish(const Text& name) {
        String text = "before";
        return PerformanceCounterPath::getEnglishPerfName(zorText(name), text) ? plain(text)
                                                                               : "no: " + plain(text);
    }
};

TEST_F(CounterPaths, TranslateObjectAndCounterAndLeaveTheInstance) {
    const PerformanceCounterPath load("processor", "Processor", "% processor time");
    EXPECT_EQ(plain(load.getFullCounterPath()), "\\processor(Processor)\\% processor time");
    EXPECT_EQ(plain(load.getFullLocalizedCounterPath()), "\\Prozessor(Processor)\\Prozessorzeit (%)");
    EXPECT_FALSE(load.counterExists()) << "there is no such instance";
    EXPECT_TRUE(PerformanceCounterPath("Processor", "1", "% Processor Time").counterExists());

    const PerformanceCounterPath upTime("System", "", "System Up Time");
    EXPECT_EQ(plain(upTime.getFullCounterPath()), "\\System\\System Up Time");
    EXPECT_EQ(plain(upTime.getFullLocalizedCounterPath()), "\\System\\Systembetriebszeit");
    EXPECT_EQ(argumentsOf("PdhMakeCounterPathW").back(), "System, null, Systembetriebszeit, 0xFFFFFFFF, 0");
    EXPECT_TRUE(upTime.counterExists());

    PerformanceCounterPath moved, copied;
    EXPECT_TRUE(moved.getFullCounterPath().empty());
    copied = upTime;
    moved = std::move(copied);
    EXPECT_EQ(plain(moved.getFullLocalizedCounterPath()), "\\System\\Systembetriebszeit");
    EXPECT_TRUE(log.empty());
}

TEST_F(CounterPaths, AreEmptyWhereANameIsMissing) {
    const struct {
        const char* object;
        const char* counter;
        const char* full;
        const char* line;
    } rows[] = {
        {"Processors", "% Processor Time", "\\Processors\\% Processor Time", nullptr},
        {"Processor", "Prozessorzeit (%)", "\\Processor\\Prozessorzeit (%)", nullptr},
        {"Processor", "", "", nullptr},
        {"", "Threads", "", nullptr},
        // English alone; Windows is asked for it and refuses.
        {"System", "Spindles", "\\System\\Spindles",
         "167 Failed to get localized perf name for \"Spindles\""},
        {"spindles", "Threads", "\\spindles\\Threads",
         "167 Failed to get localized perf name for \"spindles\""},
    };
    for (const auto& row : rows) {
        log.clear();
        forgetCalls();
        const PerformanceCounterPath path(row.object, "", row.counter);
        EXPECT_EQ(plain(path.getFullCounterPath()), row.full);
        EXPECT_TRUE(path.getFullLocalizedCounterPath().empty()) << row.full;
        EXPECT_FALSE(path.counterExists());
        EXPECT_EQ(calls("PdhValidatePathW"), 0u) << "the English path is never validated";
        if (row.line == nullptr) {
            EXPECT_TRUE(log.empty()) << log.front().text;
        } else {
            ASSERT_EQ(log.size(), 1u);
            EXPECT_EQ(log[0].text, row.line);
            EXPECT_EQ(log[0].logger, "PerformanceCounterPath");
            EXPECT_EQ(log[0].priority, 4);
        }
    }
}

TEST_F(CounterPaths, TheTableIsSearchedFromItsBeginning) {
    EXPECT_EQ(localized("BYTES/SEC"), "Bytes/s (alt)") << "the first of two";
    EXPECT_EQ(inEnglish(u"Bytes/s (neu)"), "Bytes/sec");
    EXPECT_EQ(inEnglish(u"L\u00DCFTER"), "Fan");
    EXPECT_EQ(inEnglish(u"Regler"), "no: before") << "no such index in English";
    EXPECT_EQ(inEnglish(u"Namenlos"), "no: before") << "the last index has no name behind it";
    EXPECT_EQ(inEnglish(u"Processor"), "no: before") << "not a German name";
    EXPECT_EQ(localized("5000"), "no: before") << "an index is no name";

    // What is no number counts as 0.
    english = {u"x", u"Zero", u"7", u"Seven", u"7", u"Seventh"};
    german = {u"0", u"Null", u"7", u"Sieben"};
    name();
    libSysmira::PerformanceNameTableReset::run();
    EXPECT_EQ(localized("zero"), "Null");
    EXPECT_EQ(inEnglish(u"Null"), "Zero");
    EXPECT_EQ(inEnglish(u"Sieben"), "Seven");
    EXPECT_EQ(localized("Seventh"), "Sieben");

    // One entry is no table.
    simulation::nameCounters(machine, u"009", {u"7"});
    libSysmira::PerformanceNameTableReset::run();
    EXPECT_EQ(localized("7"), "no: before");
    EXPECT_EQ(inEnglish(u"Sieben"), "no: before");
}

TEST_F(CounterPaths, NamesBeyondTheFirstBufferAreAskedForOnceMore) {
    for (const unsigned length : {1u, 149u, 150u, 151u, 5000u}) {
        german = {u"24", Text(length, u'x'), u"2", u"System"};
        name();
        libSysmira::PerformanceNameTableReset::run();
        forgetCalls();
        EXPECT_EQ(localized("Threads").size(), length);
        Strings expected = {"24, 150"};
        if (length > 149) expected.push_back("24, " + std::to_string(length + 1));
        EXPECT_EQ(argumentsOf("PdhLookupPerfNameByIndexW"), expected);
    }
    // The size that goes with a refusal need not be right. It never makes the room smaller.
    forgetCalls();
    distort("PdhLookupPerfNameByIndexW", Distortion::SizeZero);
    EXPECT_EQ(localized("Threads"), "no: before");
    EXPECT_EQ(argumentsOf("PdhLookupPerfNameByIndexW"), (Strings{"24, 150", "24, 150"}));
    clearFaults();
    distort("PdhLookupPerfNameByIndexW", Distortion::SizeTooLarge);
    EXPECT_EQ(localized("Threads"), "no: before") << "more than any name takes";
    clearFaults();
    forgetCalls();
    failCall("PdhLookupPerfNameByIndexW", PDH_MORE_DATA, 1, /*onwards=*/true);
    EXPECT_EQ(localized("Threads"), "no: before");
    EXPECT_EQ(calls("PdhLookupPerfNameByIndexW"), 2u) << "asked once more, and no more";
    clearFaults();
    EXPECT_EQ(log.size(), 3u) << "each refusal has its line";

    distort("PdhLookupPerfNameByIndexW", Distortion::NoTerminator);
    String name;
    EXPECT_TRUE(PerformanceCounterPath::getLocalizedPerfName("System", name));
    EXPECT_EQ(name.size(), 150u) << "no further than the room";
}

TEST_F(CounterPaths, HaveALongestLength) {
    // "\System(" and ")\System Up Time" around the instance, and a terminator.
    const unsigned around = 8 + 16;
    for (const unsigned units : {2047u, 2048u}) {
        const String instance = String::repeat(u'i', units - around);
        const PerformanceCounterPath path("System", instance, "System Up Time");
        EXPECT_EQ(path.getFullCounterPath().size(), units == 2047 ? 2047u : 0u);
        EXPECT_TRUE(path.getFullLocalizedCounterPath().empty()) << "the German name is longer";
    }
    distort("PdhMakeCounterPathW", Distortion::NoTerminator);
    EXPECT_EQ(PerformanceCounterPath("System", "", "Threads").getFullCounterPath().size(), 2048u);
}

TEST_F(CounterPaths, TheEnglishTableIsReadOnceItCanBe) {
    simulation::RegistryKey& key = machine.localMachine().make(simulation::counterNamesKey(u"009"));
    const RegistryValue table = key.values[u"Counter"];
    key.values.clear();
    EXPECT_EQ(localized("Threads"), "no: before");
    key.values[u"Counter"] = RegistryValue::text(u"24");
    EXPECT_EQ(localized("Threads"), "no: before") << "not a list of texts";
    EXPECT_TRUE(log.empty());

    key.values[u"Counter"] = table;
    // Reading fails behind the looks whether it is there.
    forgetCalls();
    EXPECT_EQ(localized("Threads"), "Threads");
    const unsigned reads = calls("RegQueryValueExW");
    libSysmira::PerformanceNameTableReset::run();
    failCall("RegQueryValueExW", ERROR_ACCESS_DENIED, reads);
    EXPECT_EQ(localized("Threads"), "no: before");
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].text.find("101 Error while getting perf name indices : "), 0u) << log[0].text;
    EXPECT_GT(log[0].text.size(), 50u) << "what the registry said stands behind it";
    EXPECT_EQ(log[0].priority, 4);

    clearFaults();
    EXPECT_EQ(localized("Threads"), "Threads");
    forgetCalls();
    key.values.clear();
    EXPECT_EQ(localized("threads"), "Threads") << "it is kept";
    EXPECT_EQ(calls("RegOpenKeyExW"), 0u);
}

}  // namespace
