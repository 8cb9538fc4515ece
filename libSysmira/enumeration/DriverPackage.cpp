#include "libSysmira/enumeration/DriverPackage.h"

#include <algorithm>
#include <new>
#include <utility>

#include "libSysmira/utils/FieldText.h"
#include "support/ClassLogger.h"
#include "support/SprintfFormat.h"
#include "support/Stopwatch.h"
#include "support/TraceLogger.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.DriverPackage");

constexpr DWORD detailBytes = 1584;
// The longest path that Windows has.
constexpr std::size_t maximumPathUnits = 32767;

zor::DateTime toDateTime(const FILETIME& time) {
    return zor::DateTime::fromFileTime(static_cast<unsigned long long>(time.dwHighDateTime) << 32 |
                                       time.dwLowDateTime);
}

struct FileQueueCloser {
    static void destroy(HSPFILEQ queue) noexcept { SetupCloseFileQueue(queue); }
};
using FileQueue = zor::SharedResource<zor::DescriptorStorage<HSPFILEQ, -1, FileQueueCloser>, 0>;

// A null queue would be no queue to the class installer: it counts as a failure, too.
HSPFILEQ openFileQueue() {
    const HSPFILEQ queue = SetupOpenFileQueue();
    return queue != nullptr ? queue : INVALID_HANDLE_VALUE;
}

// Puts install parameters back. Windows does not close a queue that they still name (ERROR_FILEQUEUE_LOCKED),
// and the next package of this device would hand the closed queue to the class installer.
class InstallParamsRestorer {
public:
    InstallParamsRestorer(HDEVINFO list, const SP_DEVINFO_DATA& device, const SP_DEVINSTALL_PARAMS_W& params)
        : m_list(list), m_device(device), m_params(params) {}
    ~InstallParamsRestorer() { SetupDiSetDeviceInstallParamsW(m_list, &m_device, &m_params); }
    InstallParamsRestorer(const InstallParamsRestorer&) = delete;
    InstallParamsRestorer& operator=(const InstallParamsRestorer&) = delete;

private:
    HDEVINFO m_list;
    SP_DEVINFO_DATA m_device;
    SP_DEVINSTALL_PARAMS_W m_params;
};

// Windows lends the path for the length of this call; no exception may pass through its code.
UINT CALLBACK collectFile(PVOID context, UINT, UINT_PTR path, UINT_PTR) {
    try {
        const auto* const text = reinterpret_cast<const zor::Char16*>(path);
        if (text == nullptr) return NO_ERROR;
        std::size_t length = 0;
        while (length < maximumPathUnits && text[length] != 0) ++length;
        static_cast<std::vector<zor::WindowsFile>*>(context)->emplace_back(
            zor::String(text, static_cast<unsigned>(length)));
        return NO_ERROR;
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

}  // namespace

DriverPackage::DriverPackage(const DeviceInfoList& list, const SP_DEVINFO_DATA& data)
    : m_deviceInfoList(list), m_devInfoData(data) {
    m_driverInfo.cbSize = sizeof m_driverInfo;
    try {
        readDriver();
    } catch (const std::bad_alloc&) {
        m_driverInfo = {};
        m_driverInfo.cbSize = sizeof m_driverInfo;
    }
}

DriverPackage::~DriverPackage() {
    m_driverFiles.clear();
    m_deviceInfoList.release();
    m_driverInfoListCleanup.run();
}

void DriverPackage::readDriver() {
    const HDEVINFO list = m_deviceInfoList.get();
    SP_DEVINSTALL_PARAMS_W parameters = {};
    parameters.cbSize = sizeof parameters;
    if (!SetupDiGetDeviceInstallParamsW(list, &m_devInfoData, &parameters)) return;
    parameters.FlagsEx |= DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
    if (SetupDiSetDeviceInstallParamsW(list, &m_devInfoData, &parameters)) {
        if (!SetupDiBuildDriverInfoList(list, &m_devInfoData, SPDIT_CLASSDRIVER)) return;
        m_driverInfoListCleanup.install([this] {
            SetupDiDestroyDriverInfoList(m_deviceInfoList.get(), &m_devInfoData, SPDIT_CLASSDRIVER);
        });
        if (!SetupDiEnumDriverInfoW(list, &m_devInfoData, SPDIT_CLASSDRIVER, 0, &m_driverInfo)) return;
    }
    const unsigned long long version = m_driverInfo.DriverVersion;
    zor::String versionText = zor::SprintfFormat("%u.%u.%u.%u", version >> 48, version >> 32 & 0xFFFF,
                                                 version >> 16 & 0xFFFF, version & 0xFFFF);
    zor::String provider = fieldText(m_driverInfo.ProviderName);
    zor::String manufacturer = fieldText(m_driverInfo.MfgName);
    zor::String description = fieldText(m_driverInfo.Description);
    Inf inf = readInf();
    // Nothing fails from here on: a package has all of its texts or none.
    m_driverVersion = std::move(versionText);
    m_driverDate = toDateTime(m_driverInfo.DriverDate);
    m_driverProvider = std::move(provider);
    m_deviceManufacturerName = std::move(manufacturer);
    m_driverDeviceDescription = std::move(description);
    m_infFileName = std::move(inf.fileName);
    m_infSectionName = std::move(inf.sectionName);
    m_infDate = inf.date;
    m_valid = true;
}

// Empty when file or section is unknown.
DriverPackage::Inf DriverPackage::readInf() {
    alignas(SP_DRVINFO_DETAIL_DATA_W) unsigned char bytes[detailBytes] = {};
    static_assert(sizeof(SP_DRVINFO_DETAIL_DATA_W) <= detailBytes);
    auto* const detail = reinterpret_cast<SP_DRVINFO_DETAIL_DATA_W*>(bytes);
    detail->cbSize = sizeof *detail;
    // Hardware IDs that do not fit cut the answer short; what stands before them is complete.
    if (!SetupDiGetDriverInfoDetailW(m_deviceInfoList.get(), &m_devInfoData, &m_driverInfo, detail,
                                     detailBytes, nullptr) &&
        GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return {};
    }
    Inf inf{fieldText(detail->InfFileName), fieldText(detail->SectionName), toDateTime(detail->InfDate)};
    if (inf.fileName.empty() || inf.sectionName.empty()) return {};
    return inf;
}

const std::vector<zor::WindowsFile>& DriverPackage::getDriverFiles() {
    if (m_driverFiles.empty()) m_driverFiles = _getDriverFiles();
    return m_driverFiles;
}

std::vector<zor::WindowsFile> DriverPackage::_getDriverFiles() {
    const zor::TraceLogger trace(theLog, "_getDriverFiles", __FILE__, __LINE__);
    const zor::Stopwatch stopwatch;
    const HDEVINFO list = m_deviceInfoList.get();
    if (!SetupDiSetSelectedDriverW(list, &m_devInfoData, &m_driverInfo)) return {};
    const FileQueue queue(openFileQueue());
    if (!queue.isValid()) return {};

    // Unless DI_NOVCP and the queue are in force, the class installer would really copy the files: whatever
    // fails here ends the listing.
    SP_DEVINSTALL_PARAMS_W parameters = {};
    parameters.cbSize = sizeof parameters;
    if (!SetupDiGetDeviceInstallParamsW(list, &m_devInfoData, &parameters)) return {};
    const SP_DEVINSTALL_PARAMS_W asRead = parameters;
    parameters.Flags |= DI_NOVCP;
    parameters.FileQueue = queue.get();
    if (!SetupDiSetDeviceInstallParamsW(list, &m_devInfoData, &parameters)) return {};
    const InstallParamsRestorer restorer(list, m_devInfoData, asRead);
    if (!SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, list, &m_devInfoData)) return {};

    std::vector<zor::WindowsFile> files;
    files.reserve(5);
    DWORD result = 0;
    if (!SetupScanFileQueueW(queue.get(), SPQ_SCAN_USE_CALLBACK, nullptr, collectFile, &files, &result))
        files.clear();
    theLog.write(zor::Detail, 155, [&](zor::LoggerStream& line) {
        line << zor::SprintfFormat("_getDriverFiles - elapsed seconds: %1.6f seconds\n",
                                   stopwatch.getElapsed());
    });
    return files;
}

zor::String DriverPackage::toString(unsigned indent, unsigned step) const {
    const zor::String outer = zor::String::repeat(u' ', indent * step);
    const zor::String inner = outer + zor::String::repeat(u' ', step);
    zor::String report;
    report.reserveCapacity(300);
    const auto line = [&](const zor::String& prefix, const char* label, const zor::String& value) {
        report += prefix;
        report += label;
        report += value;
        report += "\n";
    };
    line(outer, "Driver:", {});
    line(inner, "Provider           : ", m_driverProvider);
    line(inner, "Version            : ", m_driverVersion);
    line(inner, "Date               : ", m_driverDate.dateStampString());
    line(inner, "Device Description : ", m_driverDeviceDescription);
    line(outer, "INF:", {});
    line(inner, "File Name    : ", m_infFileName);
    line(inner, "Section Name : ", m_infSectionName);
    line(inner, "Date         : ", m_infDate.dateStampString());
    if (m_driverFiles.empty()) return report;
    line(outer, "Driver Files     :", {});
    for (const zor::WindowsFile& file : m_driverFiles) {
        zor::String text = file.getFileName();
        zor::String version;
        if (file.getFileVersion(version)) {
            text += " - ";
            text += version;
        }
        line(inner, "   ", text);
    }
    return report;
}

}  // namespace libSysmira
