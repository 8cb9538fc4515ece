// What devices and volumes answer, read from the bytes that came back. The bytes are not trusted: nothing
// beyond their end is read, no count in them is believed, and what does not fit together is no answer.
#pragma once

#include <cstddef>
#include <limits>
#include <span>

#include "libSysmira/enumeration/StorageTypes.h"
#include "support/Array.h"
#include "support/String.h"

namespace libSysmira {

/// The bytes that a call has returned.
using Answer = std::span<const unsigned char>;

// Each of these is false for an answer that is too short or makes no sense; the outputs are untouched then.

/// Of IOCTL_STORAGE_GET_DEVICE_NUMBER.
bool parseDeviceNumber(Answer answer, StorageDeviceNumber& number);
/// Of IOCTL_DISK_GET_MEDIA_TYPES: whether the drive takes one of the classic floppy formats.
bool hasFloppyFormat(Answer answer);
/// Of IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS.
bool parseExtents(Answer answer, zor::Array<VolumeExtent>& extents);
/// Whether an extent has a length and does not end beyond 63 bits; another one holds nothing.
inline bool isSound(const VolumeExtent& extent) {
    return extent.startingOffset >= 0 && extent.extentLength > 0 &&
           extent.extentLength - 1 <= std::numeric_limits<long long>::max() - extent.startingOffset;
}
/// Of IOCTL_VOLUME_GET_GPT_ATTRIBUTES.
bool parseGptAttributes(Answer answer, unsigned long long& attributes);
/// Of IOCTL_DISK_GET_PARTITION_INFO_EX: whether the partition is for recovery, by its MBR or GPT type.
bool isRecoveryPartition(Answer answer);
/// Of IOCTL_DISK_GET_LENGTH_INFO; a negative length is none.
bool parseLength(Answer answer, unsigned long long& bytes);
/// Of IOCTL_DISK_GET_DISK_ATTRIBUTES.
bool parseDiskAttributes(Answer answer, unsigned long long& attributes);
/// Of IOCTL_SCSI_GET_ADDRESS.
bool parseScsiAddress(Answer answer, ScsiAddress& address);

/// Of IOCTL_DISK_GET_DRIVE_GEOMETRY.
struct DriveGeometry {
    unsigned int mediaType = 0;  ///< MEDIA_TYPE
    unsigned int bytesPerSector = 0;
    unsigned long long totalBytes = 0;  ///< 0 when 64 bits cannot count them
};
bool parseGeometry(Answer answer, DriveGeometry& geometry);

/// Of FSCTL_GET_VOLUME_BITMAP. The bits are those in the answer, (bitCount + 7) / 8 bytes.
struct BitmapAnswer {
    const unsigned char* bits = nullptr;
    unsigned long long bitCount = 0;
};
bool parseBitmap(Answer answer, BitmapAnswer& bitmap);

// How large a buffer the whole answer needs, told by one that was cut short; 0 when that makes no sense, or
// no such answer exists.

DWORD extentsAnswerSize(Answer partial);
DWORD bitmapAnswerSize(Answer partial);

/// How many bytes the whole storage descriptor has, by its header; 0 for no descriptor.
DWORD descriptorSize(Answer header);
/// Whether a descriptor has all of its fixed fields, in front of its texts.
bool isDescriptor(Answer descriptor);
/// STORAGE_BUS_TYPE, which may be none of its enumerators; 0 in a descriptor without one.
DWORD busTypeOf(Answer descriptor);
/// The text at an offset of a descriptor, each byte one code unit; offset 0 is no text. False when the offset
/// lies beyond the end or no NUL follows; the text is empty then.
bool readDescriptorText(Answer descriptor, DWORD offset, zor::String& text);

/// Replaces `paths` by the texts of a list of mount paths. Unlike in other lists of texts, empty entries are
/// skipped, up to the end of the memory.
void splitMountPaths(const zor::Char16* list, std::size_t units, zor::Array<zor::String>& paths);
/// The letter, in upper case, of the first path that is the root of a drive ("C:\"); 0 when there is none.
char driveLetterOf(const zor::Array<zor::String>& mountPaths);

/// 'a' to 'z' in upper case, everything else as it is.
constexpr char toUpperLetter(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}
/// The upper-case letter of a unit, or 0.
constexpr char letterOf(zor::Char16 unit) {
    const zor::Char16 upper =
        unit >= u'a' && unit <= u'z' ? static_cast<zor::Char16>(unit - u'a' + u'A') : unit;
    return upper >= u'A' && upper <= u'Z' ? static_cast<char>(upper) : '\0';
}

}  // namespace libSysmira
