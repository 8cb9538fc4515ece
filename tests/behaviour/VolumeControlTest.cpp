#include "libSysmira/enumeration/Volume.h"

#include "libSysmira/wmi/Wmi.h"
#include "tests/behaviour/StoragePc.h"

namespace {

using libSysmira::SharedClusterBitmap;
using libSysmira::StorageDeviceNumber;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using simulation::Resource;

class VolumeControl : public StoragePc {
protected:
    void SetUp() override {
        StoragePc::SetUp();
        model = &addVolume(1, {u"D:\\"});
        forgetCalls();
    }

    static std::string failedToOpen(DWORD error) {
        return "libSysmira.Volume 4 Failed to open handle to : \"\\\\.\\D:\"" + message(error);
    }

    simulation::Volume* model = nullptr;
};

// Lock, dismount, unlock

TEST_F(VolumeControl, LocksDismountsAndUnlocksOnOneHandleForAttributes) {
    Volume volume('D');
    forgetCalls();
    EXPECT_TRUE(volume.lockVolume());
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].text, "485 LOCK_VOLUME   - SUCCESS (\\\\.\\D:)");
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 1u);
    EXPECT_TRUE(volume.dismountVolume());
    EXPECT_EQ(model->dismounts, 1u);
    EXPECT_TRUE(volume.unlockVolume());
    EXPECT_EQ(lines(), (Strings{"libSysmira.Volume 2 LOCK_VOLUME   - SUCCESS (\\\\.\\D:)",
                                "libSysmira.Volume 2 DISMOUNT_VOLUME - SUCCESS (\\\\.\\D:)",
                                "libSysmira.Volume 2 UNLOCK_VOLUME - SUCCESS (\\\\.\\D:)"}));
    EXPECT_EQ(callNames(), (Strings{"CreateFileW", "FSCTL_LOCK_VOLUME", "FSCTL_DISMOUNT_VOLUME",
                                    "FSCTL_UNLOCK_VOLUME", "CloseHandle"}));
    EXPECT_EQ(argumentsOf("CreateFileW"), Strings{"\\\\.\\D:, 384, 3, 3, 0"});
    EXPECT_EQ(argumentsOf("FSCTL_LOCK_VOLUME"), Strings{"0, 0"});
    // It is over now: no handle is held.
    EXPECT_FALSE(volume.unlockVolume());
}

TEST_F(VolumeControl, GivesUpAfterTwelveTriesAndHoldsNothing) {
    model->lockedByOthers = true;
    Volume volume('D');
    EXPECT_FALSE(volume.lockVolume());
    EXPECT_EQ(calls("FSCTL_LOCK_VOLUME"), 12u);
    EXPECT_EQ(simulation::sleptMilliseconds(), 1200u);
    EXPECT_EQ(argumentsOf("Sleep"), Strings(12, "100"));
    EXPECT_EQ(calls("CreateFileW"), 1u);
    EXPECT_TRUE(simulation::ledger().empty());
    EXPECT_EQ(lines(), Strings(12, "libSysmira.Volume 3 LOCK_VOLUME   - FAILED (\\\\.\\D:)" +
                                       message(ERROR_ACCESS_DENIED)));
}

TEST_F(VolumeControl, TriesUntilTheOthersAreGone) {
    model->lockRefusals = 11;
    Volume volume('D');
    EXPECT_TRUE(volume.lockVolume());
    EXPECT_EQ(simulation::sleptMilliseconds(), 1100u);

    // A held handle is tried on, not replaced; Windows does not lock twice, and twelve failures give it up.
    forgetCalls();
    EXPECT_FALSE(volume.lockVolume());
    EXPECT_EQ(calls("CreateFileW"), 0u);
    EXPECT_EQ(calls("FSCTL_LOCK_VOLUME"), 12u);
    EXPECT_TRUE(simulation::ledger().empty());
}

TEST_F(VolumeControl, DoesNothingWithoutALock) {
    Volume volume('D');
    forgetCalls();
    EXPECT_FALSE(volume.dismountVolume());
    EXPECT_FALSE(volume.unlockVolume());
    EXPECT_TRUE(callNames().empty());
    EXPECT_TRUE(lines().empty());

    model->openError = ERROR_SHARING_VIOLATION;
    EXPECT_FALSE(volume.lockVolume());
    EXPECT_EQ(calls("FSCTL_LOCK_VOLUME"), 0u);
    EXPECT_EQ(lines(), Strings{failedToOpen(ERROR_SHARING_VIOLATION)});
}

TEST_F(VolumeControl, KeepsTheHandleOverAFailedDismountAndGivesItUpInAnyUnlock) {
    model->dismountError = ERROR_WRITE_PROTECT;
    model->unlockError = ERROR_INVALID_PARAMETER;
    Volume volume('D');
    EXPECT_TRUE(volume.lockVolume());
    lines();
    EXPECT_FALSE(volume.dismountVolume());
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 1u);
    EXPECT_FALSE(volume.unlockVolume());
    EXPECT_TRUE(simulation::ledger().empty());
    EXPECT_EQ(
        lines(),
        (Strings{
            "libSysmira.Volume 2 DISMOUNT_VOLUME - FAILED : (\\\\.\\D:)" + message(ERROR_WRITE_PROTECT),
            "libSysmira.Volume 2 UNLOCK_VOLUME - FAILED : (\\\\.\\D:)" + message(ERROR_INVALID_PARAMETER)}));
}

TEST_F(VolumeControl, StaysLockedWhileACopyHoldsTheLock) {
    auto first = std::make_unique<Volume>('D');
    EXPECT_TRUE(first->lockVolume());
    Volume copy('Z');
    copy = *first;
    first.reset();
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 1u);
    const Volume moved = std::move(copy);
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 1u);
}

// Device number

TEST_F(VolumeControl, TellsItsDeviceNumber) {
    model->number = STORAGE_DEVICE_NUMBER{7, 3, 2};
    StorageDeviceNumber number;
    EXPECT_TRUE(Volume('D').getSDN(number));
    EXPECT_EQ(number.deviceType, 7u);
    EXPECT_EQ(number.deviceNumber, 3u);
    EXPECT_EQ(number.partitionNumber, 2u);
    EXPECT_EQ(argumentsOf("IOCTL_STORAGE_GET_DEVICE_NUMBER"), Strings{"0, 12"});
    EXPECT_TRUE(lines().empty());

    // Floppies are not disturbed.
    addVolume(2, {u"A:\\"});
    addVolume(3, {u"B:\\"});
    const Volume floppies[] = {Volume('a'), Volume('B')};
    forgetCalls();
    for (const Volume& floppy : floppies) EXPECT_FALSE(floppy.getSDN(number));
    EXPECT_TRUE(callNames().empty());
    EXPECT_EQ(lines(), Strings(2, "libSysmira.Volume 2 Skipping getSDN on floppy drive"));
    EXPECT_EQ(number.deviceNumber, 3u);
}

TEST_F(VolumeControl, IsADiskOfUnknownNumberWhereFloppiesFit) {
    model->number.reset();
    model->floppyFormats = {F3_1Pt44_512, F3_720_512};
    StorageDeviceNumber number{1, 2, 5};
    EXPECT_TRUE(Volume('D').getSDN(number));
    EXPECT_EQ(number.deviceType, 7u);
    EXPECT_EQ(number.deviceNumber, 0xFFFFFFFFu);
    EXPECT_EQ(number.partitionNumber, 5u);
    EXPECT_EQ(argumentsOf("IOCTL_DISK_GET_MEDIA_TYPES"), Strings{"0, 480"});
    EXPECT_TRUE(lines().empty());
}

TEST_F(VolumeControl, HasNoDeviceNumberWhereNothingAnswers) {
    model->number.reset();
    model->numberError = ERROR_NOT_SUPPORTED;
    StorageDeviceNumber number{1, 2, 5};
    EXPECT_FALSE(Volume('D').getSDN(number));
    EXPECT_EQ(lines(), Strings{"libSysmira.CommonStorage 3 Could not get device number - error: 1"});

    model->number = STORAGE_DEVICE_NUMBER{7, 1, 1};
    addDrive().floppyFormats = {FixedMedia};
    for (const Distortion distortion :
         {Distortion::NothingWritten, Distortion::SizeZero, Distortion::OddSize}) {
        distort("IOCTL_STORAGE_GET_DEVICE_NUMBER", distortion);
        EXPECT_FALSE(Volume('D').getSDN(number)) << static_cast<int>(distortion);
        clearFaults();
    }
    EXPECT_EQ(lines().size(), 3u);
    EXPECT_EQ(number.deviceType, 1u);
    EXPECT_EQ(number.deviceNumber, 2u);
    EXPECT_EQ(number.partitionNumber, 5u);

    model->openError = ERROR_FILE_NOT_FOUND;
    EXPECT_FALSE(Volume('D').getSDN(number));
    EXPECT_EQ(lines(), Strings{failedToOpen(ERROR_FILE_NOT_FOUND)});
}

// Extents

TEST_F(VolumeControl, ReadsItsExtentsOnce) {
    const Volume volume('D');
    forgetCalls();
    for (int i = 0; i < 2; ++i) {
        const zor::Array<VolumeExtent>& extents = volume.getVolumeExtents();
        ASSERT_EQ(extents.size(), 1u);
        EXPECT_EQ(extents[0].diskNumber, 1u);
        EXPECT_EQ(extents[0].startingOffset, static_cast<long long>(MiB));
        EXPECT_EQ(extents[0].extentLength, static_cast<long long>(64 * MiB));
    }
    EXPECT_EQ(callNames(), (Strings{"CreateFileW", "IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS", "CloseHandle"}));
    EXPECT_EQ(argumentsOf("CreateFileW"), Strings{"\\\\.\\D:, 128, 3, 3, 0"});
}

TEST_F(VolumeControl, ReadsSeveralExtentsInASecondRequest) {
    model->extents = {extent(2, 10, 20), extent(1, -30, 0), extent(3, 1ll << 62, 1ll << 62)};
    const zor::Array<VolumeExtent> extents = Volume('D').getVolumeExtents();
    EXPECT_EQ(argumentsOf("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS"), (Strings{"0, 32", "0, 80"}));
    ASSERT_EQ(extents.size(), 3u);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(extents[i].diskNumber, model->extents[i].DiskNumber);
        EXPECT_EQ(extents[i].startingOffset, model->extents[i].StartingOffset.QuadPart);
        EXPECT_EQ(extents[i].extentLength, model->extents[i].ExtentLength.QuadPart);
    }
}

TEST_F(VolumeControl, AsksAgainForExtentsThatItDidNotGet) {
    const Volume volume('D');
    model->openError = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(volume.getVolumeExtents().empty());
    EXPECT_EQ(lines(), Strings{failedToOpen(ERROR_ACCESS_DENIED)});
    model->openError = 0;
    failCall("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS", ERROR_INVALID_FUNCTION);
    EXPECT_TRUE(volume.getVolumeExtents().empty());
    EXPECT_TRUE(lines().empty());
    EXPECT_EQ(volume.getVolumeExtents().size(), 1u);
    EXPECT_EQ(calls("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS"), 2u);
}

TEST_F(VolumeControl, BelievesNoExtentsThatDidNotCome) {
    model->extents = {extent(1, 1, 1), extent(2, 2, 2)};
    struct Row {
        Distortion distortion;
        unsigned nth;
    };
    for (const Row& row : {Row{Distortion::CountTooLarge, 2}, Row{Distortion::SizeZero, 1},
                           Row{Distortion::SizeZero, 2}, Row{Distortion::NothingWritten, 1},
                           Row{Distortion::NothingWritten, 2}, Row{Distortion::OddSize, 2}}) {
        distort("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS", row.distortion, row.nth);
        EXPECT_TRUE(Volume('D').getVolumeExtents().empty())
            << static_cast<unsigned>(row.distortion) << ", " << row.nth;
        clearFaults();
    }
    forgetCalls();
    failCall("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS", ERROR_MORE_DATA, 1, /*onwards=*/true);
    EXPECT_TRUE(Volume('D').getVolumeExtents().empty());
    EXPECT_EQ(calls("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS"), 1u) << "nothing came that tells a size";
    clearFaults();
    // No extents; fewer than counted, by a driver that says it wrote more than there was room for, too.
    for (const unsigned char count : {0, 3}) {
        model->extentsAnswer = std::vector<unsigned char>(32);
        model->extentsAnswer->front() = count;
        EXPECT_TRUE(Volume('D').getVolumeExtents().empty());
        distort("IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS", Distortion::SizeTooLarge);
        EXPECT_TRUE(Volume('D').getVolumeExtents().empty());
        clearFaults();
    }
}

// Bitmap

TEST_F(VolumeControl, ReadsItsBitmapInOneRequestOfTheRightSize) {
    model->clusters = 1'000'001;
    model->used = {{0, 3}, {9, 1}, {1'000'000, 1}};
    const SharedClusterBitmap bitmap = Volume('D').getVolumeClusterBitmap(false);
    ASSERT_TRUE(bitmap.isValid());
    EXPECT_EQ(argumentsOf("FSCTL_GET_VOLUME_BITMAP"), (Strings{"8, 24", "8, 0x1E860"}));  // 125,024
    EXPECT_EQ(bitmap->bytes().size(), 125'001u);
    EXPECT_EQ(bitmap->size(), 1'000'001u);
    EXPECT_EQ(bitmap->bytes()[0], 0x07);
    EXPECT_EQ(bitmap->bytes()[1], 0x02);
    EXPECT_TRUE(bitmap->isUsed(2) && bitmap->isUsed(9) && bitmap->isUsed(1'000'000));
    EXPECT_FALSE(bitmap->isUsed(3) || bitmap->isUsed(8) || bitmap->isUsed(999'999) ||
                 bitmap->isUsed(1'000'001) || bitmap->isUsed(~0ull));

    // What fits at once is not asked for twice.
    forgetCalls();
    model->clusters = 64;
    EXPECT_EQ(Volume('D').getVolumeClusterBitmap(false)->bytes().size(), 8u);
    EXPECT_EQ(calls("FSCTL_GET_VOLUME_BITMAP"), 1u);
    model->clusters = 0;
    EXPECT_EQ(Volume('D').getVolumeClusterBitmap(false)->size(), 0u);
}

TEST_F(VolumeControl, KeepsTheBitmapButGivesItOnlyWhileTheVolumeOpens) {
    const Volume volume('D');
    const SharedClusterBitmap first = volume.getVolumeClusterBitmap(false);
    model->used = {{0, 8}};
    EXPECT_EQ(volume.getVolumeClusterBitmap(false).get(), first.get());
    const SharedClusterBitmap fresh = volume.getVolumeClusterBitmap(true);
    EXPECT_TRUE(fresh->isUsed(7));
    EXPECT_FALSE(first->isUsed(7)) << "what was handed out does not change";

    model->bitmapError = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(volume.getVolumeClusterBitmap(true).isValid());
    EXPECT_EQ(volume.getVolumeClusterBitmap(false).get(), fresh.get());
    model->openError = ERROR_NOT_READY;
    EXPECT_FALSE(volume.getVolumeClusterBitmap(false).isValid());
    EXPECT_EQ(lines(), Strings{failedToOpen(ERROR_NOT_READY)});
    model->openError = 0;
    EXPECT_EQ(volume.getVolumeClusterBitmap(false).get(), fresh.get());
}

TEST_F(VolumeControl, BelievesNoBitmapThatDidNotCome) {
    struct Row {
        Distortion distortion;
        unsigned nth;
    };
    for (const Row& row :
         {Row{Distortion::CountTooLarge, 2}, Row{Distortion::SizeZero, 1}, Row{Distortion::SizeZero, 2},
          Row{Distortion::NothingWritten, 1}, Row{Distortion::NothingWritten, 2}}) {
        distort("FSCTL_GET_VOLUME_BITMAP", row.distortion, row.nth);
        EXPECT_FALSE(Volume('D').getVolumeClusterBitmap(false).isValid())
            << static_cast<unsigned>(row.distortion) << ", " << row.nth;
        clearFaults();
    }
    // A refusal of the second request leaves what was kept.
    const Volume kept('D');
    const SharedClusterBitmap before = kept.getVolumeClusterBitmap(false);
    for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_MORE_DATA}) {
        failCall("FSCTL_GET_VOLUME_BITMAP", error, 2);
        forgetCalls();
        EXPECT_FALSE(kept.getVolumeClusterBitmap(true).isValid());
        EXPECT_EQ(calls("FSCTL_GET_VOLUME_BITMAP"), 2u);
        clearFaults();
    }
    EXPECT_EQ(kept.getVolumeClusterBitmap(false).get(), before.get());
    // More clusters than any file system has: not even the room is asked for.
    for (const ULONGLONG clusters : {(1ull << 35) + 1, 1ull << 63, ~0ull}) {
        model->clusters = clusters;
        forgetCalls();
        EXPECT_FALSE(Volume('D').getVolumeClusterBitmap(false).isValid());
        EXPECT_EQ(calls("FSCTL_GET_VOLUME_BITMAP"), 1u);
    }
}

// Encryption

class VolumeEncryption : public VolumeControl {
protected:
    void SetUp() override {
        VolumeControl::SetUp();
        machine.name = u"PC";
        simulation::WmiMethod status;
        status.name = u"GetConversionStatus";
        status.out = {{u"ReturnValue", CIM_UINT32}, {u"ConversionStatus", CIM_UINT32}};
        encryption().add(simulation::WmiClass{
            u"Win32_EncryptableVolume",
            u"",
            {{u"DeviceID", CIM_STRING, {}, simulation::WmiKey}, {u"DriveLetter", CIM_STRING}},
            {status}});
        zor::LogFactory::setPriority(1);
    }

    simulation::WmiNamespaceModel& encryption() {
        return machine.wmi[u"root\\cimv2\\Security\\MicrosoftVolumeEncryption"];
    }
    void addEncryptable(const Text& id, const Text& letter, simulation::WmiOutcome status) {
        simulation::WmiInstance instance{u"Win32_EncryptableVolume",
                                         {{u"DeviceID", id}, {u"DriveLetter", letter}}};
        instance.outcomes[u"GetConversionStatus"] = std::move(status);
        encryption().add(std::move(instance));
    }
    static simulation::WmiOutcome status(simulation::WmiValue value) {
        simulation::WmiOutcome outcome;
        outcome.out = {{u"ReturnValue", 0}, {u"ConversionStatus", std::move(value)}};
        return outcome;
    }
    static simulation::WmiOutcome failure() {
        simulation::WmiOutcome outcome;
        outcome.result = static_cast<HRESULT>(WBEM_E_PROVIDER_FAILURE);
        return outcome;
    }

    // What the volume itself wrote, without the name that its lines about encryption begin with.
    Strings ownLines() {
        Strings result;
        const std::string own = "libSysmira.Volume ", name = "Volume::isBitLockerEnabled() : ";
        for (std::string line : lines()) {
            if (line.compare(0, own.size(), own) != 0) continue;
            line.erase(0, own.size());
            if (line.compare(2, name.size(), name) == 0) line.erase(2, name.size());
            result.push_back(line);
        }
        return result;
    }

    const std::string query =
        "1 Volume::isBitLockerEnabled : query = \"Select * from Win32_EncryptableVolume where "
        "DriveLetter='D:'\"";
    const std::string found = "3 found drive";
    const std::string asked = "1 The call to GetConversionStatus was successful";
    const std::string none = "3 No drive volumes found matching our query.";
};

TEST_F(VolumeEncryption, IsOnWhereAVolumeOfTheLetterIsConverted) {
    addEncryptable(u"c", u"C:", status(1));
    addEncryptable(u"d", u"D:", status(2));
    addEncryptable(u"d2", u"D:", status(1));
    bool enabled = false;
    EXPECT_TRUE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_TRUE(enabled);
    EXPECT_EQ(ownLines(), (Strings{query, found, asked, "1 \"ConversionStatus\" is non-zero"}));
}

TEST_F(VolumeEncryption, IsOffWhereNoneTellsOtherwise) {
    bool enabled = false;
    EXPECT_TRUE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(), (Strings{query, none}));

    addEncryptable(u"1", u"D:", status(0));
    addEncryptable(u"2", u"D:", failure());
    addEncryptable(u"3", u"D:", status({}));
    EXPECT_TRUE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_FALSE(enabled);
    EXPECT_EQ(ownLines(),
              (Strings{query, found, asked, found, "1 The call to GetConversionStatus was NOT successful",
                       found, asked, "1 cannot find property \"ConversionStatus\"", none}));

    // It gathers over volumes: what was found elsewhere stays, and is not denied in a line.
    enabled = true;
    EXPECT_TRUE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_TRUE(enabled);
    EXPECT_EQ(ownLines().back(), "1 cannot find property \"ConversionStatus\"");

    // Without a letter the question is asked without one.
    EXPECT_TRUE(Volume(Volume::VolumeGUIDPath, "\\\\?\\Volume{0}\\").isBitLockerEnabled(enabled));
    EXPECT_NE(ownLines()[0].find("where DriveLetter=':'\""), std::string::npos);
}

TEST_F(VolumeEncryption, IsNotKnownWhereWmiFails) {
    bool enabled = false;
    encryption().queryResult = static_cast<HRESULT>(WBEM_E_PROVIDER_FAILURE);
    const Strings endedByAnError = {query, "1 Problem iterating over query results"};
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(), endedByAnError);
    encryption().queryResult = S_OK;
    // Success without an object, and a time-out of a call without limit, are not the end either.
    distort("IEnumWbemClassObject::Next", Distortion::NothingWritten);
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    clearFaults();
    EXPECT_EQ(ownLines(), endedByAnError);
    failCall("IEnumWbemClassObject::Next", WBEM_S_TIMEDOUT);
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(), endedByAnError);
    EXPECT_EQ(argumentsOf("IEnumWbemClassObject::Next").back().substr(0, 2), "-1") << "waits without limit";
    addEncryptable(u"1", u"D:", status(0));
    failCall("IEnumWbemClassObject::Next", static_cast<HRESULT>(WBEM_E_TRANSPORT_FAILURE), 2);
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(), (Strings{query, found, asked, "1 Problem iterating over query results"}));
    failCall("IEnumWbemClassObject::Reset", static_cast<HRESULT>(WBEM_E_TRANSPORT_FAILURE));
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(), (Strings{query, "1 Problem iterating over query results"}));
    failCall("IWbemServices::ExecQuery", static_cast<HRESULT>(WBEM_E_INVALID_CLASS));
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(),
              (Strings{query, "1 Problem querying volume information perhaps due to OS version."}));
    machine.wmi.clear();
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(), Strings{"1 Problem connecting to namespace"});
    failCall("CoCreateInstance", static_cast<HRESULT>(REGDB_E_CLASSNOTREG));
    EXPECT_FALSE(Volume('D').isBitLockerEnabled(enabled));
    EXPECT_EQ(ownLines(),
              (Strings{"3 Error initializing WMI namespace "
                       "root\\cimv2\\Security\\MicrosoftVolumeEncryption: CoCreateInstance failed",
                       "3 WMI could not be initialized. The volume BitLocker information cannot be "
                       "determined"}));
    EXPECT_FALSE(enabled);

    // A thread of another apartment is the caller's mistake, not a failure.
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_THROW(Volume('D').isBitLockerEnabled(enabled), zor::Exception);
    CoUninitialize();
}

}  // namespace
