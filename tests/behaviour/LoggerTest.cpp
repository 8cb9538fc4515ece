#include "support/Logger.h"

#include <stdexcept>

#include "simulation/api/DebuggerOutput.h"
#include "support/AssertionFailure.h"
#include "support/ClassLogger.h"
#include "support/Exception.h"
#include "support/LogFactory.h"
#include "support/RaisedException.h"
#include "support/System.h"
#include "support/TraceLogger.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::ClassLogger;
using zor::LogFactory;
using zor::Logger;
using zor::LoggerStream;
using zor::String;

constinit ClassLogger classLog("Test.Class");

class Logging : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        LogFactory::createLogger("Test.Class", logger);
    }
    void TearDown() override {
        logger->setPriority(0);
        SimulatedPc::TearDown();
    }

    // Whether a line of that priority comes through, and whether its text was built at all.
    bool written(int priority) {
        log.clear();
        bool built = false;
        classLog.write(priority, 7, [&](LoggerStream& line) {
            built = true;
            line << "text";
        });
        EXPECT_EQ(built, !log.empty());
        return !log.empty();
    }

    Logger* logger = nullptr;
};

TEST_F(Logging, WritesALineWhenNoThresholdIsAboveIt) {
    const struct {
        int global, own, priority;
        bool written;
    } cases[] = {
        {3, 0, 2, false},
        {3, 0, 3, true},
        {3, 0, 4, true},
        {1, 0, 1, true},
        {1, 3, 2, false},  // the logger's own threshold holds back what the global one lets
                           // through
        {1, 3, 3, true},
        {3, 1, 2, false},  // and does not let through what the global one holds back
        {5, 0, 4, false},
    };
    for (const auto& expected : cases) {
        LogFactory::setPriority(expected.global);
        logger->setPriority(expected.own);
        EXPECT_EQ(written(expected.priority), expected.written)
            << expected.global << ' ' << expected.own << ' ' << expected.priority;
    }
    EXPECT_EQ(logger->resolvePriority(), 5);
    logger->setPriority(2);
    EXPECT_EQ(logger->resolvePriority(), 2);
}

TEST_F(Logging, BuildsTheLineFromItsParts) {
    classLog.write(zor::Warning, 485, [](LoggerStream& line) {
        line << String("a") << "b" << L"c" << -1 << 2u << -3l << 4ul << -5ll << 18446744073709551615ull;
        line + " " + String("plus") + 6;
    });
    logger->log(4, LoggerStream() << "direct " << 5);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].logger, "Test.Class");
    EXPECT_EQ(log[0].priority, 3);
    EXPECT_EQ(log[0].text, "485 abc-12-34-518446744073709551615 plus6");
    EXPECT_EQ(log[1].text, "direct 5");
}

TEST_F(Logging, HasOneLoggerForEachName) {
    Logger* again = nullptr;
    LogFactory::createLogger("Test.Class", again);
    EXPECT_EQ(again, logger);
    Logger* other = nullptr;
    LogFactory::createLogger("Test.Other", other);
    EXPECT_NE(other, logger);
    const LogFactory::SharedLogger shared = LogFactory::createLogger("Test.Class");
    shared->setPriority(4);
    EXPECT_EQ(logger->getPriority(), 4);
    EXPECT_EQ(shared->getName(), logger->getName());
}

TEST_F(Logging, NeverChangesWhatTheCallerDoes) {
    LogFactory::setPriority(1);
    LogFactory::setSink([](const String&, int, const String&) {
        SetLastError(ERROR_DISK_FULL);
        throw std::runtime_error("the sink is full");
    });
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_NO_THROW({
        const zor::TraceLogger trace(classLog, "scope()", __FILE__, 1);
        classLog.write(zor::Error, 2, [](LoggerStream& line) { line << "lost"; });
        classLog.write(zor::Error, 3, [](LoggerStream&) { throw std::runtime_error("building"); });
        logger->log(4, LoggerStream() << "lost");
    });
    EXPECT_EQ(zor::System::getSystemError(), static_cast<zor::Uint32>(ERROR_ACCESS_DENIED));
    EXPECT_THROW(ZOR_ASSERT(1 == 2), zor::RaisedException);
}

TEST_F(Logging, LetsASinkLogAndReplaceItself) {
    std::vector<std::string> texts;
    LogFactory::setSink([&](const String&, int, const String& text) {
        texts.push_back(plain(text));
        if (texts.size() == 1) logger->log(4, LoggerStream() << "from the sink");
        if (texts.size() == 2) LogFactory::setSink([](const String&, int, const String&) {});
    });
    logger->log(4, LoggerStream() << "first");
    logger->log(4, LoggerStream() << "unseen");
    EXPECT_EQ(texts, (Strings{"first", "from the sink"}));
}

TEST_F(Logging, GoesToTheDebuggerWithoutASink) {
    LogFactory::setSink(nullptr);
    logger->log(4, LoggerStream() << "text");
    EXPECT_EQ(simulation::debuggerOutput(), "Test.Class: text\n");
}

TEST_F(Logging, TracesEntryAndExitOnlyWhenAsked) {
    { const zor::TraceLogger unwanted(classLog, "scope()", __FILE__, 12); }
    EXPECT_TRUE(log.empty());
    LogFactory::setPriority(1);
    {
        const zor::TraceLogger trace(classLog, "scope()", __FILE__, 12);
        const zor::TraceLogger inner(*logger, "inner()", __FILE__, 13);
        logger->setPriority(2);
        const zor::TraceLogger heldBack(*logger, "not this", __FILE__, 14);
    }
    Strings texts;
    for (const LogLine& line : log) texts.push_back(line.text);
    EXPECT_EQ(texts, (Strings{"12 > scope()", "13 > inner()", "13 < inner()", "12 < scope()"}));
}

TEST_F(Logging, NamesTheBrokenAssertion) {
    const int index = 5;
    try {
        ZOR_ASSERT_AT("libSysmira/Some.h", index < 3);
        ADD_FAILURE();
    } catch (const zor::RaisedException& raised) {
        EXPECT_EQ(raised.getCode(), 7u);
        EXPECT_EQ(dynamic_cast<const zor::Exception*>(static_cast<const std::exception*>(&raised)), nullptr);
    }
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TRUE(log[0].text.ends_with(" libSysmira/Some.h: assertion failed: index < 3")) << log[0].text;
}

}  // namespace
