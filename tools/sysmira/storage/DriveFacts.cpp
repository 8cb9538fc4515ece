#include "tools/sysmira/storage/DriveFacts.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/storage/StorageNames.h"
#include "tools/sysmira/storage/VolumeFacts.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Sizes.h"
#include "tools/sysmira/text/Told.h"

namespace sysmira {

using libSysmira::ScsiAddress;
using libSysmira::StorageDeviceNumber;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;
using libSysmira::WindowsDrive;
using nlohmann::ordered_json;

namespace {

std::optional<StorageDeviceNumber> readNumber(const WindowsDrive& drive) {
    STORAGE_DEVICE_NUMBER answer = {};
    DWORD returned = 0;
    if (!drive.getHandle().isValid() ||
        !DeviceIoControl(drive.getHandle().get(), IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &answer,
                         sizeof answer, &returned, nullptr) ||
        returned < sizeof answer) {
        return std::nullopt;
    }
    StorageDeviceNumber number;
    number.deviceType = answer.DeviceType;
    number.deviceNumber = answer.DeviceNumber;
    number.partitionNumber = answer.PartitionNumber;
    return number;
}

// Disks come first, by number; what has none keeps its order behind them.
unsigned long long rankOf(const KnownDrive& drive) {
    return isNumberedDisk(drive) ? drive.number->deviceNumber
                                 : std::numeric_limits<unsigned long long>::max();
}

bool isCalled(const KnownDrive& drive, std::string name) {
    if (name.empty()) return false;  // a drive without a path has an empty one
    const zor::String text = zor::String::fromUTF8(name);
    if (name == std::to_string(drive.index) || drive.device.getDeviceInstanceId().compareNoCase(text) == 0 ||
        drive.device.getOsLocator().compareNoCase(text) == 0) {
        return true;
    }
    if (name.compare(0, 4, "\\\\.\\") == 0) name.erase(0, 4);
    const std::string known = windowsNameOf(drive);
    return !known.empty() && zor::String::fromUTF8(known).compareNoCase(zor::String::fromUTF8(name)) == 0;
}

std::string mediaName(WindowsDrive::MediaType media) {
    switch (media) {
        case WindowsDrive::FixedMediaType:
            return "fixed";
        case WindowsDrive::RemovableMediaType:
            return "removable";
        default:
            return "unknown";
    }
}

// Of a drive without a descriptor the library cannot be asked.
struct Attributes {
    zor::TriBool readOnly, offline;
};
Attributes readAttributes(WindowsDrive& drive) {
    if (!drive.storageDescriptorInitialized()) return {};
    return {drive.isReadOnly(), drive.isOffline()};
}

std::string answer(zor::TriBool value) {
    return value.isUnknown() ? "unknown" : value.isTrue() ? "yes" : "no";
}

std::vector<std::string> rolesOf(const WindowsDrive& drive) {
    std::vector<std::string> roles;
    if (drive.isSystemDrive()) roles.push_back("system");
    if (drive.isApplicationDrive()) roles.push_back("application");
    if (drive.hasReadOnlyVolume()) roles.push_back("holds a read-only volume");
    return roles;
}

std::string trimmed(zor::String text) { return printable(text.trim()); }

ordered_json toldText(zor::String text) { return told(toUtf8(text.trim())); }

// Descriptors hold vendor and product apart and pad them with blanks.
std::string describedModel(const WindowsDrive& drive) {
    zor::String vendorText = drive.vendorId(), productText = drive.productId();
    const std::string vendor = toUtf8(vendorText.trim()), product = toUtf8(productText.trim());
    return vendor + (vendor.empty() || product.empty() ? "" : " ") + product;
}

std::string modelOf(const KnownDrive& drive) {
    if (const std::string model = describedModel(drive.drive); !model.empty()) return printable(model);
    zor::String name;
    drive.device.getDisplayName(name, zor::String("(no name)"));
    return printable(name);
}

}  // namespace

std::vector<KnownDrive> listDrives() {
    WindowsDeviceSet devices;
    devices.appendAllStorageDevices();
    std::vector<KnownDrive> drives;
    for (const WindowsDevice& device : devices) {
        KnownDrive known;
        known.device = device;
        known.drive = WindowsDrive(device);
        known.number = readNumber(known.drive);
        drives.push_back(std::move(known));
    }
    std::stable_sort(drives.begin(), drives.end(), [](const KnownDrive& one, const KnownDrive& other) {
        return rankOf(one) < rankOf(other);
    });
    // Disks are called by Windows' number for them, the others by the numbers behind.
    std::size_t next = 0;
    for (KnownDrive& drive : drives) {
        const bool isFree = isNumberedDisk(drive) && drive.number->deviceNumber >= next;
        drive.index = isFree ? drive.number->deviceNumber : next;
        next = drive.index + 1;
    }
    return drives;
}

KnownDrive findDrive(const std::string& argument) {
    std::vector<KnownDrive> drives = listDrives();
    std::vector<std::string> names;
    for (KnownDrive& drive : drives) {
        if (isCalled(drive, argument)) return std::move(drive);
        if (const std::string name = windowsNameOf(drive); !name.empty()) names.push_back(name);
        names.push_back(toUtf8(drive.device.getDeviceInstanceId()));
    }
    const std::string guess = nearest(argument, names);
    throw CommandFailure(NotRead, "there is no drive \"" + argument + "\"; " +
                                      (guess.empty() ? "\"sysmira drives\" lists them with their numbers"
                                                     : "did you mean \"" + guess + "\"?"));
}

std::string windowsNameOf(const KnownDrive& drive) {
    if (!drive.number || drive.number->deviceNumber == StorageDeviceNumber::UnknownDevice) return "";
    const std::string number = std::to_string(drive.number->deviceNumber);
    switch (drive.number->deviceType) {
        case FILE_DEVICE_DISK:
            return "PhysicalDrive" + number;
        case FILE_DEVICE_CD_ROM:
        case FILE_DEVICE_DVD:
            return "CdRom" + number;
        case FILE_DEVICE_TAPE:
            return "Tape" + number;
        default:
            return "";
    }
}

std::string titleOf(const KnownDrive& drive) {
    const std::string name = windowsNameOf(drive);
    return "Drive " + std::to_string(drive.index) + ": " + modelOf(drive) +
           (name.empty() ? "" : " (" + name + ")");
}

bool isNumberedDisk(const KnownDrive& drive) {
    return drive.number && drive.number->deviceType == FILE_DEVICE_DISK &&
           drive.number->deviceNumber != StorageDeviceNumber::UnknownDevice;
}

bool isClosed(const KnownDrive& drive) { return !drive.drive.getHandle().isValid(); }

std::vector<Volume> volumesPartlyOn(const KnownDrive& drive) {
    std::vector<Volume> found;
    if (!isNumberedDisk(drive)) return found;
    zor::Array<Volume> all;
    Volume::findAllVolumes(all);
    for (const Volume& volume : all) {
        bool isHere = false, isOwn = false;
        for (const VolumeExtent& extent : volume.getVolumeExtents())
            isHere = isHere || extent.diskNumber == drive.number->deviceNumber;
        for (const Volume& own : drive.drive.volumes())
            isOwn = isOwn || own.getVolumeGUIDPath() == volume.getVolumeGUIDPath();
        if (isHere && !isOwn) found.push_back(volume);
    }
    return found;
}

Fields toFields(KnownDrive& known) {
    WindowsDrive& drive = known.drive;
    Fields fields;
    const bool described = drive.storageDescriptorInitialized();
    fields.add("Vendor", trimmed(drive.vendorId()));
    fields.add("Product", trimmed(drive.productId()));
    fields.add("Revision", trimmed(drive.productRevision()));
    fields.add("Serial number", trimmed(drive.serialNumber()));
    fields.add("Bus", described ? busName(drive.busType()) : "unknown");
    fields.add("Device type", described ? deviceTypeName(drive.type()) : "unknown");
    fields.add("Media", mediaName(drive.getMediaType()));
    const unsigned long long sectors = drive.getSectorCount();
    fields.add("Capacity", drive.getTotalCapacity() == 0 ? "unknown" : fullSize(drive.getTotalCapacity()));
    fields.add("Sectors", sectors == 0
                              ? "unknown"
                              : grouped(sectors) + " of " + grouped(drive.getSectorSize()) + " bytes");
    ScsiAddress address;
    fields.add("SCSI address", !drive.scsiAddress(address)
                                   ? ""
                                   : "port " + std::to_string(address.portNumber) + ", path " +
                                         std::to_string(address.pathId) + ", target " +
                                         std::to_string(address.targetId) + ", LUN " +
                                         std::to_string(address.lun));
    const Attributes attributes = readAttributes(drive);
    fields.add("Read-only", answer(attributes.readOnly));
    fields.add("Offline", answer(attributes.offline));
    std::string roles;
    for (const std::string& role : rolesOf(drive)) roles += (roles.empty() ? "" : ", ") + role;
    fields.add("Roles", roles);
    for (const Volume& volume : volumesPartlyOn(known)) fields.add("Holds a part of", titleOf(volume));
    fields.add("Device ID", printable(known.device.getDeviceInstanceId()));
    fields.add("OS locator", printable(known.device.getOsLocator()));
    return fields;
}

ordered_json toJson(KnownDrive& known) {
    WindowsDrive& drive = known.drive;
    const bool described = drive.storageDescriptorInitialized();
    ordered_json object;
    object["index"] = known.index;
    object["windowsName"] = told(windowsNameOf(known));
    object["opened"] = !isClosed(known);
    object["vendor"] = toldText(drive.vendorId());
    object["product"] = toldText(drive.productId());
    object["model"] = told(describedModel(drive));
    object["revision"] = toldText(drive.productRevision());
    object["serialNumber"] = toldText(drive.serialNumber());
    object["bus"] = nullptr;
    object["deviceType"] = nullptr;
    if (described) {
        object["bus"] = busName(drive.busType());
        object["deviceType"] = deviceTypeName(drive.type());
    }
    object["media"] = mediaName(drive.getMediaType());
    object["capacity"] = told(drive.getTotalCapacity());
    object["sectorSize"] = told(drive.getSectorSize());
    object["sectorCount"] = told(drive.getSectorCount());
    object["scsiAddress"] = nullptr;
    if (ScsiAddress address; drive.scsiAddress(address)) {
        object["scsiAddress"] = {{"port", address.portNumber},
                                 {"path", address.pathId},
                                 {"target", address.targetId},
                                 {"lun", address.lun}};
    }
    const Attributes attributes = readAttributes(drive);
    object["readOnly"] = nullptr;
    if (!attributes.readOnly.isUnknown()) object["readOnly"] = attributes.readOnly.isTrue();
    object["offline"] = nullptr;
    if (!attributes.offline.isUnknown()) object["offline"] = attributes.offline.isTrue();
    object["roles"] = rolesOf(drive);
    object["deviceId"] = toUtf8(known.device.getDeviceInstanceId());
    object["osLocator"] = told(toUtf8(known.device.getOsLocator()));
    object["volumes"] = ordered_json::array();
    for (const Volume& volume : drive.volumes()) object["volumes"].push_back(toJson(readVolume(volume)));
    object["partsOf"] = ordered_json::array();
    for (const Volume& volume : volumesPartlyOn(known)) object["partsOf"].push_back(shortNameOf(volume));
    return object;
}

}  // namespace sysmira
