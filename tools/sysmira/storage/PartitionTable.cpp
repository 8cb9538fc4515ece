#include "tools/sysmira/storage/PartitionTable.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace sysmira {

namespace {

struct GptType {
    GUID type;
    const char* name;
};
constexpr GptType gptTypes[] = {
    {{0xC12A7328, 0xF81F, 0x11D2, {0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B}}, "EFI system"},
    {{0xE3C9E316, 0x0B5C, 0x4DB8, {0x81, 0x7D, 0xF9, 0x2D, 0xF0, 0x02, 0x15, 0xAE}}, "reserved for Windows"},
    {{0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}}, "data"},
    {{0xDE94BBA4, 0x06D1, 0x4D40, {0xA1, 0x6A, 0xBF, 0xD5, 0x01, 0x79, 0xD6, 0xAC}}, "Windows recovery"},
    {{0x5808C8AA, 0x7E8F, 0x42E0, {0x85, 0xD2, 0xE1, 0xE9, 0x04, 0x34, 0xCF, 0xB3}}, "dynamic disk's table"},
    {{0xAF9B60A0, 0x1431, 0x4F62, {0xBC, 0x68, 0x33, 0x11, 0x71, 0x4A, 0x69, 0xAD}}, "dynamic disk's data"},
    {{0xE75CAF8F, 0xF680, 0x4CEE, {0xAF, 0xA3, 0xB0, 0x01, 0xE5, 0x6E, 0xFC, 0x2D}}, "storage pool"},
};

std::string typeName(const GUID& type) {
    for (const GptType& known : gptTypes) {
        if (std::memcmp(&known.type, &type, sizeof type) == 0) return known.name;
    }
    return "of an unknown type";
}

std::string typeName(unsigned char type) {
    switch (type) {
        case 0x01:
            return "FAT12";
        case 0x04:
        case 0x06:
        case 0x0E:
            return "FAT16";
        case 0x07:
            return "NTFS or exFAT";
        case 0x0B:
        case 0x0C:
            return "FAT32";
        case 0x27:
            return "Windows recovery";
        case 0x42:
            return "dynamic disk";
        case 0xEF:
            return "EFI system";
        default:
            return "of an unknown type";
    }
}

// As a number: what comes from a disk may be none of the enumerators.
DWORD styleOf(const PARTITION_INFORMATION_EX& entry) {
    DWORD style = 0;
    std::memcpy(&style, &entry.PartitionStyle, sizeof style);
    return style;
}

// Containers of further partitions, and nothing.
bool isData(const PARTITION_INFORMATION_EX& entry) {
    if (styleOf(entry) != PARTITION_STYLE_MBR) return true;
    const unsigned char type = entry.Mbr.PartitionType;
    return type != 0x00 && type != 0x05 && type != 0x0F;
}

constexpr DWORD headLength = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
constexpr DWORD mostPartitions = 1024;

// What Windows answers, grown until it fits; empty when it refuses.
std::vector<unsigned char> readLayout(HANDLE drive) {
    for (DWORD room = 16; room <= mostPartitions; room *= 4) {
        std::vector<unsigned char> bytes(headLength + room * sizeof(PARTITION_INFORMATION_EX));
        DWORD returned = 0;
        if (DeviceIoControl(drive, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, bytes.data(),
                            static_cast<DWORD>(bytes.size()), &returned, nullptr)) {
            bytes.resize(std::min<std::size_t>(returned, bytes.size()));
            return bytes;
        }
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER && error != ERROR_MORE_DATA) break;
    }
    return {};
}

}  // namespace

std::optional<std::vector<Partition>> readPartitions(HANDLE drive) {
    const std::vector<unsigned char> bytes = readLayout(drive);
    if (bytes.size() < headLength) return std::nullopt;
    DWORD count = 0;
    std::memcpy(&count, bytes.data() + offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionCount), sizeof count);
    const std::size_t held = (bytes.size() - headLength) / sizeof(PARTITION_INFORMATION_EX);
    std::vector<Partition> partitions;
    for (std::size_t i = 0; i < std::min<std::size_t>(count, held); ++i) {
        PARTITION_INFORMATION_EX entry;
        std::memcpy(&entry, bytes.data() + headLength + i * sizeof entry, sizeof entry);
        if (entry.StartingOffset.QuadPart < 0 || entry.PartitionLength.QuadPart <= 0 || !isData(entry))
            continue;
        Partition partition;
        partition.number = entry.PartitionNumber;
        partition.offset = static_cast<unsigned long long>(entry.StartingOffset.QuadPart);
        partition.length = static_cast<unsigned long long>(entry.PartitionLength.QuadPart);
        partition.type = styleOf(entry) == PARTITION_STYLE_GPT ? typeName(entry.Gpt.PartitionType)
                                                               : typeName(entry.Mbr.PartitionType);
        partitions.push_back(std::move(partition));
    }
    std::stable_sort(partitions.begin(), partitions.end(),
                     [](const Partition& one, const Partition& other) { return one.offset < other.offset; });
    return partitions;
}

}  // namespace sysmira
