// Windows' numbers for storage devices and volumes, in words.
#pragma once

#include <string>
#include <vector>

namespace sysmira {

/// Of a STORAGE_BUS_TYPE: "NVMe", "SATA", "USB"; "bus 99" for one without a name.
std::string busName(unsigned busType);
/// Of a SCSI peripheral device type: "disk", "tape drive", "optical drive".
std::string deviceTypeName(unsigned deviceType);
/// Of a FILE_DEVICE_ number: "disk", "CD-ROM", "tape".
std::string deviceKindName(unsigned fileDevice);
/// Of GetDriveTypeW: "fixed", "removable", "CD-ROM".
std::string driveTypeName(unsigned driveType);
/// Of a volume's flag bits: "system", "read-only" …
std::vector<std::string> flagNames(unsigned volumeFlags);
/// "Windows' error 5: Access is denied." — without the text where Windows has none.
std::string windowsError(unsigned code);

}  // namespace sysmira
