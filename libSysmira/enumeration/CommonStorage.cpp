#include "libSysmira/enumeration/CommonStorage.h"

#include <algorithm>

#include "support/ClassLogger.h"
#include "support/System.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.CommonStorage");

// Room for the geometries of twenty media.
constexpr DWORD mediaTypesBytes = 480;

Reply queryDescriptor(HANDLE device, void* output, DWORD outputSize) {
    STORAGE_PROPERTY_QUERY query = {};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    return request(device, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, output, outputSize);
}

}  // namespace

Reply request(HANDLE device, DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize) {
    if (device == INVALID_HANDLE_VALUE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return {};
    }
    DWORD returned = 0;
    const BOOL success = DeviceIoControl(device, code, const_cast<void*>(input), inputSize, output,
                                         outputSize, &returned, nullptr);
    return {success != 0, {static_cast<const unsigned char*>(output), std::min(returned, outputSize)}};
}

bool command(HANDLE device, DWORD code) { return request(device, code, nullptr, 0, nullptr, 0).success; }

bool takesFloppies(HANDLE device) {
    const SmallRequest<mediaTypesBytes> reply(device, IOCTL_DISK_GET_MEDIA_TYPES);
    return reply && hasFloppyFormat(reply.bytes());
}

bool getStorageDeviceNumber(HANDLE device, StorageDeviceNumber& number) {
    const SmallRequest<sizeof(STORAGE_DEVICE_NUMBER)> reply(device, IOCTL_STORAGE_GET_DEVICE_NUMBER);
    if (reply && parseDeviceNumber(reply.bytes(), number)) return true;
    if (takesFloppies(device)) {
        number.deviceType = FILE_DEVICE_DISK;
        number.deviceNumber = StorageDeviceNumber::UnknownDevice;
        return true;
    }
    const zor::Uint32 error = zor::System::getSystemError();
    theLog.write(zor::Warning, __LINE__,
                 [&](zor::LoggerStream& line) { line << "Could not get device number - error: " << error; });
    return false;
}

bool getStorageDeviceDescriptor(HANDLE device, SharedDescriptor& descriptor) {
    descriptor.release();
    alignas(8) unsigned char header[sizeof(STORAGE_DEVICE_DESCRIPTOR)] = {};
    const Reply first = queryDescriptor(device, header, sizeof header);
    const DWORD size = first ? descriptorSize(first.bytes) : 0;
    if (size == 0) return false;

    SharedDescriptor whole(new zor::Buffer<unsigned char>(size));
    const Reply second = queryDescriptor(device, whole->data(), size);
    if (second && isDescriptor(second.bytes)) {
        whole->resize(second.bytes.size());
        descriptor = whole;
        return true;
    }
    const zor::Uint32 error = zor::System::getSystemError();
    theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
        line << "getStorageDeviceDescriptor() error: " << error << " - "
             << zor::System::getSystemErrorMsg(error);
    });
    return false;
}

}  // namespace libSysmira
