// What several threads may do at once. These cases run under ThreadSanitizer as well.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include "libSysmira/enumeration/WindowsDevice.h"
#include "libSysmira/utils/DiskDefragmenter.h"
#include "libSysmira/utils/HelpWindow.h"
#include "libSysmira/wmi/Wmi.h"
#include "simulation/api/ComApartments.h"
#include "support/PointerStorage.h"
#include "support/RaisedException.h"
#include "support/SharedResource.h"
#include "support/mutex.h"
#include "tests/behaviour/DefragPc.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::WindowsDevice;
using libSysmira::WmiNamespace;
using libSysmira::WmiObject;
using libSysmira::WmiQueryResult;

constexpr auto Infinite = static_cast<DWORD>(WBEM_INFINITE);

// Runs one piece of work on several threads at once, and waits for them.
void onThreads(unsigned count, const std::function<void()>& work) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
}

class Threads : public SimulatedPc {};

struct Counted {
    Counted() { ++alive; }
    ~Counted() { --alive; }
    int value = 5;
    static inline std::atomic<int> alive{0};
};

TEST_F(Threads, TheLastHolderOfASharedObjectDeletesIt) {
    using Holder = zor::SharedResource<zor::PointerStorage<Counted, 0, 3>, 1>;
    for (int round = 0; round < 20; ++round) {
        Holder shared(new Counted);
        onThreads(4, [holder = std::move(shared)] {
            for (int copies = 0; copies < 500; ++copies) {
                const Holder copy(holder);
                ASSERT_EQ(copy->value, 5);
            }
        });
        ASSERT_EQ(Counted::alive, 0);
    }
}

TEST_F(Threads, ALockLetsOneThreadInMoreThanOnceAndOthersWait) {
    zor::mutex lock;
    EXPECT_THROW(lock.lock(), zor::RaisedException);
    lock.init();
    EXPECT_THROW(lock.init(), zor::RaisedException);
    int inside = 0;
    bool alone = true;
    onThreads(4, [&] {
        for (int turn = 0; turn < 500; ++turn) {
            lock.lock();
            lock.lock();
            alone = alone && ++inside == 1;
            --inside;
            lock.unlock();
            lock.unlock();
        }
    });
    EXPECT_TRUE(alone);
    lock.destroy();
    EXPECT_THROW(lock.unlock(), zor::RaisedException);
    lock.init();  // and destroyed with the object
}

TEST_F(Threads, AClassHasOneLoggerHoweverManyAskForItAtOnce) {
    std::atomic<unsigned> made{0};
    std::atomic<zor::Logger*> common{nullptr};
    onThreads(4, [&] {
        zor::Logger* logger = nullptr;
        zor::LogFactory::createLogger("Test.Threads", logger);
        zor::Logger* none = nullptr;
        if (common.compare_exchange_strong(none, logger) || none == logger) ++made;
    });
    EXPECT_EQ(made, 4u);
}

TEST_F(Threads, CopiesOfADeviceShareItsListOnAnyThread) {
    const Text id = addDisk().instanceId;
    {
        const WindowsDevice device(zorText(id));
        onThreads(4, [&device] {
            const WindowsDevice mine(device);
            WindowsDevice other;
            for (int j = 0; j < 5000; ++j) {
                WindowsDevice copy(mine);
                other = copy;
                WindowsDevice moved(std::move(copy));
                if (!moved.isValid() || copy.isValid()) ADD_FAILURE() << "a move takes the share over";
            }
        });
        EXPECT_EQ(calls("SetupDiDestroyDeviceInfoList"), 0u);
    }
    EXPECT_EQ(calls("SetupDiDestroyDeviceInfoList"), 1u) << "by the last of them";
}

// A PC with two fans that can be stopped.
class WmiThreads : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        machine.name = u"PC";
        simulation::WmiMethod stop;
        stop.name = u"Stop";
        stop.out = {{u"ReturnValue", CIM_UINT32}};
        stop.outcome.out = {{u"ReturnValue", 5}};
        simulation::WmiNamespaceModel& cim = machine.wmi[u"root\\cimv2"];
        cim.add(simulation::WmiClass{
            u"Test_Fan", u"", {{u"Id", CIM_STRING, {}, simulation::WmiKey}, {u"Rpm", CIM_UINT32}}, {stop}});
        cim.add(simulation::WmiInstance{u"Test_Fan", {{u"Id", u"CPU"}, {u"Rpm", 1200}}});
        cim.add(simulation::WmiInstance{u"Test_Fan", {{u"Id", u"Case"}, {u"Rpm", 700}}});
        forgetCalls();
    }
};

TEST_F(WmiThreads, TwoClientsWorkAtOnce) {
    zor::LogFactory::setPriority(4);
    std::atomic<unsigned> fans{0};
    onThreads(2, [&] {
        for (int i = 0; i < 50; ++i) {
            WmiNamespace wmi;
            WmiQueryResult result;
            WmiObject fan, out;
            if (!wmi.connect("root\\cimv2") || !wmi.query("select * from Test_Fan", result)) continue;
            while (result.next(fan, Infinite)) {
                if (fan.execMethod("Stop", out)) ++fans;
            }
            if (libSysmira::getLastWmiResult() != WBEM_S_FALSE) fans += 1000;
        }
        if (simulation::comBalance() != 0) fans += 1000;
    });
    EXPECT_EQ(fans, 200u);
    EXPECT_EQ(simulation::comBalanceOfAllThreads(), 0u);
}

TEST_F(WmiThreads, AnObjectServesAnyThreadOfTheApartment) {
    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject fan;
    ASSERT_TRUE(wmi.connect("root\\cimv2") && wmi.query("select * from Test_Fan", result));
    ASSERT_TRUE(result.next(fan, Infinite));
    std::atomic<unsigned> turns{0};
    onThreads(2, [&] {
        unsigned int rpm = 0;
        if (fan.getProperty("Rpm", rpm)) turns += rpm;
    });
    EXPECT_EQ(turns, 2400u);
    EXPECT_EQ(calls("CoInitializeEx"), calls("CoUninitialize") + 3) << "the threads have not entered COM";
}

TEST_F(Threads, OneAnalysisMayBePolledByMany) {
    using libSysmira::DiskDefragmenter;
    addDefragVolumes(machine);
    DiskDefragmenter defragmenter('C');
    std::atomic<unsigned> complete{0};
    onThreads(4, [&] {
        libSysmira::DefragStatus status;
        for (int poll = 0; poll < 50; ++poll) {
            const auto step = defragmenter.getDefragStatusNonBlocking(status, 100);
            ASSERT_NE(step, DiskDefragmenter::OperationFailed);
            if (step != DiskDefragmenter::OperationComplete) continue;
            ++complete;
            ASSERT_EQ(status.filePercentFragmentation, 31u);
        }
    });
    EXPECT_GT(complete, 2u);
}

TEST_F(Threads, APollOfOneThreadEndsBeforeTheNextBegins) {
    using libSysmira::DiskDefragmenter;
    addDefragVolumes(machine);
    DiskDefragmenter defragmenter('C');
    const auto poll = [&] {
        libSysmira::DefragStatus status;
        defragmenter.getDefragStatusNonBlocking(status, 0);
    };
    // The first poll logs that the start has failed, and another thread polls while it does.
    failCall("IWbemServices::ExecMethod", static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
    std::future<void> other;
    bool hadToWait = false;
    zor::LogFactory::setSink([&](const zor::String&, int, const zor::String&) {
        if (other.valid()) return;
        other = std::async(std::launch::async, poll);
        hadToWait = other.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
    });
    poll();
    ASSERT_TRUE(other.valid());
    other.get();
    EXPECT_TRUE(hadToWait);
}

TEST_F(Threads, HelpMayBeWantedByManyAtOnce) {
    simulation::addHelpEngine(machine, u"C:\\Windows\\system32\\hhctrl.ocx");
    machine.files[u"C:\\help.chm"];
    for (int round = 0; round < 20; ++round) {
        libSysmira::forgetHelpEngine();
        std::atomic<unsigned> shown{0};
        onThreads(4, [&] {
            if (libSysmira::displayHelpWindowToTopic("C:\\help.chm", "fans.htm")) ++shown;
        });
        ASSERT_EQ(shown, 4u);
    }
    libSysmira::forgetHelpEngine();
}

}  // namespace
