// What a drive is.
#include "libSysmira/enumeration/WindowsDrive.h"

#include "libSysmira/enumeration/CommonStorage.h"
#include "libSysmira/enumeration/StorageParsing.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "support/AssertionFailure.h"
#include "support/ClassLogger.h"
#include "support/HexDumpFormat.h"
#include "support/SprintfFormat.h"
#include "support/System.h"

#define DRIVE_ASSERT(expression) ZOR_ASSERT_AT("libSysmira/enumeration/WindowsDrive", expression)

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.WindowsDrive");

// SCSI peripheral device types.
constexpr unsigned int directAccess = 0;
constexpr unsigned int cdRom = 5;
constexpr unsigned int opticalMemory = 7;
constexpr unsigned int reducedBlockCommands = 14;
constexpr unsigned int otherOptical = 15;

bool readGeometry(HANDLE drive, DriveGeometry& geometry) {
    const SmallRequest<sizeof(DISK_GEOMETRY)> reply(drive, IOCTL_DISK_GET_DRIVE_GEOMETRY);
    return reply && parseGeometry(reply.bytes(), geometry);
}

}  // namespace

WindowsDrive::WindowsDrive() = default;

WindowsDrive::WindowsDrive(const zor::String& path) : m_idType(OSLocatorID), m_idString(path) {
    open(path);
    init(m_handle);
}

WindowsDrive::WindowsDrive(const FileHandle& handle) { init(handle); }

WindowsDrive::WindowsDrive(const WindowsDevice& device) : m_pWindowsDevice(new WindowsDevice(device)) {
    if (!device.getOsLocator().empty()) {
        m_idType = DeviceInstanceID;
        m_idString = device.getDeviceInstanceId();
        open(device.getOsLocator());
    }
    init(m_handle);
}

WindowsDrive::WindowsDrive(const WindowsDrive&) = default;
WindowsDrive& WindowsDrive::operator=(const WindowsDrive&) = default;
WindowsDrive::WindowsDrive(WindowsDrive&&) noexcept = default;
WindowsDrive& WindowsDrive::operator=(WindowsDrive&&) noexcept = default;
WindowsDrive::~WindowsDrive() = default;

void WindowsDrive::open(const zor::String& path) {
    m_handle.release();
    m_handle = FileHandle(zor::FileHandleResManager::open({path, GENERIC_READ | GENERIC_WRITE,
                                                           FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                                                           /*flags=*/0}));
}

void WindowsDrive::init(const FileHandle& handle) {
    m_mediaType = UnknownMediaType;
    m_sectorSize = 0;
    m_totalCapacity = 0;
    m_volumesFound = false;
    m_handle = handle;
    if (getStorageDeviceDescriptor(m_handle.get(), m_pStorageDescriptor)) {
        readDescriptor();
    } else {
        readMediaType();
    }
}

void WindowsDrive::readDescriptor() {
    const STORAGE_DEVICE_DESCRIPTOR& descriptor = *getStorageDescriptor();
    m_mediaType = descriptor.RemovableMedia ? RemovableMediaType : FixedMediaType;
    m_vendorId = descriptorText(descriptor.VendorIdOffset);
    m_productId = descriptorText(descriptor.ProductIdOffset);
    m_productRevision = descriptorText(descriptor.ProductRevisionOffset);
    m_serialNumber = descriptorText(descriptor.SerialNumberOffset);
    m_modelId = zor::String::normalizeSpaces(m_vendorId + m_productId);
}

zor::String WindowsDrive::descriptorText(DWORD offset) const {
    const zor::Buffer<unsigned char>& bytes = *m_pStorageDescriptor;
    zor::String text;
    if (!readDescriptorText({bytes.data(), bytes.size()}, offset, text)) {
        theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
            line << zor::SprintfFormat("String at offset %u is not terminated in buffer :\n", offset)
                 << zor::HexDumpFormat(bytes).toString();
        });
    }
    return text;
}

void WindowsDrive::readMediaType() {
    if (takesFloppies(m_handle.get())) {
        m_mediaType = RemovableMediaType;
        return;
    }
    DriveGeometry geometry;
    if (!readGeometry(m_handle.get(), geometry)) return;
    if (geometry.mediaType == RemovableMedia) m_mediaType = RemovableMediaType;
    if (geometry.mediaType == FixedMedia) m_mediaType = FixedMediaType;
    m_sectorSize = geometry.bytesPerSector;
}

const STORAGE_DEVICE_DESCRIPTOR* WindowsDrive::getStorageDescriptor() const {
    DRIVE_ASSERT(storageDescriptorInitialized());
    return reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(m_pStorageDescriptor->data());
}

unsigned int WindowsDrive::type() const { return getStorageDescriptor()->DeviceType; }

unsigned int WindowsDrive::busType() const {
    getStorageDescriptor();
    return busTypeOf({m_pStorageDescriptor->data(), m_pStorageDescriptor->size()});
}

bool WindowsDrive::isDisk() const {
    if (m_mediaType != FixedMediaType) return false;
    const unsigned int deviceType = type();
    return deviceType == directAccess || deviceType == reducedBlockCommands;
}

bool WindowsDrive::isOptical() const {
    const unsigned int deviceType = type();
    return deviceType == cdRom || deviceType == opticalMemory || deviceType == otherOptical;
}

unsigned int WindowsDrive::getSectorSize() const {
    DriveGeometry geometry;
    if (m_sectorSize == 0 && readGeometry(m_handle.get(), geometry)) m_sectorSize = geometry.bytesPerSector;
    return m_sectorSize;
}

unsigned long long WindowsDrive::getTotalCapacity() const {
    if (m_totalCapacity == 0) m_totalCapacity = readLength();
    return m_totalCapacity;
}

unsigned long long WindowsDrive::getSectorCount() const {
    const unsigned long long capacity = getTotalCapacity();
    const unsigned int sectorSize = getSectorSize();
    return sectorSize == 0 ? 0 : capacity / sectorSize;
}

unsigned long long WindowsDrive::readLength() const {
    const SmallRequest<sizeof(GET_LENGTH_INFORMATION)> reply(m_handle.get(), IOCTL_DISK_GET_LENGTH_INFO);
    unsigned long long length = 0;
    if (reply && parseLength(reply.bytes(), length)) return length;
    DriveGeometry geometry;
    return readGeometry(m_handle.get(), geometry) ? geometry.totalBytes : 0;
}

bool WindowsDrive::getDriveAttributes(unsigned long long& attributes) const {
    if (!isDisk()) return false;
    const SmallRequest<sizeof(GET_DISK_ATTRIBUTES)> reply(m_handle.get(), IOCTL_DISK_GET_DISK_ATTRIBUTES);
    if (reply && parseDiskAttributes(reply.bytes(), attributes)) return true;
    const zor::Uint32 error = zor::System::getSystemError();
    theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
        line << "IOCTL_DISK_GET_DISK_ATTRIBUTES failed: " << zor::System::getSystemErrorMsg(error);
    });
    return false;
}

zor::TriBool WindowsDrive::hasAttribute(unsigned long long bit) const {
    unsigned long long attributes = 0;
    if (!getDriveAttributes(attributes)) return zor::TriBool::Unknown;
    return (attributes & bit) != 0;
}

zor::TriBool WindowsDrive::isReadOnly() { return hasAttribute(DISK_ATTRIBUTE_READ_ONLY); }

zor::TriBool WindowsDrive::isOffline() { return hasAttribute(DISK_ATTRIBUTE_OFFLINE); }

bool WindowsDrive::scsiAddress(ScsiAddress& address) const {
    const SmallRequest<sizeof(SCSI_ADDRESS)> reply(m_handle.get(), IOCTL_SCSI_GET_ADDRESS);
    return reply && parseScsiAddress(reply.bytes(), address);
}

void WindowsDrive::update(bool flush) {
    if (flush) {
        FlushFileBuffers(m_handle.get());
        const BOOL result = command(m_handle.get(), IOCTL_DISK_UPDATE_PROPERTIES);
        // Deliberately by the sign, which no BOOL of Windows has: a refusal is not worth a line.
        if (result < 0) {
            const zor::Uint32 error = zor::System::getSystemError();
            theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
                line << "IOCTL_DISK_UPDATE_PROPERTIES failed with error : "
                     << zor::System::getSystemErrorMsg(error);
            });
        }
    }
    if (m_volumesFound) {
        m_run.clear();
        m_volumes.clear();
        m_volumesFound = false;
        findAssociatedVolumes();
    }
    if (m_totalCapacity != 0) m_totalCapacity = readLength();
}

bool WindowsDrive::findWindowsDeviceByID(StringIDType idType, const zor::String& id) const {
    if (m_pWindowsDevice.isValid()) return true;
    if (idType != OSLocatorID && idType != DeviceInstanceID) return false;
    WindowsDeviceSet drives;
    drives.appendAllStorageDevices();
    for (const WindowsDevice& drive : drives) {
        const zor::String& own = idType == OSLocatorID ? drive.getOsLocator() : drive.getDeviceInstanceId();
        if (own.compareNoCase(id) != 0) continue;
        m_pWindowsDevice = SharedDevice(new WindowsDevice(drive));
        return true;
    }
    return false;
}

bool WindowsDrive::hasWindowsDevice() const {
    if (m_pWindowsDevice.isValid()) return true;
    return !m_idString.empty() && findWindowsDeviceByID(m_idType, m_idString);
}

}  // namespace libSysmira
