// What is done to an open volume.
#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

#include "libSysmira/enumeration/CommonStorage.h"
#include "libSysmira/enumeration/StorageParsing.h"
#include "libSysmira/enumeration/Volume.h"
#include "support/ClassLogger.h"
#include "support/GrowingRead.h"
#include "support/System.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.Volume");

constexpr int lockTries = 12;
constexpr unsigned int lockPauseMs = 100;

constexpr std::ptrdiff_t extentsInSpan = 32;

const VolumeExtent* endOfSpan(const VolumeExtent* extent, const VolumeExtent* last) {
    return last - extent > extentsInSpan ? extent + extentsInSpan : last;
}

// Why the last call failed; made before anything else can change the last error, and looked up for a line
// that is wanted.
class Reason {
public:
    Reason() : m_error(zor::System::getSystemError()) {}
    zor::String text() const { return zor::System::getSystemErrorMsg(m_error); }

private:
    zor::Uint32 m_error;
};

}  // namespace

FileHandle Volume::openVolumeHandle(bool writeAttributes) const {
    if (m_osLocator.empty()) return {};
    const DWORD access = FILE_READ_ATTRIBUTES | (writeAttributes ? FILE_WRITE_ATTRIBUTES : 0);
    const FileHandle handle(zor::FileHandleResManager::open(
        {m_osLocator, access, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, /*flags=*/0}));
    if (!handle.isValid()) {
        const Reason reason;
        theLog.write(zor::Error, __LINE__, [&](zor::LoggerStream& line) {
            line << "Failed to open handle to : \"" << m_osLocator << "\"" << reason.text();
        });
    }
    return handle;
}

bool Volume::lockVolume() {
    if (!m_handle.isValid()) m_handle = openVolumeHandle(/*writeAttributes=*/true);
    if (!m_handle.isValid()) return false;
    for (int tries = 0; tries < lockTries; ++tries) {
        if (command(m_handle.get(), FSCTL_LOCK_VOLUME)) {
            theLog.write(zor::Note, 485, [&](zor::LoggerStream& line) {
                line << "LOCK_VOLUME   - SUCCESS (" << m_osLocator << ")";
            });
            return true;
        }
        const Reason reason;
        theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
            line << "LOCK_VOLUME   - FAILED (" << m_osLocator << ")" << reason.text();
        });
        zor::System::mssleep(lockPauseMs);
    }
    m_handle.release();
    return false;
}

bool Volume::dismountVolume() {
    if (!m_handle.isValid()) return false;
    if (!command(m_handle.get(), FSCTL_DISMOUNT_VOLUME)) {
        const Reason reason;
        theLog.write(zor::Note, __LINE__, [&](zor::LoggerStream& line) {
            line << "DISMOUNT_VOLUME - FAILED : (" << m_osLocator << ")" << reason.text();
        });
        return false;
    }
    theLog.write(zor::Note, __LINE__, [&](zor::LoggerStream& line) {
        line << "DISMOUNT_VOLUME - SUCCESS (" << m_osLocator << ")";
    });
    return true;
}

bool Volume::unlockVolume() {
    if (!m_handle.isValid()) return false;
    const bool unlocked = command(m_handle.get(), FSCTL_UNLOCK_VOLUME);
    if (unlocked) {
        theLog.write(zor::Note, __LINE__, [&](zor::LoggerStream& line) {
            line << "UNLOCK_VOLUME - SUCCESS (" << m_osLocator << ")";
        });
    } else {
        const Reason reason;
        theLog.write(zor::Note, __LINE__, [&](zor::LoggerStream& line) {
            line << "UNLOCK_VOLUME - FAILED : (" << m_osLocator << ")" << reason.text();
        });
    }
    m_handle.release();
    return unlocked;
}

bool Volume::getSDN(StorageDeviceNumber& number) const {
    if (m_driveLetter == 'A' || m_driveLetter == 'B') {
        theLog.write(zor::Note, __LINE__,
                     [](zor::LoggerStream& line) { line << "Skipping getSDN on floppy drive"; });
        return false;
    }
    const FileHandle volume = openVolumeHandle(/*writeAttributes=*/false);
    return volume.isValid() && getStorageDeviceNumber(volume.get(), number);
}

void Volume::readVolumeExtents() const {
    zor::Array<VolumeExtent> extents;
    if (!askForExtents(extents)) return;
    zor::Array<ExtentSpan> spans = spansOf(extents);
    m_extents.swap(extents);
    m_extentSpans.swap(spans);
}

bool Volume::askForExtents(zor::Array<VolumeExtent>& extents) const {
    const FileHandle volume = openVolumeHandle(/*writeAttributes=*/false);
    if (!volume.isValid()) return false;
    const SmallRequest<sizeof(VOLUME_DISK_EXTENTS)> one(volume.get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS);
    if (one) return parseExtents(one.bytes(), extents);
    if (GetLastError() != ERROR_MORE_DATA) return false;
    const DWORD size = extentsAnswerSize(one.bytes());
    zor::Buffer<unsigned char> bytes;
    if (size == 0 || !zor::tryResize(bytes, size)) return false;
    const Reply all =
        request(volume.get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0, bytes.data(), size);
    return all && parseExtents(all.bytes, extents);
}

zor::Array<Volume::ExtentSpan> Volume::spansOf(const zor::Array<VolumeExtent>& extents) {
    zor::Array<ExtentSpan> spans;
    for (const VolumeExtent* extent = extents.begin(); extent != extents.end();) {
        const VolumeExtent* const end = endOfSpan(extent, extents.end());
        // The wrong way round, it holds nothing.
        ExtentSpan span = {~0ull, 0};
        for (; extent != end; ++extent) {
            if (!isSound(*extent)) continue;
            const auto first = static_cast<unsigned long long>(extent->startingOffset);
            const auto length = static_cast<unsigned long long>(extent->extentLength);
            span.first = std::min(span.first, first);
            span.last = std::max(span.last, first + length - 1);
        }
        spans.append(span);
    }
    return spans;
}

const VolumeExtent* Volume::findExtent(unsigned long long byte) const {
    const VolumeExtent* extent = m_extents.begin();
    const VolumeExtent* const last = m_extents.end();
    for (const ExtentSpan& span : m_extentSpans) {
        const VolumeExtent* const end = endOfSpan(extent, last);
        if (byte < span.first || byte > span.last) {
            extent = end;
            continue;
        }
        for (; extent != end; ++extent) {
            // One comparison for both bounds: what lies in front of the start becomes huge.
            const unsigned long long offset = byte - static_cast<unsigned long long>(extent->startingOffset);
            if (offset < static_cast<unsigned long long>(extent->extentLength) && isSound(*extent))
                return extent;
        }
    }
    return nullptr;
}

SharedClusterBitmap Volume::getVolumeClusterBitmap(bool refresh) const {
    const FileHandle volume = openVolumeHandle(/*writeAttributes=*/false);
    if (!volume.isValid()) return {};
    if (!refresh && m_pClusterBitmap.isValid()) return m_pClusterBitmap;

    STARTING_LCN_INPUT_BUFFER start = {};
    const auto ask = [&](void* output, DWORD size) {
        return request(volume.get(), FSCTL_GET_VOLUME_BITMAP, &start, sizeof start, output, size);
    };
    alignas(8) unsigned char first[sizeof(VOLUME_BITMAP_BUFFER)] = {};
    // Not filled with zeroes: a large volume's bitmap takes many megabytes.
    std::unique_ptr<unsigned char[]> bytes;
    Reply reply = ask(first, sizeof first);
    if (!reply) {
        if (GetLastError() != ERROR_MORE_DATA) return {};
        const DWORD size = bitmapAnswerSize(reply.bytes);
        if (size == 0) return {};
        bytes.reset(new (std::nothrow) unsigned char[size]);
        if (bytes == nullptr) return {};
        reply = ask(bytes.get(), size);
    }
    BitmapAnswer answer;
    if (!reply || !parseBitmap(reply.bytes, answer)) return {};
    m_runClusters = 0;
    m_pClusterBitmap = SharedClusterBitmap(new ClusterBitmap(answer.bits, answer.bitCount));
    return m_pClusterBitmap;
}

}  // namespace libSysmira
