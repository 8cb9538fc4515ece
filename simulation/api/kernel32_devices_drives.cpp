// What a drive answers: what it is, how large it is, where its partitions lie.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "simulation/api/ControlCodes.h"

namespace simulation {

namespace {

constexpr unsigned Sizes =
    Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero | Distortion::OddSize;

DWORD deviceNumber(ControlRequest& request) {
    if (request.file.volume != nullptr) {
        const Volume& volume = *request.file.volume;
        return volume.number ? request.give(*volume.number) : volume.numberError;
    }
    const Disk& disk = *request.file.disk;
    return disk.number ? request.give(*disk.number) : ERROR_INVALID_FUNCTION;
}

DISK_GEOMETRY geometryOf(const Disk& disk, MEDIA_TYPE mediaType) {
    DISK_GEOMETRY geometry = {};
    geometry.MediaType = mediaType;
    geometry.TracksPerCylinder = 255;
    geometry.SectorsPerTrack = 63;
    geometry.BytesPerSector = disk.sectorSize;
    const ULONGLONG cylinder = 255ull * 63 * disk.sectorSize;
    geometry.Cylinders.QuadPart = cylinder == 0 ? 0 : static_cast<LONGLONG>(disk.size / cylinder);
    return geometry;
}

DWORD mediaTypes(ControlRequest& request) {
    const Disk* const disk = diskOf(request.file);
    const Volume* const volume = request.file.volume;
    // A floppy's volume is the drive itself, which has no number to be found by.
    const bool isFloppy = volume != nullptr && !volume->floppyFormats.empty();
    if (!isFloppy && (disk == nullptr || disk->floppyFormats.empty())) return ERROR_INVALID_FUNCTION;
    std::vector<DISK_GEOMETRY> geometries;
    for (const MEDIA_TYPE format : isFloppy ? volume->floppyFormats : disk->floppyFormats)
        geometries.push_back(geometryOf(disk != nullptr ? *disk : Disk(), format));
    return request.giveBytes(geometries.data(), geometries.size() * sizeof geometries[0]);
}

DWORD geometry(ControlRequest& request) {
    const Disk* const disk = diskOf(request.file);
    if (disk == nullptr) return ERROR_INVALID_FUNCTION;
    if (disk->geometryError != 0) return disk->geometryError;
    if (!disk->mediaPresent) return ERROR_NOT_READY;
    return request.give(geometryOf(*disk, disk->mediaType));
}

DWORD length(ControlRequest& request) {
    GET_LENGTH_INFORMATION answer = {};
    if (request.file.volume != nullptr) {
        for (const DISK_EXTENT& extent : request.file.volume->extents)
            answer.Length.QuadPart += extent.ExtentLength.QuadPart;
        return request.give(answer);
    }
    const Disk& disk = *request.file.disk;
    if (disk.lengthError != 0) return disk.lengthError;
    if (!disk.mediaPresent) return ERROR_NOT_READY;
    answer.Length.QuadPart = static_cast<LONGLONG>(disk.size);
    return request.give(answer);
}

std::vector<unsigned char> descriptorOf(const Disk& disk) {
    if (disk.descriptor) return *disk.descriptor;
    STORAGE_DEVICE_DESCRIPTOR head = {};
    std::vector<unsigned char> bytes(sizeof head);
    const auto place = [&](const std::string& text) -> DWORD {
        if (text.empty()) return 0;
        const auto offset = static_cast<DWORD>(bytes.size());
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
        return offset;
    };
    head.Version = sizeof head;
    head.DeviceType = disk.scsiType;
    head.RemovableMedia = disk.removable;
    head.BusType = disk.bus;
    head.VendorIdOffset = place(disk.vendor);
    head.ProductIdOffset = place(disk.product);
    head.ProductRevisionOffset = place(disk.revision);
    head.SerialNumberOffset = place(disk.serial);
    head.Size = static_cast<DWORD>(bytes.size());
    std::memcpy(bytes.data(), &head, sizeof head);
    return bytes;
}

// The one request that succeeds with what fits: the caller learns the whole size from the head.
DWORD queryProperty(ControlRequest& request) {
    const Disk* const disk = diskOf(request.file);
    if (disk == nullptr) return ERROR_INVALID_FUNCTION;
    if (request.in == nullptr || request.inSize < sizeof(STORAGE_PROPERTY_QUERY))
        return ERROR_INVALID_PARAMETER;
    STORAGE_PROPERTY_QUERY query;
    std::memcpy(&query, request.in, sizeof query);
    if (query.PropertyId != StorageDeviceProperty || query.QueryType != PropertyStandardQuery)
        return ERROR_NOT_SUPPORTED;
    if (disk->descriptorError != 0) return disk->descriptorError;
    std::vector<unsigned char> bytes = descriptorOf(*disk);
    if (request.outSize < sizeof(STORAGE_DESCRIPTOR_HEADER)) return ERROR_INSUFFICIENT_BUFFER;
    if (request.call.distorted(Distortion::CountTooLarge) && bytes.size() >= 8) {
        const DWORD absurd = 0x7FFFFFFF;
        std::memcpy(bytes.data() + offsetof(STORAGE_DEVICE_DESCRIPTOR, Size), &absurd, sizeof absurd);
    }
    return request.giveBytes(bytes.data(), std::min<size_t>(bytes.size(), request.outSize));
}

DWORD attributes(ControlRequest& request) {
    const Disk* const disk = diskOf(request.file);
    if (disk == nullptr) return ERROR_INVALID_FUNCTION;
    if (disk->attributesError != 0) return disk->attributesError;
    GET_DISK_ATTRIBUTES answer = {};
    answer.Version = sizeof answer;
    answer.Attributes = disk->attributes;
    return request.give(answer);
}

DWORD scsiAddress(ControlRequest& request) {
    const Disk* const disk = diskOf(request.file);
    if (disk == nullptr || !disk->scsi) return ERROR_INVALID_FUNCTION;
    return request.give(*disk->scsi);
}

DWORD updateProperties(ControlRequest& request) {
    return request.file.disk != nullptr ? ERROR_SUCCESS : ERROR_INVALID_FUNCTION;
}

PARTITION_INFORMATION_EX toEntry(const Partition& partition) {
    PARTITION_INFORMATION_EX entry = {};
    entry.PartitionStyle = partition.gpt ? PARTITION_STYLE_GPT : PARTITION_STYLE_MBR;
    entry.StartingOffset.QuadPart = static_cast<LONGLONG>(partition.offset);
    entry.PartitionLength.QuadPart = static_cast<LONGLONG>(partition.length);
    entry.PartitionNumber = partition.number;
    if (partition.gpt) {
        entry.Gpt.PartitionType = partition.gptType;
        entry.Gpt.PartitionId = partition.gptId;
        entry.Gpt.Attributes = partition.gptAttributes;
        const size_t units = std::min(partition.gptName.size(), std::size(entry.Gpt.Name) - 1);
        std::memcpy(entry.Gpt.Name, partition.gptName.data(), units * sizeof(WCHAR));
    } else {
        entry.Mbr.PartitionType = partition.mbrType;
        entry.Mbr.RecognizedPartition = partition.mbrType != 0;
    }
    return entry;
}

DWORD partitionInformation(ControlRequest& request) {
    const Volume* const volume = request.file.volume;
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    return volume->partition ? request.give(toEntry(*volume->partition)) : ERROR_INVALID_FUNCTION;
}

DWORD driveLayout(ControlRequest& request) {
    const Disk* const disk = request.file.disk;
    if (disk == nullptr) return ERROR_INVALID_FUNCTION;
    if (!disk->mediaPresent) return ERROR_NOT_READY;
    if (disk->partitions.empty()) return ERROR_INVALID_FUNCTION;
    constexpr size_t Head = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
    DRIVE_LAYOUT_INFORMATION_EX layout = {};
    layout.PartitionStyle = disk->partitions[0].gpt ? PARTITION_STYLE_GPT : PARTITION_STYLE_MBR;
    layout.PartitionCount = static_cast<DWORD>(disk->partitions.size());
    std::vector<unsigned char> bytes(Head + disk->partitions.size() * sizeof(PARTITION_INFORMATION_EX));
    std::memcpy(bytes.data(), &layout, Head);
    for (size_t i = 0; i < disk->partitions.size(); ++i) {
        const PARTITION_INFORMATION_EX entry = toEntry(disk->partitions[i]);
        std::memcpy(bytes.data() + Head + i * sizeof entry, &entry, sizeof entry);
    }
    return request.giveBytes(bytes.data(), bytes.size());
}

}  // namespace

std::vector<ControlCode> driveControlCodes() {
    return {
        {IOCTL_STORAGE_GET_DEVICE_NUMBER,
         {"IOCTL_STORAGE_GET_DEVICE_NUMBER",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_NOT_READY, ERROR_DEV_NOT_EXIST},
          Sizes},
         deviceNumber},
        {IOCTL_DISK_GET_MEDIA_TYPES,
         {"IOCTL_DISK_GET_MEDIA_TYPES", Fails::WithZero, {ERROR_INVALID_FUNCTION, ERROR_NOT_READY}, Sizes},
         mediaTypes},
        {IOCTL_DISK_GET_DRIVE_GEOMETRY,
         {"IOCTL_DISK_GET_DRIVE_GEOMETRY",
          Fails::WithZero,
          {ERROR_NOT_READY, ERROR_INVALID_FUNCTION, ERROR_IO_DEVICE},
          Sizes},
         geometry},
        {IOCTL_DISK_GET_LENGTH_INFO,
         {"IOCTL_DISK_GET_LENGTH_INFO",
          Fails::WithZero,
          {ERROR_NOT_READY, ERROR_INVALID_FUNCTION, ERROR_ACCESS_DENIED},
          Sizes},
         length},
        {IOCTL_STORAGE_QUERY_PROPERTY,
         {"IOCTL_STORAGE_QUERY_PROPERTY",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_IO_DEVICE, ERROR_NOT_SUPPORTED},
          Sizes | Distortion::CountTooLarge},
         queryProperty},
        {IOCTL_DISK_GET_DISK_ATTRIBUTES,
         {"IOCTL_DISK_GET_DISK_ATTRIBUTES",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_NOT_SUPPORTED},
          Sizes},
         attributes},
        {IOCTL_SCSI_GET_ADDRESS,
         {"IOCTL_SCSI_GET_ADDRESS", Fails::WithZero, {ERROR_INVALID_FUNCTION, ERROR_IO_DEVICE}, Sizes},
         scsiAddress},
        {IOCTL_DISK_UPDATE_PROPERTIES,
         {"IOCTL_DISK_UPDATE_PROPERTIES", Fails::WithZero, {ERROR_ACCESS_DENIED, ERROR_IO_DEVICE}},
         updateProperties},
        {IOCTL_DISK_GET_PARTITION_INFO_EX,
         {"IOCTL_DISK_GET_PARTITION_INFO_EX",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_NOT_READY},
          Sizes},
         partitionInformation},
        {IOCTL_DISK_GET_DRIVE_LAYOUT_EX,
         {"IOCTL_DISK_GET_DRIVE_LAYOUT_EX",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_NOT_READY, ERROR_IO_DEVICE},
          Sizes},
         driveLayout},
    };
}

}  // namespace simulation
