// The DLL's volumes and drives on the system's own. The drive T: is one that ./test makes: labelled
// SYSMIRA-T, with the serial number 1A2B-3C4D.
#include <gtest/gtest.h>

#include <string>

#include "libSysmira/enumeration/Volume.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "support/RaisedException.h"
#include "tests/windows/PlainText.h"

namespace {

using libSysmira::Volume;
using libSysmira::WindowsDrive;

TEST(VolumeDll, ListsTheSystemsVolumes) {
    zor::Array<Volume> volumes;
    ASSERT_TRUE(Volume::findAllVolumes(volumes));
    bool system = false, prepared = false;
    for (const Volume& volume : volumes) {
        char letter = 0;
        if (!volume.getDriveLetter(letter)) continue;
        EXPECT_EQ(plain(volume.getOSLocator()), std::string("\\\\.\\") + letter + ":");
        EXPECT_EQ(plain(volume.getVolumeGUIDPath()).substr(0, 11), "\\\\?\\Volume{");
        if (letter == 'C') system = (volume.flags() & Volume::System) != 0;
        if (letter == 'T') prepared = plain(volume.info().volumeName) == "SYSMIRA-T";
    }
    EXPECT_TRUE(system);
    EXPECT_TRUE(prepared);
}

TEST(VolumeDll, TellsLabelSerialNumberAndFileSystem) {
    const Volume volume('t');
    EXPECT_EQ(plain(volume.info().volumeName), "SYSMIRA-T");
    EXPECT_EQ(plain(volume.info().serialNumber), "1A2B-3C4D");
    EXPECT_NE(plain(volume.info().fileSystemName), "");
    // Wine does not resolve a letter to the volume's name, by which it would not know the kind of the drive;
    // the root of the letter has both.
    EXPECT_EQ(volume.getDriveType(), static_cast<unsigned>(DRIVE_FIXED));
    ULARGE_INTEGER total = {};
    EXPECT_TRUE(GetDiskFreeSpaceExW(L"T:\\", nullptr, &total, nullptr));
    EXPECT_EQ(volume.info().totalBytes, total.QuadPart);
    EXPECT_GT(volume.info().freeBytes, 0u);
    EXPECT_EQ(volume.info().usedBytes + volume.info().freeBytes, volume.info().totalBytes);
}

TEST(VolumeDll, LocksAndGivesTheLockBack) {
    Volume volume('C');
    EXPECT_FALSE(volume.unlockVolume()) << "not locked yet";
    ASSERT_TRUE(volume.lockVolume());
    EXPECT_TRUE(volume.unlockVolume());
    EXPECT_FALSE(volume.dismountVolume());
    libSysmira::StorageDeviceNumber number;
    EXPECT_TRUE(volume.getSDN(number));
    EXPECT_EQ(number.deviceType, static_cast<unsigned>(FILE_DEVICE_DISK));
}

TEST(VolumeDll, WhatIsNotThereIsEmptyAndMisuseCrossesTheDll) {
    const Volume missing('q');
    EXPECT_EQ(plain(missing.info().volumeName), "");
    EXPECT_EQ(missing.getVolumeExtents().size(), 0u);
    EXPECT_FALSE(missing.getVolumeClusterBitmap(false).isValid());
    WindowsDrive drive(zor::String("\\\\.\\PhysicalDrive77"));
    EXPECT_FALSE(drive.getHandle().isValid());
    EXPECT_EQ(drive.getTotalCapacity(), 0u);
    EXPECT_TRUE(drive.volumes().empty());
    EXPECT_TRUE(drive.lockVolumes());
    EXPECT_NE(plain(drive.getVolumeSummary(0)).find("W=Windows Recovery Volume"), std::string::npos);
    EXPECT_THROW(drive.type(), zor::RaisedException);
    bool enabled = false;
    EXPECT_FALSE(missing.isBitLockerEnabled(enabled)) << "Wine knows no encryption";
}

}  // namespace
