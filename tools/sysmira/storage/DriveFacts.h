// What several subcommands say of a drive, and how a drive is chosen.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "libSysmira/enumeration/WindowsDevice.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "tools/sysmira/text/Fields.h"

namespace sysmira {

struct KnownDrive {
    std::size_t index = 0;  ///< by which it can be chosen: of a disk Windows' number
    libSysmira::WindowsDevice device;
    libSysmira::WindowsDrive drive;
    /// What Windows counts it as; missing when it does not tell.
    std::optional<libSysmira::StorageDeviceNumber> number;
};

/// Disks, optical, tape and floppy drives: disks by their number, then the others as Windows lists them.
std::vector<KnownDrive> listDrives();
/// The drive of an argument: its index, Windows' name ("PhysicalDrive1", "\\.\CdRom0"), its
/// device instance ID or its path. Throws CommandFailure.
KnownDrive findDrive(const std::string& argument);

/// "PhysicalDrive1", "CdRom0"; empty without a number.
std::string windowsNameOf(const KnownDrive& drive);
/// "Drive 1: Nordlicht 4000 (PhysicalDrive1)"; printable.
std::string titleOf(const KnownDrive& drive);
/// Whether it is a disk that Windows has given a number, by which extents of volumes name it.
bool isNumberedDisk(const KnownDrive& drive);
/// Windows did not let the drive be opened, or it has no path.
bool isClosed(const KnownDrive& drive);

/// Volumes of which a part lies on the drive, but which are not among its own: those that span several disks.
std::vector<libSysmira::Volume> volumesPartlyOn(const KnownDrive& drive);

Fields toFields(KnownDrive& drive);
/// The same as fields of JSON, and the drive's volumes.
nlohmann::ordered_json toJson(KnownDrive& drive);

}  // namespace sysmira
