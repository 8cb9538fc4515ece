// Requests to open devices and volumes that both kinds take. Lines go to the logger
// "libSysmira.CommonStorage".
#pragma once

#include <cstddef>

#include "libSysmira/enumeration/StorageParsing.h"
#include "libSysmira/enumeration/StorageTypes.h"
#include "support/Buffer.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"
#include "support/WindowsApi.h"

namespace libSysmira {

/// What a request gave back. It refers to the caller's buffer, and also tells how much came with a failure.
struct Reply {
    bool success = false;
    Answer bytes;

    explicit operator bool() const { return success; }
};

/// DeviceIoControl, waiting for the end. More bytes than there is room for were not returned, whatever the
/// driver says. Without a handle nothing is asked, and the last error is ERROR_INVALID_HANDLE.
Reply request(HANDLE device, DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize);

/// A request without input, and with an answer of at most Size bytes.
template <DWORD Size>
class SmallRequest {
public:
    SmallRequest(HANDLE device, DWORD code) : m_reply(request(device, code, nullptr, 0, m_bytes, Size)) {}
    SmallRequest(const SmallRequest&) = delete;
    SmallRequest& operator=(const SmallRequest&) = delete;

    explicit operator bool() const { return m_reply.success; }
    Answer bytes() const { return m_reply.bytes; }

private:
    alignas(8) unsigned char m_bytes[Size] = {};
    Reply m_reply;
};

/// A request with neither input nor output.
bool command(HANDLE device, DWORD code);

/// The device number (IOCTL_STORAGE_GET_DEVICE_NUMBER). A drive that refuses it but takes floppy formats is a
/// disk of unknown number; the partition number stays as it was then. A failure changes nothing and writes a
/// line of priority 3.
bool getStorageDeviceNumber(HANDLE device, StorageDeviceNumber& number);

/// Whether the drive tells of media in one of the classic floppy formats (IOCTL_DISK_GET_MEDIA_TYPES).
bool takesFloppies(HANDLE device);

using SharedDescriptor = zor::SharedResource<zor::PointerStorage<zor::Buffer<unsigned char>, 0, 3>, 0>;

/// Reads the whole STORAGE_DEVICE_DESCRIPTOR (IOCTL_STORAGE_QUERY_PROPERTY). A device that tells no sensible
/// size has none; one that fails when asked for so much writes a line of priority 3. On failure `descriptor`
/// is empty; otherwise it has the bytes that came back, the fixed fields at least.
bool getStorageDeviceDescriptor(HANDLE device, SharedDescriptor& descriptor);

}  // namespace libSysmira
