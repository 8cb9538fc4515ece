#include "libSysmira/utils/DiskDefragmenter.h"
#include "libSysmira/wmi/Wmi.h"

#include <future>
#include <memory>

#include "simulation/control/Clock.h"
#include "support/RaisedException.h"
#include "tests/behaviour/DefragPc.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::DefragStatus;
using libSysmira::DiskDefragmenter;
using simulation::Resource;
using simulation::WmiInstance;
using simulation::WmiOutcome;

constexpr auto InProgress = DiskDefragmenter::OperationInProgress;
constexpr auto Complete = DiskDefragmenter::OperationComplete;
constexpr auto Failed = DiskDefragmenter::OperationFailed;

class Defragmenter : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        addDefragVolumes(machine);
        zor::LogFactory::setPriority(2);
        forgetCalls();
    }

    simulation::WmiNamespaceModel& cim() { return machine.wmi[u"root\\cimv2"]; }
    WmiOutcome& outcomeOfC() { return cim().instances.front().outcomes[u"DefragAnalysis"]; }

    // Of the class itself; WMI has lines of its own.
    Strings logTexts() {
        Strings texts;
        for (const LogLine& line : log) {
            if (line.logger == "libSysmira.DiskDefragmenter")
                texts.push_back(std::to_string(line.priority) + ": " + line.text);
        }
        log.clear();
        return texts;
    }

    DefragStatus status;
};

TEST_F(Defragmenter, IsPolledUntilTheFiguresAreThere) {
    DiskDefragmenter defragmenter('C');
    EXPECT_EQ(defragmenter.getDriveLetter(), 'C');
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 0u) << "nothing runs before the first poll";
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), InProgress);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 1000), InProgress);
    EXPECT_EQ(status.driveLetter, 0);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 1000), Complete);
    EXPECT_EQ(simulation::sleptMilliseconds(), 1500u);
    EXPECT_EQ(status.driveLetter, 'C');
    EXPECT_TRUE(status.defragRecommended);
    EXPECT_EQ(status.totalPercentFragmentation, 18u);
    EXPECT_EQ(status.filePercentFragmentation, 31u);
    EXPECT_EQ(status.freeSpacePercentFragmentation, 5u);
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 1u);
    EXPECT_EQ(simulation::ledger().count(Resource::WmiCallResult), 0u);

    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete) << "once more from the start";
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 2u);
    EXPECT_EQ(logTexts(), Strings());
}

TEST_F(Defragmenter, TakesTheFirstFixedVolumeOfItsLetter) {
    const DiskDefragmenter lower('c');
    const std::string query = argumentsOf("IWbemServices::ExecQuery")[0];
    EXPECT_NE(query.find("Select * from Win32_Volume where DriveType=3 and DriveLetter='c:'"),
              std::string::npos)
        << query;
    EXPECT_EQ(logTexts(), Strings());
    cim().add(
        WmiInstance{u"Win32_Volume", {{u"DeviceID", u"3"}, {u"DriveLetter", u"C:"}, {u"DriveType", 3}}});
    DiskDefragmenter defragmenter('C');
    EXPECT_EQ(logTexts(), Strings{"3: 148 Multiple objects returned when one expected"});
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
}

TEST_F(Defragmenter, WithoutAVolumeEveryPollFails) {
    cim().add(
        WmiInstance{u"Win32_Volume", {{u"DeviceID", u"3"}, {u"DriveLetter", u"F:"}, {u"DriveType", 2}}});
    for (const char letter : {'F', 'X'}) {
        DiskDefragmenter defragmenter(letter);
        EXPECT_EQ(logTexts(), Strings{"3: 144 No drive volumes found matching our query."}) << letter;
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), Failed);
            EXPECT_EQ(logTexts(), Strings{"3: 57 Could not find volume, cannot get degrag status"});
        }
    }
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 0u);
}

TEST_F(Defragmenter, SaysWhatKeptItFromTheVolume) {
    zor::LogFactory::setPriority(1);
    const struct {
        const char* function;
        const char* line;
    } cases[] = {
        {"IWbemLocator::ConnectServer", "1: 124 Problem connecting to namespace"},
        {"IWbemServices::ExecQuery", "1: 129 Problem querying volume information perhaps due to OS version."},
        {"IEnumWbemClassObject::Reset", "1: 134 Problem iterating over query results"},
    };
    for (const auto& each : cases) {
        log.clear();
        failCall(each.function, static_cast<HRESULT>(WBEM_E_FAILED));
        DiskDefragmenter defragmenter('C');
        clearFaults();
        const Strings lines = logTexts();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), each.line), 1) << each.function;
        EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), Failed);
    }
}

TEST_F(Defragmenter, AConstructorThatThrowsLeavesNothing) {
    failCall("CoCreateInstance", REGDB_E_CLASSNOTREG);
    EXPECT_THROW(DiskDefragmenter('C'), libSysmira::InitializationError);
    EXPECT_TRUE(simulation::ledger().empty()) << simulation::ledger().describe();
}

TEST_F(Defragmenter, AFailedStartFailsThatPollAndTheNextStartsAgain) {
    DiskDefragmenter defragmenter('C');
    failCall("IWbemServices::ExecMethod", static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), Failed);
    const Strings lines = logTexts();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "3: 162 Error invoking 'DefragAnalysis' method"), 1);
    clearFaults();
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);

    // Started, as Windows says, and nothing to poll.
    distort("IWbemServices::ExecMethod", Distortion::NullResult);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), Failed);
    clearFaults();
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
}

TEST_F(Defragmenter, AnAnalysisThatFailsIsForgotten) {
    outcomeOfC().result = static_cast<HRESULT>(WBEM_E_PROVIDER_FAILURE);
    DiskDefragmenter defragmenter('C');
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), InProgress);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Failed);
    EXPECT_EQ(simulation::ledger().count(Resource::WmiCallResult), 0u);
    outcomeOfC().result = WBEM_S_NO_ERROR;
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), InProgress);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
}

TEST_F(Defragmenter, AThreadOfAnotherApartmentIsToldSoAndTheAnalysisRunsOn) {
    DiskDefragmenter defragmenter('C');
    const auto pollFromOtherApartment = [&] {
        std::async(std::launch::async, [&] {
            CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            EXPECT_THROW(defragmenter.getDefragStatusNonBlocking(status, 0), zor::Exception);
            CoUninitialize();
        }).get();
    };
    pollFromOtherApartment();
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 0u);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), InProgress);
    pollFromOtherApartment();
    EXPECT_EQ(simulation::ledger().count(Resource::WmiCallResult), 1u);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
    EXPECT_EQ(calls("IWbemServices::ExecMethod"), 1u) << "no second analysis";
}

TEST_F(Defragmenter, AnExceptionAtTheStartLeavesItIdleAndUnlocked) {
    DiskDefragmenter defragmenter('C');
    failCall("SysAllocStringLen", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_THROW(defragmenter.getDefragStatusNonBlocking(status, 0), libSysmira::ComError);
    clearFaults();
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
}

TEST_F(Defragmenter, AnObjectWithoutTheRecommendationHasItInTheOutParameters) {
    DiskDefragmenter defragmenter('C');
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
    EXPECT_TRUE(status.defragRecommended);

    // Where the object has one, its own counts.
    cim().classes[u"Win32_DefragAnalysis"].properties.push_back({u"DefragRecommended", CIM_BOOLEAN, false});
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Complete);
    EXPECT_FALSE(status.defragRecommended);
}

TEST_F(Defragmenter, FiguresThatCannotBeReadAreAFailure) {
    DiskDefragmenter without('D');
    EXPECT_EQ(without.getDefragStatusNonBlocking(status, 2000), Failed);
    EXPECT_EQ(logTexts(), Strings{"3: 83 Problems retrieving defrag analysis from "
                                  "\"\\\\PC\\root\\cimv2:Win32_Volume.DeviceID=\"2\"\""});

    DiskDefragmenter defragmenter('C');
    outcomeOfC().out[u"DefragAnalysis"] =
        WmiInstance{u"Win32_DefragAnalysis", {{u"TotalPercentFragmentation", 18}}};
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Failed);
    EXPECT_EQ(logTexts(), Strings{"3: 94 Problems reading defragmentation analysis object properties"});
    EXPECT_EQ(status.totalPercentFragmentation, 18u) << "what was read before stays";
    EXPECT_EQ(status.freeSpacePercentFragmentation, 0u);
    EXPECT_EQ(status.driveLetter, 0);

    cim().classes[u"Win32_DefragAnalysis"].properties[0].type = CIM_UINT64;
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Failed) << "another type";
}

TEST_F(Defragmenter, TheMethodsOwnReturnValueIsKept) {
    DiskDefragmenter defragmenter('D');
    unsigned int returned = 77;
    EXPECT_FALSE(defragmenter.getMethodReturnValue(returned));
    EXPECT_EQ(returned, 77u);
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 2000), Failed);
    EXPECT_TRUE(defragmenter.getMethodReturnValue(returned));
    EXPECT_EQ(returned, 11u);
    failCall("IWbemServices::ExecMethod", static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
    EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), Failed);
    EXPECT_FALSE(defragmenter.getMethodReturnValue(returned)) << "that of the call before";
}

TEST_F(Defragmenter, ARunningAnalysisIsLeftToItself) {
    {
        DiskDefragmenter defragmenter('C');
        EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), InProgress);
    }
    EXPECT_TRUE(simulation::ledger().empty()) << simulation::ledger().describe();
}

TEST_F(Defragmenter, FixedVolumesAreAppended) {
    simulation::Volume fixed, removable;
    fixed.name = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000001}\\";
    removable.name = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000002}\\";
    fixed.mountPoints = {u"C:\\"};
    removable.mountPoints = {u"F:\\"};
    removable.driveType = DRIVE_REMOVABLE;
    machine.storage.add(fixed);
    machine.storage.add(removable);
    machine.storage.networkLetters = "N";
    zor::Array<char> letters{'x'};
    EXPECT_TRUE(DiskDefragmenter::getFixedDiskVolumes(letters));
    ASSERT_EQ(letters.size(), 2u);
    EXPECT_EQ(letters[0], 'x');
    EXPECT_EQ(letters[1], 'C');
}

}  // namespace
