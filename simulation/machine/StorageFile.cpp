#include "simulation/machine/StorageFile.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

namespace simulation {

namespace {

constexpr ULONGLONG MostBytes = 0x7FFFFFFFFFFFFFFF;

template <class Value>
struct Named {
    const char* name;
    Value value;
};

constexpr Named<DEVICE_TYPE> Kinds[] = {{"disk", FILE_DEVICE_DISK},
                                        {"cdrom", FILE_DEVICE_CD_ROM},
                                        {"dvd", FILE_DEVICE_DVD},
                                        {"tape", FILE_DEVICE_TAPE}};
constexpr Named<BYTE> ScsiTypes[] = {{"disk", 0}, {"tape", 1}, {"optical", 5}, {"reduced", 14}};
constexpr Named<STORAGE_BUS_TYPE> Buses[] = {
    {"SCSI", BusTypeScsi},       {"ATAPI", BusTypeAtapi},
    {"ATA", BusTypeAta},         {"USB", BusTypeUsb},
    {"RAID", BusTypeRAID},       {"SAS", BusTypeSas},
    {"SATA", BusTypeSata},       {"SD", BusTypeSd},
    {"virtual", BusTypeVirtual}, {"NVMe", static_cast<STORAGE_BUS_TYPE>(17)},
    {"unknown", BusTypeUnknown}};
constexpr Named<UINT> DriveTypes[] = {{"fixed", DRIVE_FIXED},
                                      {"removable", DRIVE_REMOVABLE},
                                      {"cdrom", DRIVE_CDROM},
                                      {"ramdisk", DRIVE_RAMDISK},
                                      {"unknown", DRIVE_UNKNOWN}};
constexpr Named<MEDIA_TYPE> Media[] = {
    {"fixed", FixedMedia}, {"removable", RemovableMedia}, {"unknown", Unknown}};
constexpr Named<GUID> GptTypes[] = {
    {"efi", {0xC12A7328, 0xF81F, 0x11D2, {0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B}}},
    {"reserved", {0xE3C9E316, 0x0B5C, 0x4DB8, {0x81, 0x7D, 0xF9, 0x2D, 0xF0, 0x02, 0x15, 0xAE}}},
    {"data", {0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}}},
    {"recovery", {0xDE94BBA4, 0x06D1, 0x4D40, {0xA1, 0x6A, 0xBF, 0xD5, 0x01, 0x79, 0xD6, 0xAC}}},
    {"dynamic", {0xAF9B60A0, 0x1431, 0x4F62, {0xBC, 0x68, 0x33, 0x11, 0x71, 0x4A, 0x69, 0xAD}}}};

// One of the names, which a mistake is told with.
template <class Value, size_t Count>
Value readNamed(const JsonPlace& place, const Named<Value> (&all)[Count]) {
    std::string expected = "one of ";
    for (const Named<Value>& each : all)
        expected += (&each == all ? "\"" : ", \"") + std::string(each.name) + "\"";
    const std::string name = place.utf8(expected);
    for (const Named<Value>& each : all) {
        if (name == each.name) return each.value;
    }
    place.fail(expected);
}

// Reads a member into a field when it is there.
template <class Field>
void readNumber(const JsonPlace& place, const char* name, Field& field, ULONGLONG greatest,
                const char* what) {
    if (const auto member = place.member(name)) field = static_cast<Field>(member->number(0, greatest, what));
}
void readError(const JsonPlace& place, const char* name, DWORD& field) {
    readNumber(place, name, field, 0xFFFFFFFF, "an error number of Windows");
}
void readTruth(const JsonPlace& place, const char* name, bool& field) {
    if (const auto member = place.member(name)) field = member->truth();
}
void readText(const JsonPlace& place, const char* name, Text& field) {
    if (const auto member = place.member(name)) field = member->text();
}
void readBytes(const JsonPlace& place, const char* name, std::string& field) {
    if (const auto member = place.member(name)) field = member->utf8();
}

void readSectorSize(const JsonPlace& place, const char* name, DWORD& size) {
    constexpr const char* expected = "a power of two from 128 to 65536";
    const auto member = place.member(name);
    if (!member) return;
    size = static_cast<DWORD>(member->number(128, 65536, expected));
    if ((size & (size - 1)) != 0) member->fail(expected);
}

// A disk without a size is one that does not tell it, or has no medium.
void checkPlace(const JsonPlace& place, const Partition& partition, const Disk& disk) {
    const ULONGLONG end = partition.offset + partition.length;
    if (disk.size != 0 && end > disk.size) place.complain("the partition ends beyond the disk");
    for (const Partition& other : disk.partitions) {
        if (partition.offset < other.offset + other.length && other.offset < end)
            place.complain("the partition overlaps another one");
    }
}

Partition readPartition(const JsonPlace& place) {
    place.allowOnly({"number", "offset", "length", "type", "attributes", "name"});
    Partition partition;
    partition.number = static_cast<DWORD>(
        place.required("number", "the number of the partition").number(1, 1024, "the number of a partition"));
    partition.offset =
        place.required("offset", "where the partition begins").number(0, MostBytes, "a number of bytes");
    partition.length =
        place.required("length", "how long the partition is").number(0, MostBytes, "a number of bytes");
    if (const auto type = place.member("type")) {
        if (!type->isString()) {
            partition.gpt = false;
            partition.mbrType = static_cast<BYTE>(
                type->number(0, 0xFF, "the name of a GPT type, its GUID, or the number of an MBR type"));
        } else if (!parseGuid(type->utf8(), partition.gptType)) {
            partition.gptType = readNamed(*type, GptTypes);
        }
    }
    if (const auto attributes = place.member("attributes")) {
        attributes->forEachElement("a list of \"readOnly\" and \"hidden\"", [&](const JsonPlace& each) {
            static constexpr Named<ULONGLONG> names[] = {
                {"readOnly", GPT_BASIC_DATA_ATTRIBUTE_READ_ONLY},
                {"hidden", GPT_BASIC_DATA_ATTRIBUTE_HIDDEN},
                {"noLetter", GPT_BASIC_DATA_ATTRIBUTE_NO_DRIVE_LETTER}};
            partition.gptAttributes |= readNamed(each, names);
        });
    }
    readText(place, "name", partition.gptName);
    return partition;
}

void readDescriptor(const JsonPlace& place, Disk& disk) {
    if (const auto type = place.member("type")) disk.scsiType = readNamed(*type, ScsiTypes);
    if (const auto bus = place.member("bus")) disk.bus = readNamed(*bus, Buses);
    readTruth(place, "removable", disk.removable);
    readBytes(place, "vendor", disk.vendor);
    readBytes(place, "product", disk.product);
    readBytes(place, "revision", disk.revision);
    readBytes(place, "serial", disk.serial);
    if (const auto bytes = place.member("descriptor")) disk.descriptor = bytes->hex();
    readError(place, "descriptorError", disk.descriptorError);
}

STORAGE_DEVICE_NUMBER readDeviceNumber(const JsonPlace& place) {
    place.allowOnly({"kind", "number", "partition"});
    STORAGE_DEVICE_NUMBER number = {FILE_DEVICE_DISK, 0, 0};
    if (const auto kind = place.member("kind")) number.DeviceType = readNamed(*kind, Kinds);
    number.DeviceNumber = static_cast<DWORD>(
        place.required("number", "the number of the device").number(0, 0xFFFFFFFF, "the number of a device"));
    readNumber(place, "partition", number.PartitionNumber, 0xFFFFFFFF, "the number of a partition");
    return number;
}

void readScsiAddress(const JsonPlace& place, Disk& disk) {
    place.allowOnly({"port", "path", "target", "lun"});
    SCSI_ADDRESS address = {};
    address.Length = sizeof address;
    readNumber(place, "port", address.PortNumber, 0xFF, "a number from 0 to 255");
    readNumber(place, "path", address.PathId, 0xFF, "a number from 0 to 255");
    readNumber(place, "target", address.TargetId, 0xFF, "a number from 0 to 255");
    readNumber(place, "lun", address.Lun, 0xFF, "a number from 0 to 255");
    disk.scsi = address;
}

// The device's interfaces of that kind: those of volumes, or all others.
void addInterfaces(const JsonPlace& place, Machine& machine, bool ofVolumes, std::vector<Text>& paths) {
    const DeviceNode* const node = machine.node(place.text("the instance ID of a device"));
    if (node == nullptr) place.fail("the instance ID of a device of \"devices\"");
    bool found = false;
    for (const DeviceInterface& each : node->interfaces) {
        const bool isVolume = sameGuid(each.interfaceClass, GUID_DEVINTERFACE_VOLUME) ||
                              sameGuid(each.interfaceClass, GUID_DEVINTERFACE_HIDDEN_VOLUME);
        if (isVolume != ofVolumes) continue;
        paths.push_back(each.path);
        found = true;
    }
    if (!found)
        place.fail(ofVolumes ? "a device with the interface of a volume" : "a device with an interface");
}

// What Windows calls a drive besides: "\\.\PhysicalDrive0".
void addName(Disk& disk) {
    if (!disk.number) return;
    const Text number = fromUtf8(std::to_string(disk.number->DeviceNumber));
    switch (disk.number->DeviceType) {
        case FILE_DEVICE_DISK:
            disk.paths.push_back(u"\\\\.\\PhysicalDrive" + number);
            break;
        case FILE_DEVICE_TAPE:
            disk.paths.push_back(u"\\\\.\\Tape" + number);
            break;
        default:
            disk.paths.push_back(u"\\\\.\\CdRom" + number);
    }
}

void readFloppyFormats(const JsonPlace& place, std::vector<MEDIA_TYPE>& formats) {
    const auto member = place.member("floppyFormats");
    if (!member) return;
    member->forEachElement("a list of media types", [&](const JsonPlace& each) {
        formats.push_back(static_cast<MEDIA_TYPE>(each.number(0, 25, "a media type, 0 to 25")));
    });
}

Disk readDisk(const JsonPlace& place, Machine& machine) {
    place.allowOnly(
        {"device",          "paths",   "openError",  "number",          "type",         "bus",
         "removable",       "vendor",  "product",    "revision",        "serial",       "descriptor",
         "descriptorError", "size",    "sectorSize", "media",           "mediaPresent", "lengthError",
         "geometryError",   "offline", "readOnly",   "attributesError", "scsi",         "floppyFormats",
         "partitions"});
    Disk disk;
    if (const auto device = place.member("device"))
        addInterfaces(*device, machine, /*ofVolumes=*/false, disk.paths);
    if (const auto paths = place.member("paths")) {
        for (const Text& path : paths->texts()) disk.paths.push_back(path);
    }
    readError(place, "openError", disk.openError);
    if (const auto number = place.member("number")) disk.number = readDeviceNumber(*number);
    addName(disk);
    if (disk.paths.empty()) place.fail("a drive with a \"device\", a \"number\" or \"paths\" that open it");
    readDescriptor(place, disk);
    readNumber(place, "size", disk.size, MostBytes, "a number of bytes");
    readSectorSize(place, "sectorSize", disk.sectorSize);
    if (const auto media = place.member("media")) disk.mediaType = readNamed(*media, Media);
    readTruth(place, "mediaPresent", disk.mediaPresent);
    readError(place, "lengthError", disk.lengthError);
    readError(place, "geometryError", disk.geometryError);
    const auto addAttribute = [&](const char* name, ULONGLONG bit) {
        bool isSet = false;
        readTruth(place, name, isSet);
        if (isSet) disk.attributes |= bit;
    };
    addAttribute("offline", DISK_ATTRIBUTE_OFFLINE);
    addAttribute("readOnly", DISK_ATTRIBUTE_READ_ONLY);
    readError(place, "attributesError", disk.attributesError);
    if (const auto address = place.member("scsi")) readScsiAddress(*address, disk);
    readFloppyFormats(place, disk.floppyFormats);
    if (const auto partitions = place.member("partitions")) {
        partitions->forEachElement("a list of partitions", [&](const JsonPlace& each) {
            const Partition partition = readPartition(each);
            checkPlace(each, partition, disk);
            disk.partitions.push_back(partition);
        });
    }
    return disk;
}

// "1A2B-3C4D", as Windows shows it.
DWORD readSerial(const JsonPlace& place) {
    constexpr const char* Expected = "a serial number such as \"1A2B-3C4D\"";
    const std::string text = place.utf8(Expected);
    const auto isHex = [](char digit) {
        return (digit >= '0' && digit <= '9') || (digit >= 'A' && digit <= 'F') ||
               (digit >= 'a' && digit <= 'f');
    };
    if (text.size() != 9 || text[4] != '-' || !std::all_of(text.begin(), text.begin() + 4, isHex) ||
        !std::all_of(text.begin() + 5, text.end(), isHex)) {
        place.fail(Expected);
    }
    return static_cast<DWORD>(std::stoul(text.substr(0, 4) + text.substr(5), nullptr, 16));
}

DISK_EXTENT readExtent(const JsonPlace& place) {
    place.allowOnly({"disk", "offset", "length"});
    DISK_EXTENT extent = {};
    readNumber(place, "disk", extent.DiskNumber, 0xFFFFFFFF, "the number of a disk");
    readNumber(place, "offset", extent.StartingOffset.QuadPart, MostBytes, "a number of bytes");
    readNumber(place, "length", extent.ExtentLength.QuadPart, MostBytes, "a number of bytes");
    return extent;
}

// A volume that is a partition: number, extent and partition come from the disk.
void readPlace(const JsonPlace& place, Volume& volume, Storage& storage) {
    place.allowOnly({"disk", "partition"});
    const JsonPlace diskPlace = place.required("disk", "the number of the disk");
    const ULONGLONG number = diskPlace.number(0, 0xFFFFFFFF, "the number of a disk");
    const JsonPlace partitionPlace = place.required("partition", "the number of the partition");
    const ULONGLONG partitionNumber = partitionPlace.number(1, 1024, "the number of a partition");
    for (const Disk& disk : storage.disks()) {
        if (!disk.number || disk.number->DeviceType != FILE_DEVICE_DISK ||
            disk.number->DeviceNumber != number)
            continue;
        for (const Partition& partition : disk.partitions) {
            if (partition.number != partitionNumber) continue;
            volume.number = {FILE_DEVICE_DISK, static_cast<DWORD>(number), partition.number};
            volume.partition = partition;
            DISK_EXTENT extent = {};
            extent.DiskNumber = static_cast<DWORD>(number);
            extent.StartingOffset.QuadPart = static_cast<LONGLONG>(partition.offset);
            extent.ExtentLength.QuadPart = static_cast<LONGLONG>(partition.length);
            volume.extents = {extent};
            return;
        }
        partitionPlace.fail("a partition of that disk");
    }
    diskPlace.fail("a disk of \"disks\"");
}

// What is in use follows from what is free: exactly where volumes are small, as a pattern where they are
// large.
void useWhatIsNotFree(Volume& volume, ULONGLONG clusterBytes) {
    constexpr ULONGLONG small = 1ull << 21;
    if (volume.totalBytes == 0 || clusterBytes == 0) return;
    const ULONGLONG used = volume.totalBytes - volume.freeBytes;
    if (volume.clusters <= small) {
        volume.used.push_back({0, (used + clusterBytes - 1) / clusterBytes});
    } else {
        volume.usedPercent = static_cast<unsigned>(
            std::lround(100 * static_cast<double>(used) / static_cast<double>(volume.totalBytes)));
    }
}

void readUse(const JsonPlace& place, Volume& volume) {
    const ULONGLONG clusterBytes = ULONGLONG{volume.sectorsPerCluster} * volume.bytesPerSector;
    volume.clusters = clusterBytes == 0 ? 0 : volume.totalBytes / clusterBytes;
    readNumber(place, "clusters", volume.clusters, 1ull << 40, "a number of clusters");
    if (!place.member("used") && !place.member("usedPercent")) useWhatIsNotFree(volume, clusterBytes);
    readNumber(place, "usedPercent", volume.usedPercent, 100, "a number from 0 to 100");
    if (const auto used = place.member("used")) {
        used->forEachElement("a list of runs such as [0, 16]", [&](const JsonPlace& run) {
            std::vector<ULONGLONG> numbers;
            run.forEachElement("a run such as [0, 16]", [&](const JsonPlace& each) {
                numbers.push_back(each.number(0, 1ull << 40, "a number of clusters"));
            });
            if (numbers.size() != 2) run.fail("the first cluster of a run and how many there are");
            volume.used.push_back({numbers[0], numbers[1]});
        });
    }
    readError(place, "bitmapError", volume.bitmapError);
    readTruth(place, "bitmapNeedsDataAccess", volume.bitmapNeedsDataAccess);
}

void readMountPoints(const JsonPlace& place, Volume& volume) {
    place.forEachElement("a list of paths such as \"C:\\\"", [&](const JsonPlace& each) {
        const Text path = each.text();
        if (path.empty() || path.back() != u'\\')
            each.fail("a path such as \"C:\\\", with the backslash at its end");
        volume.mountPoints.push_back(path);
    });
}

// What the volume holds, and what stands before its first cluster, lies within its extents.
void checkRoom(const JsonPlace& place, Volume& volume) {
    readNumber(place, "fileAreaOffset", volume.fileAreaOffset, 1ull << 32, "a number of sectors");
    if (volume.extents.empty() || volume.totalBytes == 0) return;
    ULONGLONG room = 0;
    for (const DISK_EXTENT& extent : volume.extents)
        room = std::min(room + static_cast<ULONGLONG>(extent.ExtentLength.QuadPart), MostBytes);
    const ULONGLONG before = volume.fileAreaOffset * volume.bytesPerSector;
    if (room < before || room - before < volume.totalBytes)
        place.complain("the volume is larger than the room where it lies");
}

Volume readVolume(const JsonPlace& place, Machine& machine) {
    place.allowOnly({"device",
                     "name",
                     "paths",
                     "mountPoints",
                     "openError",
                     "ready",
                     "label",
                     "serial",
                     "fileSystem",
                     "readOnly",
                     "directAccess",
                     "type",
                     "total",
                     "free",
                     "sectorsPerCluster",
                     "bytesPerSector",
                     "on",
                     "number",
                     "numberError",
                     "extents",
                     "extentsAnswer",
                     "clusters",
                     "usedPercent",
                     "used",
                     "bitmapError",
                     "lockedByOthers",
                     "lockRefusals",
                     "dismountError",
                     "unlockError",
                     "floppyFormats",
                     "fileAreaOffset",
                     "bitmapNeedsDataAccess",
                     "answersWhileLocked"});
    Volume volume;
    readText(place, "name", volume.name);
    if (!volume.name.empty() && volume.name.back() != u'\\')
        place.member("name")->fail("a name such as \"\\\\?\\Volume{…}\\\", with the backslash at its end");
    if (const auto device = place.member("device"))
        addInterfaces(*device, machine, /*ofVolumes=*/true, volume.paths);
    if (const auto paths = place.member("paths")) {
        for (const Text& path : paths->texts()) volume.paths.push_back(path);
    }
    if (const auto mountPoints = place.member("mountPoints")) readMountPoints(*mountPoints, volume);
    readError(place, "openError", volume.openError);
    readTruth(place, "ready", volume.ready);
    readText(place, "label", volume.label);
    if (const auto serial = place.member("serial")) volume.serial = readSerial(*serial);
    readText(place, "fileSystem", volume.fileSystem);
    const auto addFeature = [&](const char* name, DWORD bit) {
        bool isSet = false;
        readTruth(place, name, isSet);
        if (isSet) volume.features |= bit;
    };
    addFeature("readOnly", FILE_READ_ONLY_VOLUME);
    addFeature("directAccess", FILE_DAX_VOLUME);
    if (const auto type = place.member("type")) volume.driveType = readNamed(*type, DriveTypes);
    readNumber(place, "total", volume.totalBytes, MostBytes, "a number of bytes");
    readNumber(place, "free", volume.freeBytes, volume.totalBytes, "at most the bytes of \"total\"");
    readNumber(place, "sectorsPerCluster", volume.sectorsPerCluster, 0xFFFFFFFF, "a number of sectors");
    readSectorSize(place, "bytesPerSector", volume.bytesPerSector);
    if (const auto on = place.member("on")) readPlace(*on, volume, machine.storage);
    if (const auto number = place.member("number")) volume.number = readDeviceNumber(*number);
    if (place.member("numberError")) volume.number.reset();
    readError(place, "numberError", volume.numberError);
    if (const auto extents = place.member("extents")) {
        volume.extents.clear();
        extents->forEachElement("a list of extents",
                                [&](const JsonPlace& each) { volume.extents.push_back(readExtent(each)); });
    }
    if (const auto bytes = place.member("extentsAnswer")) volume.extentsAnswer = bytes->hex();
    checkRoom(place, volume);
    readUse(place, volume);
    readFloppyFormats(place, volume.floppyFormats);
    readTruth(place, "lockedByOthers", volume.lockedByOthers);
    readTruth(place, "answersWhileLocked", volume.answersWhileLocked);
    readNumber(place, "lockRefusals", volume.lockRefusals, 0xFFFFFFFF, "a number of tries");
    readError(place, "dismountError", volume.dismountError);
    readError(place, "unlockError", volume.unlockError);
    if (volume.name.empty() && volume.paths.empty() && volume.mountPoints.empty())
        place.fail("a volume with a \"name\", a \"device\", \"mountPoints\" or \"paths\" that open it");
    return volume;
}

// What stands already is a mistake of this place.
template <class Work>
void adding(const JsonPlace& place, Work&& work) {
    try {
        work();
    } catch (const std::invalid_argument& mistake) {
        place.complain(mistake.what());
    }
}

}  // namespace

void readDisks(const JsonPlace& place, Machine& machine) {
    place.forEachElement("a list of disks", [&](const JsonPlace& each) {
        adding(each, [&] { machine.storage.add(readDisk(each, machine)); });
    });
}

void readVolumes(const JsonPlace& place, Machine& machine) {
    place.forEachElement("a list of volumes", [&](const JsonPlace& each) {
        adding(each, [&] { machine.storage.add(readVolume(each, machine)); });
    });
}

std::string readLetters(const JsonPlace& place) {
    std::string letters = place.utf8("letters such as \"NZ\"");
    for (const char letter : letters) {
        if (letter < 'A' || letter > 'Z') place.fail("letters from A to Z such as \"NZ\"");
    }
    return letters;
}

}  // namespace simulation
