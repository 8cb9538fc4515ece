#include "libSysmira/enumeration/Volume.h"

#include "tests/behaviour/StoragePc.h"

namespace {

using libSysmira::VolInfo;
using libSysmira::Volume;

const GUID hiddenVolumes = GUID_DEVINTERFACE_HIDDEN_VOLUME;

class VolumeIdentity : public StoragePc {
protected:
    static char letterOf(const Volume& volume) {
        char letter = '-';
        volume.getDriveLetter(letter);
        return letter;
    }
    static Strings describe(const zor::Array<Volume>& volumes) {
        Strings result;
        for (const Volume& volume : volumes) {
            result.push_back(std::string(1, letterOf(volume)) + " " + plain(volume.getOSLocator()) + " " +
                             plain(volume.getVolumeGUIDPath()));
        }
        return result;
    }
    zor::String name(unsigned number) { return zorText(volumeName(number)); }
};

// Finding

TEST_F(VolumeIdentity, FindsVolumesWithTheOneLetterThatLeadsToThem) {
    addVolume(1, {u"C:\\"});
    addVolume(2, {u"D:\\", u"E:\\"});
    addVolume(3, {u"C:\\Mount\\"});
    addVolume(4, {});
    machine.storage.networkLetters = "N";
    machine.storage.otherLetters = "S";
    withInterface(makeHidden(add(u"STORAGE\\VOLUME\\HIDDEN")), hiddenVolumes, u"\\\\?\\hidden#1");
    forgetCalls();

    zor::Array<Volume> volumes{Volume('Z')};
    lines();
    EXPECT_TRUE(Volume::findAllVolumes(volumes));
    EXPECT_EQ(describe(volumes),
              (Strings{"C \\\\.\\C: " + plain(name(1)),
                       "- " + plain(name(2).subString(0, name(2).size() - 1)) + " " + plain(name(2)),
                       "- " + plain(name(3).subString(0, name(3).size() - 1)) + " " + plain(name(3)),
                       "- " + plain(name(4).subString(0, name(4).size() - 1)) + " " + plain(name(4)),
                       "- \\\\?\\hidden#1 "}));
    EXPECT_EQ(lines(), Strings{"libSysmira.Volume 3 Multiple drive letters are associated with this volume"});
    // Letters are numbers to the shell; that of a network drive is not looked up, nor are mount paths.
    EXPECT_EQ(argumentsOf("IsNetDrive"), (Strings{"2", "3", "4", "13", "18"}));
    EXPECT_EQ(calls("GetVolumePathNamesForVolumeNameW"), 0u);
    EXPECT_EQ(calls("FindFirstVolumeW"), 1u);
    EXPECT_EQ(calls("FindNextVolumeW"), 4u);
    EXPECT_EQ(calls("CreateFileW"), 0u);
    // The shell has two answers for network drives: connected, and remembered without a connection.
    failCall("IsNetDrive", 2);
    EXPECT_TRUE(Volume::findAllVolumes(volumes));
    EXPECT_EQ(letterOf(volumes[0]), '-') << "C: is not looked up";
}

TEST_F(VolumeIdentity, FindsNothingWhereThereIsNothing) {
    zor::Array<Volume> volumes{Volume('Z')};
    EXPECT_FALSE(Volume::findAllVolumes(volumes));
    EXPECT_TRUE(volumes.empty());

    addVolume(1, {u"C:\\"});
    addVolume(2, {u"D:\\"});
    failCall("FindFirstVolumeW", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(Volume::findAllVolumes(volumes));
    // Windows gives the first and loses its thread; a volume without a name ends the search, too.
    failCall("FindNextVolumeW", ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(Volume::findAllVolumes(volumes));
    EXPECT_EQ(volumes.size(), 1u);
    clearFaults();
    distort("FindNextVolumeW", Distortion::NothingWritten, 1, /*onwards=*/true);
    EXPECT_TRUE(Volume::findAllVolumes(volumes));
    EXPECT_EQ(volumes.size(), 1u);
    distort("FindFirstVolumeW", Distortion::NothingWritten);
    EXPECT_FALSE(Volume::findAllVolumes(volumes));
}

// Names

TEST_F(VolumeIdentity, IsMadeFromALetterInEitherCase) {
    addVolume(1, {u"E:\\"});
    const Volume volume('e');
    EXPECT_EQ(letterOf(volume), 'E');
    EXPECT_EQ(volume.getOSLocator(), "\\\\.\\E:");
    EXPECT_EQ(volume.getVolumeGUIDPath(), name(1));
    EXPECT_EQ(volume.getDriveType(), static_cast<unsigned>(DRIVE_FIXED));
    EXPECT_EQ(argumentsOf("GetDriveTypeW"), Strings{plain(name(1))});
    EXPECT_EQ(calls("GetVolumePathNamesForVolumeNameW"), 0u);

    // Some Windows refuse to look up a root in this form; the information is read by that root then.
    failCall("GetVolumeNameForVolumeMountPointW", ERROR_INVALID_NAME);
    const Volume byRoot('e');
    EXPECT_TRUE(byRoot.getVolumeGUIDPath().empty());
    EXPECT_EQ(byRoot.info().volumeName, "Data");
    EXPECT_EQ(argumentsOf("GetVolumeInformationW"), Strings{"\\\\.\\E:\\"});

    // Nobody's letter is one all the same.
    const Volume missing('Q');
    EXPECT_EQ(missing.getOSLocator(), "\\\\.\\Q:");
    EXPECT_TRUE(missing.getVolumeGUIDPath().empty());
    EXPECT_EQ(missing.info().totalBytes, 0u);
    EXPECT_EQ(missing.flags(), static_cast<unsigned>(Volume::HasDriveLetter));
}

TEST_F(VolumeIdentity, TakesTheFirstDriveLetterOfItsMountPaths) {
    addVolume(1, {u"D:\\Mount\\", u"q:\\", u"E:\\"});
    const Volume byName(Volume::VolumeGUIDPath, name(1));
    EXPECT_EQ(letterOf(byName), 'Q');
    EXPECT_EQ(byName.getOSLocator(), "\\\\.\\Q:");

    addVolume(2, {u"D:\\Other\\"});
    const Volume folder(Volume::VolumeGUIDPath, name(2));
    EXPECT_EQ(letterOf(folder), '-');
    EXPECT_EQ(folder.getOSLocator() + "\\", name(2));

    // A device path becomes a name where the mount manager knows it.
    addVolume(3, {u"F:\\"}).paths = {u"\\\\?\\storage#volume#3"};
    simulation::Volume& device = machine.storage.add([] {
        simulation::Volume volume;
        volume.name = volumeName(4);
        volume.paths = {u"\\\\?\\storage#volume#4"};
        volume.mountPoints = {u"G:\\"};
        return volume;
    }());
    const Volume byDevice(Volume::OSLocator, zorText(device.paths[0]));
    EXPECT_EQ(letterOf(byDevice), 'G');
    EXPECT_EQ(byDevice.getVolumeGUIDPath(), name(4));
}

TEST_F(VolumeIdentity, ReadsLongListsOfMountPathsInASecondCall) {
    std::vector<Text> paths;
    for (char16_t folder = u'a'; folder <= u'j'; ++folder)
        paths.push_back(u"D:\\" + Text(40, folder) + u"\\");
    paths.push_back(u"E:\\");
    addVolume(1, paths);
    EXPECT_EQ(letterOf(Volume(Volume::VolumeGUIDPath, name(1))), 'E');
    const unsigned units = 10 * 45 + 4 + 1;
    EXPECT_EQ(calls("GetVolumePathNamesForVolumeNameW"), 2u);
    EXPECT_NE(argumentsOf("GetVolumePathNamesForVolumeNameW")[1].find(std::to_string(units)),
              std::string::npos);

    // No third try, no buffer of an absurd size, no paths that lie behind the buffer.
    for (const Distortion distortion :
         {Distortion::SizeTooLarge, Distortion::SizeZero, Distortion::NothingWritten}) {
        for (const unsigned nth : {1u, 2u}) {
            distort("GetVolumePathNamesForVolumeNameW", distortion, nth);
            EXPECT_EQ(letterOf(Volume(Volume::VolumeGUIDPath, name(1))), '-') << nth;
            clearFaults();
        }
    }
    machine.storage.volumes()[0].mountPointsGrow = true;
    forgetCalls();
    EXPECT_EQ(letterOf(Volume(Volume::VolumeGUIDPath, name(1))), '-');
    EXPECT_EQ(calls("GetVolumePathNamesForVolumeNameW"), 2u) << "no third try";
    failCall("GetVolumePathNamesForVolumeNameW", ERROR_MORE_DATA, 1, /*onwards=*/true);
    forgetCalls();
    EXPECT_EQ(letterOf(Volume(Volume::VolumeGUIDPath, name(1))), '-');
    EXPECT_LE(calls("GetVolumePathNamesForVolumeNameW"), 2u);
}

TEST_F(VolumeIdentity, OfAnUnknownKindOfNameIsNoVolume) {
    const Volume volume(static_cast<Volume::LocatorType>(2), "\\\\.\\C:");
    EXPECT_EQ(lines(), Strings{"DEFECT.GENERIC 4 Unknown locator type"});
    EXPECT_TRUE(volume.getOSLocator().empty());
    EXPECT_EQ(volume.flags(), 0u);
    EXPECT_TRUE(volume.info().volumeName.empty());
    EXPECT_EQ(calls("CreateFileW"), 0u);
    EXPECT_TRUE(lines().empty());
}

// Information

TEST_F(VolumeIdentity, TellsWhatWindowsTellsOnce) {
    addVolume(1, {u"D:\\"}).label = u"100 %s, ä";
    Volume volume('D');
    const VolInfo& info = volume.info();
    EXPECT_EQ(plain(info.volumeName), "100 %s, \u00e4");
    EXPECT_EQ(info.serialNumber, "1A2B-3C4D");
    EXPECT_EQ(info.fileSystemName, "NTFS");
    EXPECT_EQ(info.totalBytes, 64 * MiB);
    EXPECT_EQ(info.freeBytes, 16 * MiB);
    EXPECT_EQ(info.usedBytes, 48 * MiB);
    EXPECT_EQ(info.bytesPerSector, 512u);
    EXPECT_EQ(info.sectorsPerCluster, 8u);
    EXPECT_EQ(volume.flags(), static_cast<unsigned>(Volume::HasDriveLetter));
    EXPECT_EQ(calls("GetVolumeInformationW"), 1u);
    EXPECT_EQ(argumentsOf("CreateFileW"), Strings{"\\\\.\\D:, 128, 3, 3, 0"});
    EXPECT_EQ(argumentsOf("GetVolumeInformationW")[0].substr(0, volumeName(1).size()), plain(name(1)));

    volume.update();
    EXPECT_EQ(calls("GetVolumeInformationW"), 2u);
    // Without a label nothing is read of it; quotas make the total smaller than what is free.
    simulation::Volume& model = *machine.storage.volume(u"D:");
    model.freeBytes = 65 * MiB;
    volume.update();
    EXPECT_EQ(volume.info().usedBytes, 0u);
}

TEST_F(VolumeIdentity, HasSizesOfRemovableAndFixedDrivesOnly) {
    struct Row {
        UINT driveType;
        bool sizes;
    };
    unsigned number = 1;
    for (const Row& row : {Row{DRIVE_FIXED, true}, Row{DRIVE_REMOVABLE, true}, Row{DRIVE_CDROM, false},
                           Row{DRIVE_RAMDISK, false}, Row{DRIVE_NO_ROOT_DIR, false}}) {
        addVolume(number, {}).driveType = row.driveType;
        const Volume volume(Volume::VolumeGUIDPath, name(number++));
        EXPECT_EQ(volume.info().totalBytes != 0, row.sizes) << row.driveType;
        EXPECT_EQ(volume.info().sectorsPerCluster != 0, row.sizes) << row.driveType;
        EXPECT_EQ(volume.info().volumeName, "Data");
    }
    forgetCalls();
    failCall("GetDiskFreeSpaceExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(Volume(Volume::VolumeGUIDPath, name(1)).info().bytesPerSector, 0u);
    EXPECT_EQ(calls("GetDiskFreeSpaceW"), 0u);
}

TEST_F(VolumeIdentity, KnowsTheSystemsAndTheProgramsVolume) {
    addVolume(1, {u"C:\\"}).label = u"Recovery";
    addVolume(2, {u"D:\\"}).label = u"My RecOvery disk";
    EXPECT_EQ(Volume::getSysDriveLetter(), 'C');
    EXPECT_EQ(Volume::getAppDriveLetter(), 'C');
    // The system's own volume is none for recovery, whatever its label says.
    EXPECT_EQ(Volume('C').flags(),
              static_cast<unsigned>(Volume::System | Volume::Application | Volume::HasDriveLetter));
    EXPECT_EQ(Volume('D').flags(), static_cast<unsigned>(Volume::RecoveryVolume | Volume::HasDriveLetter));
}

TEST_F(VolumeIdentity, TakesFlagsFromFileSystemAndPartition) {
    const GUID recovery = {0xDE94BBA4, 0x06D1, 0x4D40, {0xA1, 0x6A, 0xBF, 0xD5, 0x01, 0x79, 0xD6, 0xAC}};
    simulation::Partition plainOne, hidden, readOnly, gptRecovery, mbrRecovery, mbr;
    hidden.gptAttributes = 1ull << 62;
    readOnly.gptAttributes = 1ull << 60;
    gptRecovery.gptType = recovery;
    mbr.gpt = mbrRecovery.gpt = false;
    mbrRecovery.mbrType = 0x27;
    struct Row {
        const char* what;
        DWORD features;
        std::optional<simulation::Partition> partition;
        unsigned flags;
    };
    const Row rows[] = {
        {"nothing", 0, std::nullopt, 0},
        {"plain", FILE_READ_ONLY_VOLUME ^ 0xFFFFFFFF ^ FILE_DAX_VOLUME, plainOne, 0},
        {"read-only file system", FILE_READ_ONLY_VOLUME, plainOne, Volume::ReadOnly},
        {"mapped", FILE_DAX_VOLUME, plainOne, Volume::DaxVolume},
        {"hidden", 0, hidden, Volume::Hidden},
        {"read-only partition", 0, readOnly, Volume::ReadOnly},
        {"GPT recovery", 0, gptRecovery, Volume::RecoveryVolume},
        {"MBR recovery", 0, mbrRecovery, Volume::RecoveryVolume},
        {"MBR", 0, mbr, 0},
    };
    simulation::Volume& model = addVolume(1, {});
    for (const Row& row : rows) {
        model.features = row.features;
        model.partition = row.partition;
        EXPECT_EQ(Volume(Volume::VolumeGUIDPath, name(1)).flags(), row.flags) << row.what;
    }
}

TEST_F(VolumeIdentity, UpdatesButKeepsWhatItCannotReadAndAllFlagsButReadOnly) {
    simulation::Volume& model = addVolume(1, {});
    model.features = FILE_READ_ONLY_VOLUME | FILE_DAX_VOLUME;
    model.partition = simulation::Partition();
    model.partition->gptAttributes = 1ull << 62;
    model.label = u"recovery";
    Volume volume(Volume::VolumeGUIDPath, name(1));
    const unsigned kept = Volume::DaxVolume | Volume::Hidden | Volume::RecoveryVolume;
    EXPECT_EQ(volume.flags(), kept | Volume::ReadOnly);

    model.features = 0;
    model.partition->gptAttributes = 0;
    model.label = u"Data";
    model.freeBytes = 0;
    EXPECT_EQ(volume.flags(), kept | Volume::ReadOnly) << "not asked again";
    volume.update();
    EXPECT_EQ(volume.flags(), kept);
    EXPECT_EQ(volume.info().volumeName, "Data");
    EXPECT_EQ(volume.info().usedBytes, 64 * MiB);

    model.ready = false;
    model.openError = ERROR_NOT_READY;
    volume.update();
    EXPECT_EQ(volume.info().volumeName, "Data");
    EXPECT_EQ(volume.info().serialNumber, "1A2B-3C4D");
    EXPECT_EQ(lines(), Strings{"libSysmira.Volume 4 Failed to open handle to : \"" +
                               plain(volume.getOSLocator()) + "\"" + message(ERROR_NOT_READY)});
}

TEST_F(VolumeIdentity, LeavesTheMediumAloneWithoutAccess) {
    addVolume(1, {u"D:\\"});
    Volume volume('D');
    EXPECT_TRUE(volume.isMediaAccessAllowed());
    volume.setMediaAccessAllowed(false);
    EXPECT_FALSE(volume.isMediaAccessAllowed());
    forgetCalls();
    EXPECT_TRUE(volume.info().volumeName.empty());
    EXPECT_EQ(volume.info().totalBytes, 0u);
    EXPECT_EQ(volume.flags(), static_cast<unsigned>(Volume::HasDriveLetter));
    EXPECT_TRUE(callNames().empty());
    // What is there counts as read.
    volume.setMediaAccessAllowed(true);
    EXPECT_TRUE(volume.info().volumeName.empty());
    volume.update();
    EXPECT_EQ(volume.info().volumeName, "Data");
}

TEST_F(VolumeIdentity, BelievesNoAnswerFurtherThanItReaches) {
    simulation::Volume& model = addVolume(1, {u"D:\\"});
    model.partition = simulation::Partition();
    model.partition->gptAttributes = 1ull << 62;
    distort("GetVolumeInformationW", Distortion::NoTerminator);
    EXPECT_EQ(Volume('D').info().volumeName.size(), 261u);
    clearFaults();
    distort("GetVolumeInformationW", Distortion::NothingWritten);
    EXPECT_TRUE(Volume('D').info().volumeName.empty());
    distort("GetVolumeNameForVolumeMountPointW", Distortion::NothingWritten);
    EXPECT_TRUE(Volume('D').getVolumeGUIDPath().empty());
    clearFaults();
    // An answer that did not come is no attribute of bit 62.
    for (const Distortion distortion : {Distortion::NothingWritten, Distortion::SizeZero}) {
        distort("IOCTL_VOLUME_GET_GPT_ATTRIBUTES", distortion);
        EXPECT_EQ(Volume('D').flags(), static_cast<unsigned>(Volume::HasDriveLetter));
        clearFaults();
    }
}

}  // namespace
