#include "tools/sysmira/storage/StorageNames.h"

#include <iterator>

#include "libSysmira/enumeration/Volume.h"
#include "support/System.h"
#include "support/WindowsApi.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

template <std::size_t Count>
std::string nameOf(const char* const (&names)[Count], unsigned number, const char* kind) {
    return number < Count && *names[number] != 0 ? names[number] : kind + (" " + std::to_string(number));
}

}  // namespace

std::string busName(unsigned busType) {
    static constexpr const char* names[] = {
        "unknown", "SCSI",  "ATAPI", "ATA",  "1394", "SSA", "Fibre Channel", "USB",
        "RAID",    "iSCSI", "SAS",   "SATA", "SD",   "MMC", "virtual",       "file-backed virtual",
        "Spaces",  "NVMe",  "SCM",   "UFS"};
    return nameOf(names, busType, "bus");
}

std::string deviceTypeName(unsigned deviceType) {
    static constexpr const char* names[] = {"disk",
                                            "tape drive",
                                            "printer",
                                            "processor",
                                            "write-once drive",
                                            "optical drive",
                                            "scanner",
                                            "optical memory",
                                            "media changer",
                                            "communications device",
                                            "",
                                            "",
                                            "array controller",
                                            "enclosure",
                                            "reduced block device",
                                            "optical card reader"};
    return nameOf(names, deviceType, "device type");
}

std::string deviceKindName(unsigned fileDevice) {
    switch (fileDevice) {
        case FILE_DEVICE_CD_ROM:
            return "CD-ROM";
        case FILE_DEVICE_DISK:
            return "disk";
        case FILE_DEVICE_TAPE:
            return "tape";
        case FILE_DEVICE_DVD:
            return "DVD";
        default:
            return "device type " + std::to_string(fileDevice);
    }
}

std::string driveTypeName(unsigned driveType) {
    static constexpr const char* names[] = {"unknown", "no root", "removable", "fixed",
                                            "network", "CD-ROM",  "RAM disk"};
    return nameOf(names, driveType, "drive type");
}

std::vector<std::string> flagNames(unsigned volumeFlags) {
    using libSysmira::Volume;
    static constexpr struct {
        unsigned bit;
        const char* name;
    } flags[] = {{Volume::System, "system"},           {Volume::Application, "application"},
                 {Volume::ReadOnly, "read-only"},      {Volume::Hidden, "hidden"},
                 {Volume::RecoveryVolume, "recovery"}, {Volume::DaxVolume, "direct access"}};
    std::vector<std::string> names;
    for (const auto& flag : flags) {
        if ((volumeFlags & flag.bit) != 0) names.push_back(flag.name);
    }
    return names;
}

std::string windowsError(unsigned code) {
    const std::string message = printable(zor::System::getSystemErrorMsg(code).trim());
    const std::string number = "Windows' error " + std::to_string(code);
    return message.empty() ? number : number + ": " + message;
}

}  // namespace sysmira
