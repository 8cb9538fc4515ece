#include "tools/sysmira/storage/VolumeFacts.h"

#include <nlohmann/json.hpp>

#include "tools/sysmira/storage/StorageNames.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Sizes.h"
#include "tools/sysmira/text/Told.h"

namespace sysmira {

using libSysmira::StorageDeviceNumber;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using nlohmann::ordered_json;

namespace {

std::optional<char> letterOf(const Volume& volume) {
    char letter = 0;
    if (!volume.getDriveLetter(letter)) return std::nullopt;
    return letter;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
    return all;
}

std::string deviceText(const std::optional<StorageDeviceNumber>& device) {
    if (!device) return "not told by Windows";
    std::string text = deviceKindName(device->deviceType);
    if (device->deviceNumber != StorageDeviceNumber::UnknownDevice)
        text += " " + std::to_string(device->deviceNumber);
    if (device->partitionNumber != 0) text += ", partition " + std::to_string(device->partitionNumber);
    return text;
}

// Extents are shown as Windows gives them, whatever they are.
std::string extentText(const VolumeExtent& extent) {
    std::string text = "disk " + std::to_string(extent.diskNumber) + ": ";
    if (extent.startingOffset < 0 || extent.extentLength <= 0) {
        return text + std::to_string(extent.extentLength) + " bytes from byte " +
               std::to_string(extent.startingOffset) + ", which cannot be";
    }
    return text + fullSize(static_cast<unsigned long long>(extent.extentLength)) + " from byte " +
           grouped(static_cast<unsigned long long>(extent.startingOffset));
}

std::string encryptionText(const EncryptionFacts& encryption) {
    if (encryption.enabled.isTrue()) return "on";
    if (encryption.enabled.isFalse()) return "off";
    return "not known: " + encryption.whyUnknown;
}

}  // namespace

VolumeFacts readVolume(const Volume& volume) {
    VolumeFacts facts;
    facts.letter = letterOf(volume);
    facts.info = volume.info();
    facts.flags = volume.flags();
    facts.driveType = volume.getDriveType();
    facts.guidPath = toUtf8(volume.getVolumeGUIDPath());
    facts.locator = toUtf8(volume.getOSLocator());
    StorageDeviceNumber device;
    if (volume.getSDN(device)) facts.device = device;
    for (const VolumeExtent& extent : volume.getVolumeExtents()) facts.extents.push_back(extent);
    facts.encryption = readEncryption(volume);
    return facts;
}

std::string shortNameOf(const Volume& volume) {
    const auto letter = letterOf(volume);
    return letter ? std::string(1, *letter) + ":" : printable(volume.getOSLocator());
}

std::string titleOf(const Volume& volume) {
    const auto letter = letterOf(volume);
    const std::string label = printable(volume.info().volumeName);
    if (letter) return std::string(1, *letter) + ":" + (label.empty() ? "" : " " + label);
    return (label.empty() ? "(no name)" : label) + " (no letter)";
}

Fields toFields(const VolumeFacts& facts) {
    Fields fields;
    fields.add("Label", printable(facts.info.volumeName));
    fields.add("File system", printable(facts.info.fileSystemName));
    fields.add("Serial number", printable(facts.info.serialNumber));
    if (facts.info.totalBytes != 0) {
        fields.add("Capacity", fullSize(facts.info.totalBytes));
        fields.add("Used", fullSize(facts.info.usedBytes));
        fields.add("Free", fullSize(facts.info.freeBytes));
    } else {
        fields.add("Capacity", "");
    }
    if (facts.info.bytesPerSector != 0) {
        fields.add("Cluster", grouped(facts.info.sectorsPerCluster) + " sectors of " +
                                  grouped(facts.info.bytesPerSector) + " bytes");
    }
    fields.add("Type", driveTypeName(facts.driveType));
    fields.add("Flags", joined(flagNames(facts.flags)));
    fields.add("Encryption", encryptionText(facts.encryption));
    fields.add("Device", deviceText(facts.device));
    if (facts.extents.empty()) fields.add("Lies on", "");
    for (std::size_t i = 0; i < facts.extents.size(); ++i)
        fields.add(i == 0 ? "Lies on" : "", extentText(facts.extents[i]));
    fields.add("Volume name", printable(facts.guidPath));
    fields.add("OS locator", printable(facts.locator));
    return fields;
}

ordered_json toJson(const VolumeFacts& facts) {
    ordered_json object;
    object["letter"] = nullptr;
    if (facts.letter) object["letter"] = std::string(1, *facts.letter);
    // The label of a file system that is there may be empty, and its free space 0.
    const std::string fileSystem = toUtf8(facts.info.fileSystemName), label = toUtf8(facts.info.volumeName);
    object["label"] = fileSystem.empty() ? told(label) : ordered_json(label);
    object["fileSystem"] = told(fileSystem);
    object["serialNumber"] = told(toUtf8(facts.info.serialNumber));
    const bool sized = facts.info.totalBytes != 0;
    object["totalBytes"] = told(facts.info.totalBytes);
    object["usedBytes"] = sized ? ordered_json(facts.info.usedBytes) : nullptr;
    object["freeBytes"] = sized ? ordered_json(facts.info.freeBytes) : nullptr;
    object["bytesPerSector"] = told(facts.info.bytesPerSector);
    object["sectorsPerCluster"] = told(facts.info.sectorsPerCluster);
    object["type"] = driveTypeName(facts.driveType);
    object["flags"] = flagNames(facts.flags);
    object["encrypted"] = nullptr;
    object["whyEncryptionUnknown"] = nullptr;
    if (facts.encryption.enabled.isUnknown()) {
        object["whyEncryptionUnknown"] = facts.encryption.whyUnknown;
    } else {
        object["encrypted"] = facts.encryption.enabled.isTrue();
    }
    object["device"] = nullptr;
    if (facts.device) {
        ordered_json& device = object["device"];
        device["type"] = deviceKindName(facts.device->deviceType);
        device["number"] = nullptr;
        if (facts.device->deviceNumber != StorageDeviceNumber::UnknownDevice)
            device["number"] = facts.device->deviceNumber;
        device["partition"] = facts.device->partitionNumber;
    }
    object["extents"] = ordered_json::array();
    for (const VolumeExtent& extent : facts.extents) {
        object["extents"].push_back({{"disk", extent.diskNumber},
                                     {"offset", extent.startingOffset},
                                     {"length", extent.extentLength}});
    }
    object["volumeName"] = told(facts.guidPath);
    object["osLocator"] = told(facts.locator);
    return object;
}

}  // namespace sysmira
