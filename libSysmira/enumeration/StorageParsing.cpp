#include "libSysmira/enumeration/StorageParsing.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace libSysmira {

namespace {

constexpr GUID recoveryPartition = {
    0xDE94BBA4, 0x06D1, 0x4D40, {0xA1, 0x6A, 0xBF, 0xD5, 0x01, 0x79, 0xD6, 0xAC}};
constexpr unsigned char recoveryPartitionOfMbr = 0x27;

constexpr std::size_t extentsHeader = offsetof(VOLUME_DISK_EXTENTS, Extents);
constexpr std::size_t bitmapHeader = offsetof(VOLUME_BITMAP_BUFFER, Buffer);
/// No file system counts more clusters.
constexpr unsigned long long largestBitCount = 1ull << 35;
constexpr unsigned long long largestExtentsAnswer = 64ull << 20;
/// The fixed fields. The structure itself has 40 bytes: it counts the first raw byte, and padding.
constexpr DWORD fixedDescriptorBytes = offsetof(STORAGE_DEVICE_DESCRIPTOR, RawDeviceProperties);
/// A descriptor is a few hundred bytes; what claims to be more than this is damage.
constexpr DWORD largestDescriptor = 64 * 1024;

// Reads a value at any address; false when the answer does not reach so far.
template <class Value>
bool read(Answer answer, std::size_t offset, Value& value) {
    if (answer.size() < sizeof value || answer.size() - sizeof value < offset) return false;
    std::memcpy(&value, answer.data() + offset, sizeof value);
    return true;
}

// False when 64 bits are not enough.
bool multiply(unsigned long long& product, unsigned long long factor) {
    if (factor != 0 && product > std::numeric_limits<unsigned long long>::max() / factor) return false;
    product *= factor;
    return true;
}

constexpr unsigned long long bytesOfBits(unsigned long long bits) {
    return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

}  // namespace

bool parseDeviceNumber(Answer answer, StorageDeviceNumber& number) {
    STORAGE_DEVICE_NUMBER told;
    if (!read(answer, 0, told)) return false;
    number = {told.DeviceType, told.DeviceNumber, told.PartitionNumber};
    return true;
}

bool hasFloppyFormat(Answer answer) {
    DWORD mediaType = 0;
    return read(answer, offsetof(DISK_GEOMETRY, MediaType), mediaType) && mediaType >= F5_1Pt2_512 &&
           mediaType <= F5_160_512;
}

bool parseExtents(Answer answer, zor::Array<VolumeExtent>& extents) {
    DWORD count = 0;
    if (!read(answer, offsetof(VOLUME_DISK_EXTENTS, NumberOfDiskExtents), count) || count == 0) return false;
    if (answer.size() < extentsHeader || (answer.size() - extentsHeader) / sizeof(DISK_EXTENT) < count)
        return false;
    zor::Array<VolumeExtent> found(count);
    for (DWORD i = 0; i < count; ++i) {
        DISK_EXTENT extent;
        read(answer, extentsHeader + i * sizeof extent, extent);
        found.append({extent.DiskNumber, extent.StartingOffset.QuadPart, extent.ExtentLength.QuadPart});
    }
    extents.swap(found);
    return true;
}

DWORD extentsAnswerSize(Answer partial) {
    DWORD count = 0;
    if (partial.size() < sizeof(VOLUME_DISK_EXTENTS)) return 0;
    if (!read(partial, offsetof(VOLUME_DISK_EXTENTS, NumberOfDiskExtents), count) || count == 0) return 0;
    const unsigned long long size = sizeof(VOLUME_DISK_EXTENTS) + (count - 1ull) * sizeof(DISK_EXTENT);
    return size > largestExtentsAnswer ? 0 : static_cast<DWORD>(size);
}

bool parseGptAttributes(Answer answer, unsigned long long& attributes) { return read(answer, 0, attributes); }

bool isRecoveryPartition(Answer answer) {
    DWORD style = 0;
    if (!read(answer, offsetof(PARTITION_INFORMATION_EX, PartitionStyle), style)) return false;
    if (style == PARTITION_STYLE_MBR) {
        unsigned char type = 0;
        return read(answer, offsetof(PARTITION_INFORMATION_EX, Mbr.PartitionType), type) &&
               type == recoveryPartitionOfMbr;
    }
    GUID type;
    return style == PARTITION_STYLE_GPT &&
           read(answer, offsetof(PARTITION_INFORMATION_EX, Gpt.PartitionType), type) &&
           std::memcmp(&type, &recoveryPartition, sizeof type) == 0;
}

bool parseLength(Answer answer, unsigned long long& bytes) {
    long long length = 0;
    if (!read(answer, 0, length) || length < 0) return false;
    bytes = static_cast<unsigned long long>(length);
    return true;
}

bool parseDiskAttributes(Answer answer, unsigned long long& attributes) {
    return read(answer, offsetof(GET_DISK_ATTRIBUTES, Attributes), attributes);
}

bool parseScsiAddress(Answer answer, ScsiAddress& address) {
    SCSI_ADDRESS told;
    if (!read(answer, 0, told)) return false;
    address = {told.PortNumber, told.PathId, told.TargetId, told.Lun};
    return true;
}

bool parseGeometry(Answer answer, DriveGeometry& geometry) {
    DISK_GEOMETRY told;
    DWORD mediaType = 0;
    // Enumerators are read as the numbers that they are: these may be none.
    if (!read(answer, 0, told) || !read(answer, offsetof(DISK_GEOMETRY, MediaType), mediaType)) return false;
    geometry.mediaType = mediaType;
    geometry.bytesPerSector = told.BytesPerSector;
    unsigned long long bytes =
        static_cast<unsigned long long>(std::max<LONGLONG>(told.Cylinders.QuadPart, 0));
    const bool counted = multiply(bytes, told.TracksPerCylinder) && multiply(bytes, told.SectorsPerTrack) &&
                         multiply(bytes, told.BytesPerSector);
    geometry.totalBytes = counted ? bytes : 0;
    return true;
}

bool parseBitmap(Answer answer, BitmapAnswer& bitmap) {
    unsigned long long bitCount = 0;
    if (!read(answer, offsetof(VOLUME_BITMAP_BUFFER, BitmapSize), bitCount)) return false;
    if (bitCount > largestBitCount || bytesOfBits(bitCount) > answer.size() - bitmapHeader) return false;
    bitmap = {answer.data() + bitmapHeader, bitCount};
    return true;
}

DWORD bitmapAnswerSize(Answer partial) {
    unsigned long long bitCount = 0;
    if (!read(partial, offsetof(VOLUME_BITMAP_BUFFER, BitmapSize), bitCount)) return 0;
    if (bitCount > largestBitCount) return 0;
    // The header, and the byte that the structure itself counts rounded up.
    const unsigned long long size = bytesOfBits(bitCount) + sizeof(VOLUME_BITMAP_BUFFER) - 1;
    return size > std::numeric_limits<DWORD>::max() ? 0 : static_cast<DWORD>(size);
}

DWORD descriptorSize(Answer header) {
    DWORD size = 0;
    if (!read(header, offsetof(STORAGE_DEVICE_DESCRIPTOR, Size), size)) return 0;
    return size < fixedDescriptorBytes || size > largestDescriptor ? 0 : size;
}

DWORD busTypeOf(Answer descriptor) {
    DWORD busType = 0;
    read(descriptor, offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType), busType);
    return busType;
}

bool isDescriptor(Answer descriptor) { return descriptor.size() >= fixedDescriptorBytes; }

bool readDescriptorText(Answer descriptor, DWORD offset, zor::String& text) {
    text.clear();
    if (offset == 0) return true;
    if (offset >= descriptor.size()) return false;
    const Answer rest = descriptor.subspan(offset);
    if (std::find(rest.begin(), rest.end(), 0) == rest.end()) return false;
    text = reinterpret_cast<const char*>(rest.data());
    return true;
}

void splitMountPaths(const zor::Char16* list, std::size_t units, zor::Array<zor::String>& paths) {
    paths.clear();
    for (std::size_t begin = 0; begin < units;) {
        std::size_t end = begin;
        while (end < units && list[end] != 0) ++end;
        if (end != begin) paths.append(zor::String(list + begin, static_cast<unsigned int>(end - begin)));
        begin = end + 1;
    }
}

char driveLetterOf(const zor::Array<zor::String>& mountPaths) {
    for (const zor::String& path : mountPaths) {
        if (path.size() != 3 || path[1] != u':' || path[2] != u'\\') continue;
        if (const char letter = letterOf(path[0]); letter != 0) return letter;
    }
    return 0;
}

}  // namespace libSysmira
