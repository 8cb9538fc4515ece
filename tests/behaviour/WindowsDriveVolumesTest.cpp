#include <limits>
#include <memory>
#include <random>
#include <utility>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "tests/behaviour/StoragePc.h"

namespace {

using libSysmira::StorageDeviceNumber;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;
using libSysmira::WindowsDrive;
using simulation::Resource;
using zor::TriBool;

constexpr unsigned NoVolume = 0xFFFFFFFF;

class DriveVolumes : public StoragePc {
protected:
    WindowsDrive drive(DWORD number = 1) { return WindowsDrive(zorText(drivePath(number))); }

    static Strings locators(const WindowsDrive& drive) {
        Strings result;
        for (const Volume& volume : drive.volumes()) result.push_back(plain(volume.getOSLocator()));
        return result;
    }

    /// A disk's record, and volume devices that go when it goes. Their paths open volumes without names.
    DeviceNode& addDiskDevice(const Text& id, const std::vector<Text>& volumeIds,
                              const GUID& interfaceClass = GUID_DEVINTERFACE_DISK) {
        DeviceNode& disk = add(id);
        withInterface(disk, interfaceClass, u"\\\\?\\" + id);
        for (const Text& volumeId : volumeIds) {
            withInterface(add(volumeId, root), GUID_DEVINTERFACE_VOLUME, u"\\\\?\\" + volumeId);
            disk.removalRelations.push_back(volumeId);
        }
        return disk;
    }
    simulation::Volume& addUnnamedVolume(const Text& deviceId) {
        simulation::Volume volume;
        volume.paths = {u"\\\\?\\" + deviceId};
        volume.label = u"Unnamed";
        return machine.storage.add(std::move(volume));
    }
};

// Association

TEST_F(DriveVolumes, AreThoseWithTheDrivesNumberInTheTableOfItsMedia) {
    simulation::Disk& disk = addDrive(1);
    addVolume(1, {u"D:\\"});
    addVolume(2, {u"E:\\"}, /*disk=*/2);
    addVolume(3, {u"F:\\"}).driveType = DRIVE_REMOVABLE;
    addVolume(4, {u"G:\\"}).driveType = DRIVE_CDROM;
    addVolume(5, {u"H:\\"});
    addVolume(6, {u"I:\\"}).driveType = DRIVE_RAMDISK;
    addVolume(7, {u"J:\\"}).number.reset();
    EXPECT_EQ(locators(drive()), (Strings{"\\\\.\\D:", "\\\\.\\H:"})) << "in the order of the volumes";
    EXPECT_EQ(lines(), (Strings{"libSysmira.CommonStorage 3 Could not get device number - error: 1",
                                "libSysmira.WindowsDrive 3 Failed to get SDN on \\\\.\\J:"}));
    disk.removable = true;
    EXPECT_EQ(locators(drive()), Strings{"\\\\.\\F:"});
    disk.number->DeviceType = FILE_DEVICE_CD_ROM;
    EXPECT_EQ(locators(drive()), Strings{"\\\\.\\G:"});
    for (const DEVICE_TYPE without : {FILE_DEVICE_TAPE, FILE_DEVICE_DVD}) {
        disk.number->DeviceType = without;
        EXPECT_TRUE(drive().volumes().empty()) << without;
    }
    lines();

    // What is neither fixed nor removable has no table; what has no number, no place in one.
    disk.number->DeviceType = FILE_DEVICE_DISK;
    disk.descriptorError = disk.geometryError = ERROR_INVALID_FUNCTION;
    EXPECT_TRUE(drive().volumes().empty());
    EXPECT_EQ(lines().back(), "libSysmira.WindowsDrive 3 Media type unknown");
    disk.number.reset();
    EXPECT_TRUE(drive().volumes().empty());
    EXPECT_EQ(lines().back(), "libSysmira.CommonStorage 3 Could not get device number - error: 1");
    EXPECT_TRUE(WindowsDrive().volumes().empty());
    EXPECT_EQ(lines().size(), 2u) << "of the volume alone";
}

TEST_F(DriveVolumes, AreLookedForOnce) {
    addDrive(1);
    addVolume(1, {u"D:\\"});
    const WindowsDrive disk = drive();
    EXPECT_EQ(disk.volumes().size(), 1u);
    const WindowsDrive copy = disk;
    forgetCalls();
    EXPECT_EQ(disk.volumes().size() + copy.volumes().size(), 2u);
    EXPECT_TRUE(callNames().empty());
}

TEST_F(DriveVolumes, AreThoseOfTheDeviceTreeWhereItKnowsMore) {
    simulation::Disk& disk = addDrive(1);
    DeviceNode& node = addDiskDevice(u"USBSTOR\\DISK\\1", {u"STORAGE\\VOLUME\\A", u"STORAGE\\VOLUME\\B"});
    node.interfaces[0].path = drivePath(1);
    node.removalRelations = {u"STORAGE\\VOLUME\\GONE", u"Storage\\Volume\\b", u"STORAGE\\VOLUME\\A"};
    addUnnamedVolume(u"STORAGE\\VOLUME\\A");
    addUnnamedVolume(u"STORAGE\\VOLUME\\B");
    addVolume(1, {u"D:\\"});
    const Strings related = {"\\\\?\\STORAGE\\VOLUME\\B", "\\\\?\\STORAGE\\VOLUME\\A"};
    const Strings preferred = {
        "libSysmira.WindowsDrive 2 Volume Enum (USBSTOR\\DISK\\1) - Using relation approach over SDN "
        "approach."};

    // By path, in any case; by a record that is opened; and by one that is only known to the tree.
    WindowsDeviceSet disks;
    disks.appendDisks();
    ASSERT_EQ(disks.size(), 1u);
    const WindowsDrive drives[] = {WindowsDrive("\\\\.\\PHYSICALdrive1"), WindowsDrive(disks[0]),
                                   WindowsDrive(WindowsDevice("USBSTOR\\DISK\\1"))};
    for (const WindowsDrive& each : drives) {
        EXPECT_EQ(locators(each), related);
        EXPECT_EQ(lines(), preferred);
        EXPECT_TRUE(each.volumes()[0].isMediaAccessAllowed());
        EXPECT_EQ(each.volumes()[0].flags(), 0u);
    }
    // A handle has no name to look for.
    EXPECT_EQ(locators(WindowsDrive(drives[0].getHandle())), Strings{"\\\\.\\D:"});

    // On a tie the device number wins.
    addVolume(2, {u"E:\\"});
    EXPECT_EQ(locators(drive()), (Strings{"\\\\.\\D:", "\\\\.\\E:"}));
    EXPECT_TRUE(lines().empty());
    // And where the device refuses it, the tree.
    disk.number.reset();
    EXPECT_EQ(locators(drive()), related);
}

TEST_F(DriveVolumes, OfAFloppyDriveAreMadeWithoutTouchingTheMedium) {
    addVolume(1, {u"D:\\"});
    DeviceNode& floppy = addDiskDevice(u"FDC\\GENERIC_FLOPPY_DRIVE\\1", {}, GUID_DEVINTERFACE_FLOPPY);
    floppy.classGuid = GUID_DEVCLASS_FLOPPYDISK;
    withInterface(floppy, GUID_DEVINTERFACE_VOLUME, u"\\\\?\\FDC#1");
    simulation::Disk disk;
    disk.paths = {floppy.interfaces[0].path};
    disk.floppyFormats = {F3_1Pt44_512};
    machine.storage.add(std::move(disk));
    simulation::Volume& medium = addVolume(2, {u"A:\\"});
    simulation::Volume device = medium;
    device.name.clear();
    device.mountPoints.clear();
    device.paths = {u"\\\\?\\FDC#1"};
    machine.storage.add(std::move(device));

    const WindowsDrive drive(zorText(floppy.interfaces[0].path));
    forgetCalls();
    ASSERT_EQ(drive.volumes().size(), 1u);
    EXPECT_FALSE(drive.volumes()[0].isMediaAccessAllowed());
    EXPECT_EQ(drive.volumes()[0].flags(), 0u);
    EXPECT_TRUE(drive.volumes()[0].info().volumeName.empty());
    EXPECT_EQ(calls("IOCTL_STORAGE_GET_DEVICE_NUMBER"), 0u);
    EXPECT_EQ(calls("CreateFileW"), 0u);
    EXPECT_EQ(calls("GetVolumeInformationW"), 0u);
}

TEST_F(DriveVolumes, OfOtherDrivesMayTouchTheMedium) {
    struct Row {
        Text id;
        GUID setupClass, interfaceClass;
    };
    unsigned number = 0;
    for (const Row& row : {Row{u"USBSTOR\\SFLOPPY\\1", GUID_DEVCLASS_FLOPPYDISK, GUID_DEVINTERFACE_FLOPPY},
                           Row{u"FDC\\DISK\\1", GUID_DEVCLASS_DISKDRIVE, GUID_DEVINTERFACE_DISK}}) {
        const Text volumeId = u"STORAGE\\VOLUME\\" + Text(1, static_cast<char16_t>(u'A' + number++));
        addDiskDevice(row.id, {volumeId}, row.interfaceClass).classGuid = row.setupClass;
        simulation::Disk disk;
        disk.paths = {u"\\\\?\\" + row.id};
        machine.storage.add(std::move(disk));
        addUnnamedVolume(volumeId);
        const WindowsDrive drive(zorText(u"\\\\?\\" + row.id));
        ASSERT_EQ(drive.volumes().size(), 1u);
        EXPECT_TRUE(drive.volumes()[0].isMediaAccessAllowed()) << plain(zorText(row.id));
    }
}

TEST_F(DriveVolumes, GiveTheDriveItsRoles) {
    addDrive(1);
    simulation::Volume& data = addVolume(1, {u"D:\\"});
    EXPECT_FALSE(drive().isSystemDrive() || drive().isApplicationDrive() || drive().hasReadOnlyVolume());
    data.features = FILE_READ_ONLY_VOLUME;
    WindowsDrive disk = drive();
    EXPECT_TRUE(disk.hasReadOnlyVolume());
    data.features = 0;
    EXPECT_TRUE(disk.hasReadOnlyVolume());
    disk.updateVolumeAttributes();
    EXPECT_FALSE(disk.hasReadOnlyVolume());
    addVolume(2, {u"C:\\"});
    EXPECT_TRUE(drive().isSystemDrive() && drive().isApplicationDrive());
    EXPECT_FALSE(WindowsDrive().isSystemDrive() || WindowsDrive().hasReadOnlyVolume());
}

// Locking

class DriveLocking : public DriveVolumes {
protected:
    void SetUp() override {
        DriveVolumes::SetUp();
        addDrive(1);
        for (unsigned i = 0; i < 3; ++i) models.push_back(&addVolume(i, {Text(1, u"DEF"[i]) + u":\\"}));
    }
    // What was locked and unlocked, in order, by the lines.
    Strings steps() {
        Strings result;
        for (const std::string& line : lines()) result.push_back(line.substr(line.find(' ') + 3));
        return result;
    }

    std::vector<simulation::Volume*> models;
};

TEST_F(DriveLocking, LocksAllOfThemAndGivesThemBack) {
    WindowsDrive disk = drive();
    EXPECT_TRUE(disk.lockVolumesAndDismount());
    EXPECT_EQ(steps(),
              (Strings{"LOCK_VOLUME   - SUCCESS (\\\\.\\D:)", "LOCK_VOLUME   - SUCCESS (\\\\.\\E:)",
                       "LOCK_VOLUME   - SUCCESS (\\\\.\\F:)", "DISMOUNT_VOLUME - SUCCESS (\\\\.\\D:)",
                       "DISMOUNT_VOLUME - SUCCESS (\\\\.\\E:)", "DISMOUNT_VOLUME - SUCCESS (\\\\.\\F:)"}));
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 3u);
    models[1]->unlockError = ERROR_INVALID_PARAMETER;
    EXPECT_FALSE(disk.unlockVolumes());
    EXPECT_EQ(steps(), (Strings{"UNLOCK_VOLUME - SUCCESS (\\\\.\\D:)",
                                "UNLOCK_VOLUME - FAILED : (\\\\.\\E:)" + message(ERROR_INVALID_PARAMETER),
                                "UNLOCK_VOLUME - SUCCESS (\\\\.\\F:)"}));
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 0u);
    EXPECT_FALSE(disk.unlockVolumes());
    EXPECT_TRUE(lines().empty());
}

TEST_F(DriveLocking, LooksForNoVolumesToUnlock) {
    WindowsDrive disk = drive();
    forgetCalls();
    EXPECT_TRUE(disk.unlockVolumes());
    EXPECT_TRUE(callNames().empty());
}

TEST_F(DriveLocking, UnlocksTheFirstWhenTheSecondIsInUseAndNeverTriesTheThird) {
    models[1]->lockedByOthers = true;
    WindowsDrive disk = drive();
    EXPECT_FALSE(disk.lockVolumesAndDismount());
    EXPECT_EQ(calls("FSCTL_LOCK_VOLUME"), 13u);
    EXPECT_EQ(calls("FSCTL_UNLOCK_VOLUME"), 1u);
    EXPECT_EQ(calls("FSCTL_DISMOUNT_VOLUME"), 0u);
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 0u);
    const Strings all = steps();
    ASSERT_EQ(all.size(), 16u);
    EXPECT_EQ(all[0], "LOCK_VOLUME   - SUCCESS (\\\\.\\D:)");
    EXPECT_EQ(Strings(all.begin() + 13, all.end()),
              (Strings{"Failed to lock all volumes. Unlocking any volumes that were locked.",
                       "UNLOCK_VOLUME - SUCCESS (\\\\.\\D:)",
                       "Failed to lock all volumes, a dismount of the volumes was therefore not attempted"}));
}

TEST_F(DriveLocking, DismountsTheRestButUnlocksAllWhenOneDismountFails) {
    models[0]->dismountError = ERROR_WRITE_PROTECT;
    WindowsDrive disk = drive();
    EXPECT_FALSE(disk.lockVolumesAndDismount());
    EXPECT_EQ(models[1]->dismounts + models[2]->dismounts, 2u);
    EXPECT_EQ(simulation::ledger().count(Resource::VolumeLock), 0u);
    EXPECT_EQ(steps()[6], "Failed to lock dismount all volumes. Unlocking any volumes that were locked.");
}

TEST_F(DriveLocking, SucceedsWithoutVolumes) {
    bool enabled = true;
    WindowsDrive none;
    EXPECT_TRUE(none.lockVolumes());
    EXPECT_TRUE(none.lockVolumesAndDismount());
    EXPECT_TRUE(none.unlockVolumes());
    EXPECT_TRUE(none.isBitLockerEnabledOnVolumes(enabled));
    EXPECT_FALSE(enabled);
}

TEST_F(DriveLocking, AsksForEncryptionUntilOneIsOnOrUnknown) {
    machine.name = u"PC";
    simulation::WmiNamespaceModel& encryption =
        machine.wmi[u"root\\cimv2\\Security\\MicrosoftVolumeEncryption"];
    simulation::WmiMethod method;
    method.name = u"GetConversionStatus";
    method.out = {{u"ReturnValue", CIM_UINT32}, {u"ConversionStatus", CIM_UINT32}};
    method.outcome.out = {{u"ReturnValue", 0}, {u"ConversionStatus", 1}};
    encryption.add(simulation::WmiClass{
        u"Win32_EncryptableVolume", u"", {{u"DriveLetter", CIM_STRING, {}, simulation::WmiKey}}, {method}});
    const WindowsDrive disk = drive();
    bool enabled = true;
    EXPECT_TRUE(disk.isBitLockerEnabledOnVolumes(enabled));
    EXPECT_FALSE(enabled);
    EXPECT_EQ(calls("IWbemServices::ExecQuery"), 3u);
    encryption.add(simulation::WmiInstance{u"Win32_EncryptableVolume", {{u"DriveLetter", u"E:"}}});
    forgetCalls();
    EXPECT_TRUE(disk.isBitLockerEnabledOnVolumes(enabled));
    EXPECT_TRUE(enabled);
    EXPECT_EQ(calls("IWbemServices::ExecQuery"), 2u);
    encryption.connectResult = static_cast<HRESULT>(WBEM_E_ACCESS_DENIED);
    forgetCalls();
    EXPECT_FALSE(disk.isBitLockerEnabledOnVolumes(enabled));
    EXPECT_FALSE(enabled);
    EXPECT_EQ(calls("IWbemLocator::ConnectServer"), 1u);
}

// Summary

TEST_F(DriveVolumes, AreSummedUpInATable) {
    const std::string head =
        "  Mnt  Flags  Volume Name           Type    Size       OSLocator\n"
        "  ---  -----  --------------------  ------  ---------  "
        "--------------------------------------------------\n";
    const std::string legend =
        "\n\n  H=Hidden, S=System, A=Application, R=Read-Only, W=Windows Recovery Volume\n";
    EXPECT_EQ(plain(WindowsDrive().getVolumeSummary(2)), head + legend);

    addDrive(1);
    simulation::Volume& system = addVolume(1, {u"C:\\"});
    system.label = u"System";
    system.totalBytes = 999'999'000'000;
    system.features = FILE_READ_ONLY_VOLUME;
    simulation::Volume& rescue = addVolume(2, {});
    rescue.label = u"100% recovery of everything";
    rescue.partition = simulation::Partition();
    rescue.partition->gptAttributes = 5ull << 60;
    rescue.freeBytes = rescue.totalBytes = 0;
    const std::string rows =
        "  C:   SAR    System                NTFS    931.32 GB  \\\\.\\C:\n"
        "       RHW    100% recovery of everything  NTFS               "
        "\\\\?\\Volume{00000000-0000-0000-0000-000000000002}\n";
    EXPECT_EQ(plain(drive().getVolumeSummary(2)), head + rows + legend);
}

// Sectors

class DriveSectors : public DriveVolumes {
protected:
    struct Place {
        bool found = false;
        unsigned volume = 77;
        unsigned long long cluster = 88;
        friend bool operator==(const Place&, const Place&) = default;
        friend void PrintTo(const Place& place, std::ostream* stream) {
            *stream << place.found << ", " << place.volume << ", " << place.cluster;
        }
    };
    static Place convert(const WindowsDrive& drive, unsigned long long sector) {
        Place place;
        place.found = drive.convertSectorToVCN(sector, place.volume, place.cluster);
        return place;
    }
    static constexpr Place nowhere() { return {}; }
};

TEST_F(DriveSectors, LieInTheClusterCountedFromTheirExtent) {
    addDrive(1);
    addVolume(1, {u"D:\\"}).extents = {extent(9, MiB, 64 * KiB), extent(1, 8 * MiB, 6000)};
    simulation::Volume& second = addVolume(2, {u"E:\\"});
    second.extents = {extent(1, 4 * MiB, MiB)};
    second.bytesPerSector = 4096;
    second.sectorsPerCluster = 3;
    const WindowsDrive disk = drive();
    const std::pair<unsigned long long, Place> rows[] = {
        {0, nowhere()},
        {2047, nowhere()},
        {2048, {true, 0, 0}},
        {2055, {true, 0, 0}},
        {2056, {true, 0, 1}},
        {2048 + 127, {true, 0, 15}},
        {2048 + 128, nowhere()},
        {16384, {true, 0, 0}},       // the second extent counts from its own beginning
        {16384 + 11, {true, 0, 1}},  // only its first bytes lie there
        {16384 + 12, nowhere()},
        {1024, {true, 1, 0}},  // by the sectors of that volume
        {1024 + 3, {true, 1, 1}},
        {1024 + 255, {true, 1, 85}},
        {1024 + 256, nowhere()},
        {~0ull, nowhere()},
        {(1ull << 55) + 4, nowhere()},  // 64 bits of bytes wrap to 2048
        {(1ull << 52) + 1024, nowhere()},
    };
    for (const auto& [sector, place] : rows) EXPECT_EQ(convert(disk, sector), place) << sector;
    // To the last byte of an extent.
    second.extents = {extent(1, 4 * MiB, 5 * 4096 + 1)};
    EXPECT_EQ(convert(drive(), 1024 + 5), (Place{true, 1, 1}));
    EXPECT_EQ(convert(WindowsDrive(), 2048), nowhere());
}

TEST_F(DriveSectors, LieInNoExtentThatMakesNoSense) {
    addDrive(1);
    simulation::Volume& model = addVolume(1, {u"D:\\"});
    constexpr LONGLONG most = std::numeric_limits<LONGLONG>::max();
    const DISK_EXTENT nonsense[] = {extent(1, 0, 0),      extent(1, 0, -1),        extent(1, 0, -most - 1),
                                    extent(1, -1, most),  extent(1, -512, 8192),   extent(1, most, most),
                                    extent(1, 512, most), extent(1, -most - 1, 1), extent(1, -most - 1, -1)};
    for (const DISK_EXTENT& each : nonsense) {
        model.extents = {each};
        const WindowsDrive disk = drive();
        for (const unsigned long long sector :
             {0ull, 1ull, 2ull, 1ull << 54, (1ull << 55) - 1, 1ull << 55, ~0ull})
            EXPECT_EQ(convert(disk, sector), nowhere()) << each.StartingOffset.QuadPart << " " << sector;
    }
    // The largest that do, to the last byte that 63 bits can count.
    model.extents = {extent(1, 0, most), extent(1, most - 511, 512)};
    EXPECT_EQ(convert(drive(), (1ull << 54) - 1), (Place{true, 0, (1ull << 51) - 1}));
    // Behind nonsense comes sense.
    model.extents.assign(std::begin(nonsense), std::end(nonsense));
    model.extents.push_back(extent(1, 4096, MiB));
    EXPECT_EQ(convert(drive(), 16), (Place{true, 0, 1}));
    for (DWORD* const size : {&model.bytesPerSector, &model.sectorsPerCluster}) {
        const DWORD before = std::exchange(*size, 0);
        EXPECT_EQ(convert(drive(), 16), nowhere());
        *size = before;
    }
    model.extents = {extent(1, 0, most)};
    model.bytesPerSector = model.sectorsPerCluster = 0xFFFFFFFF;
    EXPECT_EQ(convert(drive(), 8), (Place{true, 0, 0}));
}

TEST_F(DriveSectors, AreUsedOrFreeOrUnknown) {
    addDrive(1);
    simulation::Volume& model = addVolume(1, {u"D:\\"});
    model.clusters = 10;
    model.used = {{1, 1}, {9, 1}};
    WindowsDrive disk = drive();
    struct Row {
        unsigned long long sector;
        unsigned volume;
        TriBool::Value used;
    };
    const Row rows[] = {{2048 + 8, 0, TriBool::True},         {2048, 0, TriBool::False},
                        {2047, NoVolume, TriBool::Unknown},   {2048 + 9 * 8 + 7, 0, TriBool::True},
                        {2048 + 10 * 8, 0, TriBool::False},  // the last byte's spare bits are free
                        {2048 + 16 * 8, 0, TriBool::Unknown}, {~0ull, NoVolume, TriBool::Unknown}};
    for (const Row& row : rows) {
        unsigned volume = 55;
        EXPECT_EQ(disk.isSectorInUsedCluster(row.sector, &volume).getValue(), row.used) << row.sector;
        EXPECT_EQ(volume, row.volume) << row.sector;
        EXPECT_EQ(disk.isSectorInUsedCluster(row.sector, nullptr).getValue(), row.used);
    }
    EXPECT_EQ(calls("FSCTL_GET_VOLUME_BITMAP"), 1u);
    // The kept bitmap serves even while the volume does not open; one that was read anew serves at once.
    model.openError = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(disk.isSectorInUsedCluster(2048 + 8, nullptr).isTrue());
    model.openError = 0;
    model.used.clear();
    EXPECT_TRUE(disk.isSectorInUsedCluster(2048 + 8, nullptr).isTrue());
    const auto old = disk.volumes()[0].getVolumeClusterBitmap(/*refresh=*/false);
    disk.volumes()[0].getVolumeClusterBitmap(/*refresh=*/true);
    EXPECT_TRUE(disk.isSectorInUsedCluster(2048 + 8, nullptr).isFalse()) << "whoever holds the old one";

    model.bitmapError = ERROR_ACCESS_DENIED;
    WindowsDrive refused = drive();
    unsigned volume = 55;
    EXPECT_TRUE(refused.isSectorInUsedCluster(2048, &volume).isUnknown());
    EXPECT_EQ(volume, 0u);
    model.bitmapError = 0;
    EXPECT_TRUE(refused.isSectorInUsedCluster(2048, &volume).isFalse()) << "asked again";
}

TEST_F(DriveSectors, KeepTheirAnswersOverCopiesMovesAndUpdates) {
    addDrive(1);
    simulation::Volume& model = addVolume(1, {u"D:\\"});
    model.used = {{0, 1}};
    auto first = std::make_unique<WindowsDrive>(drive());
    EXPECT_TRUE(first->isSectorInUsedCluster(2048, nullptr).isTrue());
    WindowsDrive copy = *first;
    WindowsDrive moved = std::move(*first);
    EXPECT_TRUE(first->isSectorInUsedCluster(2048, nullptr).isUnknown());
    first.reset();
    EXPECT_TRUE(copy.isSectorInUsedCluster(2048, nullptr).isTrue());
    EXPECT_TRUE(moved.isSectorInUsedCluster(2048, nullptr).isTrue());
    copy = moved;
    moved = WindowsDrive();
    EXPECT_TRUE(moved.isSectorInUsedCluster(2048, nullptr).isUnknown());
    EXPECT_TRUE(copy.isSectorInUsedCluster(2048, nullptr).isTrue());

    model.extents = {extent(1, MiB + 4096, MiB)};
    copy.update(/*flush=*/false);
    EXPECT_TRUE(copy.isSectorInUsedCluster(2048, nullptr).isUnknown());
    EXPECT_TRUE(copy.isSectorInUsedCluster(2056, nullptr).isTrue());
    model.sectorsPerCluster = 4;
    copy.updateVolumeAttributes();
    EXPECT_TRUE(copy.isSectorInUsedCluster(2056 + 4, nullptr).isFalse());
    model.number.reset();
    copy.update(/*flush=*/false);
    EXPECT_TRUE(copy.isSectorInUsedCluster(2056, nullptr).isUnknown()) << "it has no volumes any more";
}

// Extents in any order, of any length, over one another: the first that holds the sector counts, whatever was
// asked before.
TEST_F(DriveSectors, AreFoundAsByALinearSearch) {
    std::mt19937 random(7);
    const auto below = [&](unsigned bound) { return static_cast<LONGLONG>(random() % bound); };
    for (unsigned round = 0; round < 40; ++round) {
        simulation::reset();
        addDrive(1);
        const unsigned volumes = 1 + round % 3, extents = round < 20 ? 3 : 70;
        for (unsigned v = 0; v < volumes; ++v) {
            simulation::Volume& model = addVolume(v, {});
            model.bytesPerSector = round % 5 == 0 && v == 1 ? 1024 : 512;
            model.sectorsPerCluster = round % 4 == 3 ? 3 : 1u << below(4);
            model.clusters = 200;
            model.extents.clear();
            for (unsigned i = 0; i < extents; ++i)
                model.extents.push_back(
                    extent(1, below(2000) * 256, below(round % 2 != 0 ? 3000 : 150) * 128 + below(2)));
            for (ULONGLONG c = 0; c < model.clusters; c += 1 + static_cast<ULONGLONG>(below(4)))
                model.used.push_back({c, 1});
        }
        WindowsDrive disk = drive();
        for (unsigned i = 0; i < 500; ++i) {
            const auto sector = static_cast<unsigned long long>(below(1100));
            Place expected;
            TriBool used;
            for (unsigned v = 0; v < volumes && !expected.found; ++v) {
                const simulation::Volume& model = machine.storage.volumes()[v];
                const auto byte = static_cast<LONGLONG>(sector * model.bytesPerSector);
                for (const DISK_EXTENT& each : model.extents) {
                    const LONGLONG offset = byte - each.StartingOffset.QuadPart;
                    if (offset < 0 || offset >= each.ExtentLength.QuadPart) continue;
                    expected = {
                        true, v,
                        static_cast<ULONGLONG>(offset) / (model.bytesPerSector * model.sectorsPerCluster)};
                    if (expected.cluster < 200) {
                        used = std::any_of(model.used.begin(), model.used.end(),
                                           [&](const auto& run) { return run.first == expected.cluster; });
                    }
                    break;
                }
            }
            unsigned volume = 55;
            ASSERT_EQ(disk.isSectorInUsedCluster(sector, &volume), used) << round << ", " << sector;
            ASSERT_EQ(volume, expected.found ? expected.volume : NoVolume);
            ASSERT_EQ(convert(disk, sector), expected) << round << ", " << sector;
        }
    }
}

// The whole walk of a raw test.
class RawTest : public DriveSectors {
protected:
    void SetUp() override {
        DriveSectors::SetUp();
        addDrive(1);
        addVolume(1, {u"D:\\"}).used = {{0, 2}};
        addVolume(2, {u"E:\\"}).extents = {extent(1, 128 * MiB, 64 * MiB)};
    }

    struct Answers {
        unsigned used = 0, free = 0, unknown = 0;
    };
    static Answers askAll(WindowsDrive& disk) {
        Answers answers;
        for (unsigned long long sector = 0; sector < disk.getSectorCount(); sector += 8) {
            const TriBool answer = disk.isSectorInUsedCluster(sector, nullptr);
            ++(answer.isTrue() ? answers.used : answer.isFalse() ? answers.free : answers.unknown);
        }
        return answers;
    }
};

TEST_F(RawTest, ReadsFirstThenLocksAndAsks) {
    WindowsDrive disk = drive();
    for (const Volume& volume : disk.volumes()) {
        EXPECT_EQ(volume.info().bytesPerSector, 512u);
        EXPECT_FALSE(volume.getVolumeExtents().empty());
        EXPECT_TRUE(volume.getVolumeClusterBitmap(/*refresh=*/true).isValid());
    }
    ASSERT_TRUE(disk.lockVolumesAndDismount());
    const Answers answers = askAll(disk);
    EXPECT_EQ(answers.used, 2u);
    EXPECT_EQ(answers.free, 2 * 16384 - 2u);
    EXPECT_EQ(answers.unknown, (1024 - 128) * 256u);
    EXPECT_FALSE(disk.volumes()[0].getVolumeClusterBitmap(/*refresh=*/true).isValid());
    EXPECT_EQ(askAll(disk).used, 2u) << "what was read stays";
    EXPECT_TRUE(disk.unlockVolumes());
    EXPECT_EQ(calls("FSCTL_LOCK_VOLUME") + calls("FSCTL_DISMOUNT_VOLUME") + calls("FSCTL_UNLOCK_VOLUME"), 6u);
}

TEST_F(RawTest, CallsNothingFreeThatItCouldNotRead) {
    {
        WindowsDrive lockedFirst = drive();
        ASSERT_TRUE(lockedFirst.lockVolumesAndDismount());
        EXPECT_EQ(askAll(lockedFirst).unknown, 1024 * 256u);
    }
    for (simulation::Volume& model : machine.storage.volumes()) model.bitmapNeedsDataAccess = true;
    WindowsDrive disk = drive();
    for (const Volume& volume : disk.volumes()) {
        volume.info();
        EXPECT_FALSE(volume.getVolumeClusterBitmap(/*refresh=*/true).isValid());
    }
    EXPECT_EQ(askAll(disk).unknown, 1024 * 256u);
}

}  // namespace
