// The driver installed for one device: provider, version, dates, INF, and the files that it installs. Records
// make it lazily (WindowsDevice::getDriverPackage) and share it.
//
// Construction throws nothing: out of memory, a package is invalid and empty. The file listing and the report
// may throw std::bad_alloc. Nothing is logged except one timing line of the file listing (logger
// "libSysmira.DriverPackage", priority 1). A package is used by one thread at a time, and neither copied nor
// moved.
#pragma once

#include <vector>

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/DeviceInfoList.h"
#include "libSysmira/utils/ScopeExit.h"
#include "support/DateTime.h"
#include "support/String.h"
#include "support/WindowsApi.h"
#include "support/WindowsFile.h"

namespace libSysmira {

class SYSMIRA_API DriverPackage {
public:
    /// Asks Windows for the installed driver (SetupDiBuildDriverInfoList restricted to it,
    /// SetupDiEnumDriverInfoW, SetupDiGetDriverInfoDetailW). The package shares the list from here on.
    ///
    /// When the device's install parameters can be read but not set, no driver is looked for and the package
    /// counts as valid all the same, with empty texts, version "0.0.0.0" and the date 1601-01-01. Callers
    /// that need a real driver check the version, too.
    DriverPackage(const DeviceInfoList& list, const SP_DEVINFO_DATA& data);
    /// Gives up the files, then the share of the list, then asks Windows to free the driver list: with the
    /// handle that is invalid by then, a call without effect. The driver list lives as long as the device
    /// list.
    ~DriverPackage();
    DriverPackage(const DriverPackage&) = delete;
    DriverPackage& operator=(const DriverPackage&) = delete;

    /// Whether the installed driver was found.
    bool isValid() const { return m_valid; }

    const zor::String& getDriverProvider() const { return m_driverProvider; }
    const zor::String& getDeviceManufacturerName() const { return m_deviceManufacturerName; }
    /// Four numbers joined by dots.
    const zor::String& getDriverVersion() const { return m_driverVersion; }
    const zor::String& getDriverDeviceDescription() const { return m_driverDeviceDescription; }
    /// UTC.
    const zor::DateTime& getDriverDate() const { return m_driverDate; }
    /// INF file, section and date are known together or not at all.
    const zor::String& getInfFileName() const { return m_infFileName; }
    const zor::String& getInfSectionName() const { return m_infSectionName; }
    /// UTC.
    const zor::DateTime& getInfDate() const { return m_infDate; }

    /// The files that installing the driver would put in place, asked of the class installer
    /// (DIF_INSTALLDEVICEFILES into a file queue; nothing is copied). Kept once files were found; an empty
    /// result is looked for again at the next call. The device's install parameters are afterwards what they
    /// were before.
    const std::vector<zor::WindowsFile>& getDriverFiles();

    /// Driver and INF, and the files if they have been listed. Headings are preceded by `indent` × `step`
    /// blanks, what stands below them by `step` more.
    zor::String toString(unsigned indent, unsigned step) const;

private:
    struct Inf {
        zor::String fileName;
        zor::String sectionName;
        zor::DateTime date;
    };

    void readDriver();
    Inf readInf();
    std::vector<zor::WindowsFile> _getDriverFiles();

    bool m_valid = false;
    zor::String m_driverProvider;
    zor::String m_deviceManufacturerName;
    zor::DateTime m_driverDate;
    zor::String m_driverVersion;
    zor::String m_driverDeviceDescription;
    zor::String m_infFileName;
    zor::String m_infSectionName;
    zor::DateTime m_infDate;
    ScopeExit m_driverInfoListCleanup;
    DeviceInfoList m_deviceInfoList;
    SP_DEVINFO_DATA m_devInfoData = {};
    SP_DRVINFO_DATA_V2_W m_driverInfo = {};
    std::vector<zor::WindowsFile> m_driverFiles;
};

}  // namespace libSysmira
