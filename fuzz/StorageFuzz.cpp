// Answers of devices and volumes of any bytes: what is taken from them stands in them, and nothing beyond
// their end is read.
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/Check.h"
#include "libSysmira/enumeration/StorageParsing.h"

namespace {

using libSysmira::Answer;

template <class Value>
Value valueAt(Answer answer, std::size_t offset) {
    Value value;
    FUZZ_CHECK(offset + sizeof value <= answer.size());
    std::memcpy(&value, answer.data() + offset, sizeof value);
    return value;
}

void checkExtents(Answer answer) {
    zor::Array<libSysmira::VolumeExtent> extents(1);
    extents.append({7, 8, 9});
    if (!libSysmira::parseExtents(answer, extents)) {
        FUZZ_CHECK(extents.size() == 1 && extents[0].diskNumber == 7);
    } else {
        FUZZ_CHECK(extents.size() == valueAt<std::uint32_t>(answer, 0));
        for (unsigned i = 0; i < extents.size(); ++i) {
            FUZZ_CHECK(extents[i].diskNumber == valueAt<std::uint32_t>(answer, 8 + i * 24));
            FUZZ_CHECK(extents[i].startingOffset == valueAt<std::int64_t>(answer, 16 + i * 24));
            FUZZ_CHECK(extents[i].extentLength == valueAt<std::int64_t>(answer, 24 + i * 24));
        }
    }
    const DWORD room = libSysmira::extentsAnswerSize(answer);
    FUZZ_CHECK(room == 0 || room == 8 + 24ull * valueAt<std::uint32_t>(answer, 0));
}

void checkBitmap(Answer answer) {
    libSysmira::BitmapAnswer bitmap;
    if (libSysmira::parseBitmap(answer, bitmap)) {
        FUZZ_CHECK(bitmap.bitCount == valueAt<std::uint64_t>(answer, 8));
        FUZZ_CHECK(bitmap.bits == answer.data() + 16);
        FUZZ_CHECK(bitmap.bitCount / 8 + (bitmap.bitCount % 8 != 0) <= answer.size() - 16);
    }
    const DWORD room = libSysmira::bitmapAnswerSize(answer);
    FUZZ_CHECK(room == 0 || room == (valueAt<std::uint64_t>(answer, 8) + 7) / 8 + 23);
}

void checkDescriptor(Answer answer) {
    const DWORD size = libSysmira::descriptorSize(answer);
    FUZZ_CHECK(size == 0 || (size >= 36 && size == valueAt<std::uint32_t>(answer, 4)));
    if (answer.size() >= 32) FUZZ_CHECK(libSysmira::busTypeOf(answer) == valueAt<std::uint32_t>(answer, 28));
    for (std::size_t offset = 0; offset < answer.size() + 2; ++offset) {
        zor::String text("before");
        const bool read = libSysmira::readDescriptorText(answer, static_cast<DWORD>(offset), text);
        if (!read || offset == 0) {
            FUZZ_CHECK(text.empty());
            continue;
        }
        FUZZ_CHECK(offset + text.size() < answer.size() && answer[offset + text.size()] == 0);
        for (unsigned i = 0; i < text.size(); ++i) FUZZ_CHECK(text[i] == answer[offset + i] && text[i] != 0);
    }
}

void checkSmallAnswers(Answer answer) {
    libSysmira::StorageDeviceNumber number;
    if (libSysmira::parseDeviceNumber(answer, number))
        FUZZ_CHECK(number.deviceNumber == valueAt<std::uint32_t>(answer, 4));
    if (libSysmira::hasFloppyFormat(answer)) {
        const auto type = valueAt<std::uint32_t>(answer, 8);
        FUZZ_CHECK(type >= 1 && type <= 10);
    }
    if (libSysmira::isRecoveryPartition(answer)) FUZZ_CHECK(valueAt<std::uint32_t>(answer, 0) <= 1);
    unsigned long long value = 0;
    if (libSysmira::parseGptAttributes(answer, value)) FUZZ_CHECK(value == valueAt<std::uint64_t>(answer, 0));
    if (libSysmira::parseLength(answer, value)) FUZZ_CHECK(value <= INT64_MAX);
    if (libSysmira::parseDiskAttributes(answer, value))
        FUZZ_CHECK(value == valueAt<std::uint64_t>(answer, 8));
    libSysmira::ScsiAddress address;
    if (libSysmira::parseScsiAddress(answer, address)) FUZZ_CHECK(address.lun == answer[7]);
    libSysmira::DriveGeometry geometry;
    if (libSysmira::parseGeometry(answer, geometry))
        FUZZ_CHECK(geometry.bytesPerSector == valueAt<std::uint32_t>(answer, 20));
}

void checkMountPaths(Answer answer) {
    std::u16string units(answer.size() / 2, u'\0');
    std::memcpy(units.data(), answer.data(), units.size() * 2);
    zor::Array<zor::String> paths{zor::String("before")};
    libSysmira::splitMountPaths(reinterpret_cast<const zor::Char16*>(units.data()), units.size(), paths);
    std::u16string joined, expected;
    for (const zor::String& path : paths) {
        FUZZ_CHECK(!path.empty());
        joined.append(reinterpret_cast<const char16_t*>(path.getUCS2Buffer()), path.size());
    }
    for (const char16_t unit : units) {
        if (unit != 0) expected += unit;
    }
    FUZZ_CHECK(joined == expected);
    const char letter = libSysmira::driveLetterOf(paths);
    FUZZ_CHECK(letter == 0 || (letter >= 'A' && letter <= 'Z'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Answer answer(data, size);
    checkExtents(answer);
    checkBitmap(answer);
    checkDescriptor(answer);
    checkSmallAnswers(answer);
    checkMountPaths(answer);
    return 0;
}
