#include "libSysmira/enumeration/DriverPackage.h"

#include "libSysmira/enumeration/WindowsDevice.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::DriverPackage;
using libSysmira::WindowsDevice;
using Package = std::shared_ptr<DriverPackage>;

class InstalledDriver : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        disk = &addDisk();
        record = WindowsDevice(zorText(disk->instanceId));
        forgetCalls();
    }
    void TearDown() override {
        record = WindowsDevice();
        SimulatedPc::TearDown();
    }

    Package package() const { return WindowsDevice(record).getDriverPackage(); }

    static Strings filesOf(const Package& package) {
        Strings names;
        for (const zor::WindowsFile& file : package->getDriverFiles())
            names.push_back(plain(file.getFileName()));
        return names;
    }

    /// Sets flags of the device in the record's list, as an installer before us may have done.
    void setInstallFlags(DWORD flags, DWORD flagsEx) {
        void* list = nullptr;
        SP_DEVINFO_DATA data = {};
        record.getSetupDiInfo(list, data);
        SP_DEVINSTALL_PARAMS_W parameters = {};
        parameters.cbSize = sizeof parameters;
        EXPECT_TRUE(SetupDiGetDeviceInstallParamsW(list, &data, &parameters));
        parameters.Flags = flags;
        parameters.FlagsEx = flagsEx;
        EXPECT_TRUE(SetupDiSetDeviceInstallParamsW(list, &data, &parameters));
        forgetCalls();
    }

    DeviceNode* disk = nullptr;
    WindowsDevice record;
};

TEST_F(InstalledDriver, IsFoundAmongTheOthers) {
    simulation::Driver other = diskDriver();
    other.installed = false;
    other.provider = u"Somebody else";
    disk->drivers.insert(disk->drivers.begin(), other);
    const Package found = package();
    EXPECT_EQ(callNames(), (Strings{"SetupDiGetDeviceInstallParamsW", "SetupDiSetDeviceInstallParamsW",
                                    "SetupDiBuildDriverInfoList", "SetupDiEnumDriverInfoW",
                                    "SetupDiGetDriverInfoDetailW"}));
    EXPECT_TRUE(argumentsOf("SetupDiGetDriverInfoDetailW").front().ends_with(", 1584"));
    EXPECT_TRUE(found->isValid());
    EXPECT_EQ(found->getDriverProvider(), "Nordlicht");
    EXPECT_EQ(found->getDeviceManufacturerName(), "Nordlicht Speicher");
    EXPECT_EQ(found->getDriverDeviceDescription(), "Disk drive");
    EXPECT_EQ(found->getDriverVersion(), "10.0.3900.1");
    EXPECT_EQ(found->getDriverDate().toString(), "2006-06-21 00:00:00");
    EXPECT_EQ(found->getInfFileName(), "C:\\Windows\\INF\\disk.inf");
    EXPECT_EQ(found->getInfSectionName(), "disk_install");
    EXPECT_EQ(found->getInfDate().dateStampString(), "2019-04-17");
}

TEST_F(InstalledDriver, AddsItsFlagsToThoseThatAreSet) {
    setInstallFlags(DI_QUIETINSTALL, DI_FLAGSEX_NO_DRVREG_MODIFY);
    const Package found = package();
    filesOf(found);
    const Strings set = argumentsOf("SetupDiSetDeviceInstallParamsW");
    ASSERT_EQ(set.size(), 3u);
    // Flags, then FlagsEx; the last bit of the second tells of the driver list, which stands by then.
    EXPECT_TRUE(set[0].ends_with(", 0x800000, 0x4008800")) << set[0];
    EXPECT_TRUE(set[1].ends_with(", 0x800008, 0x4008810")) << set[1];
    EXPECT_TRUE(set[2].ends_with(", 0x800000, 0x4008810")) << set[2] << " is as it was before the listing";
}

TEST_F(InstalledDriver, IsJudgedByTheStepThatFailed) {
    const Strings steps = {"SetupDiGetDeviceInstallParamsW", "SetupDiSetDeviceInstallParamsW",
                           "SetupDiBuildDriverInfoList", "SetupDiEnumDriverInfoW",
                           "SetupDiGetDriverInfoDetailW"};
    const struct {
        unsigned step;
        bool valid, cleanup;
        std::string version, date, inf;
        Strings calls;
    } cases[] = {
        {0, false, false, "", "", "", {steps[0]}},
        // Without the flags no driver is looked for, and the package counts as valid all the same.
        {1, true, false, "0.0.0.0", "1601-01-01", "", {steps[0], steps[1], steps[4]}},
        {2, false, false, "", "", "", {steps[0], steps[1], steps[2]}},
        {3, false, true, "", "", "", {steps[0], steps[1], steps[2], steps[3]}},
        {4, true, true, "10.0.3900.1", "2006-06-21", "", steps},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(steps[one.step]);
        clearFaults();
        failCall(steps[one.step], ERROR_INVALID_PARAMETER);
        record = WindowsDevice(record.getDeviceInstanceId());
        forgetCalls();
        Package found = package();
        EXPECT_EQ(callNames(), one.calls);
        EXPECT_EQ(found->isValid(), one.valid);
        EXPECT_EQ(plain(found->getDriverVersion()), one.version);
        EXPECT_EQ(plain(found->getDriverDate().dateStampString()), one.date);
        EXPECT_EQ(plain(found->getInfFileName() + found->getInfSectionName()), one.inf);
        EXPECT_TRUE(found->getInfDate().isEmpty());
        const bool named = one.version == "10.0.3900.1";
        EXPECT_EQ(found->getDriverProvider(), named ? "Nordlicht" : "");
        EXPECT_EQ(found->getDriverDeviceDescription(), named ? "Disk drive" : "");
        if (!named) {
            EXPECT_EQ(filesOf(found), Strings()) << "there is no driver to select";
        }
        found.reset();
        EXPECT_EQ(calls("SetupDiDestroyDriverInfoList"), one.cleanup ? 1u : 0u);
    }
    const DriverPackage nobody({}, SP_DEVINFO_DATA{});
    EXPECT_FALSE(nobody.isValid());
}

TEST_F(InstalledDriver, HasAnInfWhenFileAndSectionAreKnown) {
    const struct {
        const char* what;
        Text file, section, hardwareId;
        bool known;
    } cases[] = {
        {"both", u"disk.inf", u"install", u"ID", true},
        // The answer does not fit and is cut short behind the names.
        {"many hardware IDs", u"disk.inf", u"install", Text(2000, u'x'), true},
        {"no section", u"disk.inf", u"", u"ID", false},
        {"no file", u"", u"install", u"ID", false},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        simulation::Driver& driver = disk->drivers.front();
        driver.infFile = one.file;
        driver.section = one.section;
        driver.hardwareId = one.hardwareId;
        record = WindowsDevice(record.getDeviceInstanceId());
        const Package found = package();
        EXPECT_TRUE(found->isValid());
        EXPECT_EQ(found->getInfFileName(), one.known ? "disk.inf" : "");
        EXPECT_EQ(found->getInfSectionName(), one.known ? "install" : "");
        EXPECT_EQ(found->getInfDate().isEmpty(), !one.known);
    }
    failCall("SetupDiGetDriverInfoDetailW", ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(package()->getInfFileName(), "") << "cut short before the names";
}

TEST_F(InstalledDriver, IsReadWithinTheBoundsOfItsFields) {
    distort("SetupDiEnumDriverInfoW", Distortion::NoTerminator);
    distort("SetupDiGetDriverInfoDetailW", Distortion::NoTerminator);
    const Package full = package();
    EXPECT_EQ(full->getDriverProvider().size(), 256u);
    EXPECT_EQ(full->getDeviceManufacturerName().size(), 256u);
    EXPECT_EQ(full->getDriverDeviceDescription().size(), 256u);
    EXPECT_EQ(full->getInfFileName().size(), 260u);
    EXPECT_EQ(full->getInfSectionName().size(), 256u);
    clearFaults();
    distort("SetupDiEnumDriverInfoW", Distortion::NothingWritten);
    distort("SetupDiGetDriverInfoDetailW", Distortion::NothingWritten);
    const Package blank = package();
    EXPECT_EQ(blank->getDriverVersion(), "0.0.0.0");
    EXPECT_EQ(blank->getDriverProvider(), "");
    EXPECT_EQ(blank->getInfFileName(), "");
    clearFaults();
    disk->drivers.front().version = 0xFFFFFFFEFFFDFFFCull;
    disk->drivers.front().date = ~0ull;
    record = WindowsDevice(record.getDeviceInstanceId());
    EXPECT_EQ(package()->getDriverVersion(), "65535.65534.65533.65532");
    EXPECT_EQ(package()->getDriverDate().dateStampString(), "");
}

TEST_F(InstalledDriver, IsGivenUpAfterTheList) {
    Package found = package();
    const std::string node = std::to_string(disk->handle);
    forgetCalls();
    found.reset();
    EXPECT_EQ(callNames(), Strings{"SetupDiDestroyDriverInfoList"}) << "the record holds the list";
    EXPECT_EQ(argumentsOf("SetupDiDestroyDriverInfoList"), Strings{"invalid, " + node + ", 1"});

    found = package();
    record = WindowsDevice();
    forgetCalls();
    found.reset();
    EXPECT_EQ(callNames(), (Strings{"SetupDiDestroyDeviceInfoList", "SetupDiDestroyDriverInfoList"}));
    EXPECT_EQ(argumentsOf("SetupDiDestroyDriverInfoList"), Strings{"invalid, " + node + ", 1"});
}

const Strings theListing = {"SetupDiSetSelectedDriverW",      "SetupOpenFileQueue",
                            "SetupDiGetDeviceInstallParamsW", "SetupDiSetDeviceInstallParamsW",
                            "SetupDiCallClassInstaller",      "SetupScanFileQueueW",
                            "SetupDiSetDeviceInstallParamsW", "SetupCloseFileQueue"};
const Strings theFiles = {"C:\\Windows\\system32\\drivers\\disk.sys",
                          "C:\\Windows\\system32\\drivers\\part.sys"};

TEST_F(InstalledDriver, ListsTheFilesOfAQueueThatIsNeverCommitted) {
    const Package found = package();
    forgetCalls();
    EXPECT_EQ(filesOf(found), theFiles);
    EXPECT_EQ(callNames(), theListing);
    EXPECT_TRUE(argumentsOf("SetupDiCallClassInstaller").front().starts_with("21, "));
    EXPECT_EQ(filesOf(found), theFiles);
    EXPECT_EQ(callNames().size(), theListing.size()) << "found once, kept for good";

    // A driver without files is asked for them each time.
    record = WindowsDevice(record.getDeviceInstanceId());
    disk->drivers.front().files.clear();
    const Package empty = package();
    forgetCalls();
    EXPECT_EQ(filesOf(empty), Strings());
    EXPECT_EQ(filesOf(empty), Strings());
    EXPECT_EQ(calls("SetupScanFileQueueW"), 2u);

    disk->drivers.front().files.assign(1000, u"C:\\a.sys");
    record = WindowsDevice(record.getDeviceInstanceId());
    EXPECT_EQ(filesOf(package()).size(), 1000u);
}

TEST_F(InstalledDriver, StopsListingAtTheFirstFailureAndNeverCopies) {
    for (size_t step = 0; step + 2 < theListing.size(); ++step) {
        SCOPED_TRACE(theListing[step]);
        record = WindowsDevice(record.getDeviceInstanceId());
        const Package found = package();
        forgetCalls();
        clearFaults();
        failCall(theListing[step], ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(filesOf(found), Strings());
        Strings expected(theListing.begin(), theListing.begin() + static_cast<std::ptrdiff_t>(step) + 1);
        if (step > 3) expected.push_back("SetupDiSetDeviceInstallParamsW");
        if (step > 1) expected.push_back("SetupCloseFileQueue");
        EXPECT_EQ(callNames(), expected);
        EXPECT_EQ(simulation::ledger().count(simulation::Resource::FileQueue), 0u);
        EXPECT_EQ(filesOf(found), theFiles) << "the next call tries again";
    }
    record = WindowsDevice(record.getDeviceInstanceId());
    const Package found = package();
    clearFaults();
    distort("SetupOpenFileQueue", Distortion::NullResult);
    forgetCalls();
    EXPECT_EQ(filesOf(found), Strings());
    EXPECT_EQ(callNames(), (Strings{theListing[0], theListing[1]})) << "no queue: the installer would copy";
    clearFaults();
    failCall("SetupCloseFileQueue", ERROR_INVALID_HANDLE);
    EXPECT_EQ(filesOf(found), theFiles);
}

// Two packages of one element of a list: a record's copies that were made before either had its package.
TEST_F(InstalledDriver, LeavesNoQueueBehindForTheNextPackage) {
    const Package first = package(), second = package();
    EXPECT_EQ(filesOf(first), theFiles);
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::FileQueue), 0u);
    clearFaults();
    failCall("SetupScanFileQueueW", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(filesOf(second), Strings());
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::FileQueue), 0u);
    EXPECT_EQ(filesOf(package()), theFiles) << "its install parameters name no queue that is closed";
}

TEST_F(InstalledDriver, LogsHowLongTheListingTook) {
    const Package found = package();
    EXPECT_EQ(filesOf(found), theFiles);
    EXPECT_TRUE(log.empty()) << "not wanted";

    zor::LogFactory::setPriority(1);
    record = WindowsDevice(record.getDeviceInstanceId());
    const Package again = package();
    EXPECT_TRUE(log.empty()) << "construction logs nothing";
    filesOf(again);
    ASSERT_EQ(log.size(), 3u) << "between the marks of entry and exit";
    const std::string before = "155 _getDriverFiles - elapsed seconds: ", after = " seconds\n";
    const LogLine& line = log[1];
    EXPECT_EQ(line.logger, "libSysmira.DriverPackage");
    EXPECT_EQ(line.priority, 1);
    ASSERT_TRUE(line.text.starts_with(before) && line.text.ends_with(after)) << line.text;
    const std::string seconds =
        line.text.substr(before.size(), line.text.size() - before.size() - after.size());
    EXPECT_EQ(seconds.find('.'), seconds.size() - 7) << seconds;
    EXPECT_EQ(seconds.find_first_not_of("0123456789."), std::string::npos) << seconds;
}

TEST_F(InstalledDriver, ReportsItselfAndTheFilesListedSoFar) {
    machine.files[u"C:\\Windows\\system32\\drivers\\disk.sys"].version = 0x000A00004A610001ull;
    disk->drivers.front().files[1] = u"C:\\%s%n.sys";
    const Package found = package();
    const std::string driver =
        "  Driver:\n"
        "    Provider           : Nordlicht\n"
        "    Version            : 10.0.3900.1\n"
        "    Date               : 2006-06-21\n"
        "    Device Description : Disk drive\n"
        "  INF:\n"
        "    File Name    : C:\\Windows\\INF\\disk.inf\n"
        "    Section Name : disk_install\n"
        "    Date         : 2019-04-17\n";
    forgetCalls();
    EXPECT_EQ(plain(found->toString(1, 2)), driver);
    EXPECT_EQ(callNames(), Strings()) << "a report lists no files by itself";
    filesOf(found);
    EXPECT_EQ(plain(found->toString(1, 2)),
              driver +
                  "  Driver Files     :\n"
                  "       C:\\Windows\\system32\\drivers\\disk.sys - 10.0.19041.1\n"
                  "       C:\\%s%n.sys\n");
    EXPECT_TRUE(
        plain(DriverPackage({}, SP_DEVINFO_DATA{}).toString(0, 0))
            .starts_with("Driver:\nProvider           : \nVersion            : \nDate               : \n"));
}

}  // namespace
