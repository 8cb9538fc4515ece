// Whether a volume is encrypted, as WMI tells.
#include "libSysmira/enumeration/Volume.h"
#include "libSysmira/wmi/Wmi.h"
#include "support/ClassLogger.h"
#include "support/SprintfFormat.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.Volume");

constexpr char encryptionNamespace[] = "root\\cimv2\\Security\\MicrosoftVolumeEncryption";

// The conversion status of a volume: 0 for one that is not encrypted at all.
bool findConversionStatus(const WmiObject& volume, unsigned int& status) {
    WmiObject result;
    if (!volume.execMethod("GetConversionStatus", result)) {
        theLog.write(zor::Detail, __LINE__, [](zor::LoggerStream& line) {
            line << "Volume::isBitLockerEnabled() : The call to GetConversionStatus was NOT successful";
        });
        return false;
    }
    theLog.write(zor::Detail, __LINE__, [](zor::LoggerStream& line) {
        line << "Volume::isBitLockerEnabled() : The call to GetConversionStatus was successful";
    });
    if (result.getProperty("ConversionStatus", status)) return true;
    theLog.write(zor::Detail, __LINE__, [](zor::LoggerStream& line) {
        line << "Volume::isBitLockerEnabled() : cannot find property \"ConversionStatus\"";
    });
    return false;
}

bool askWmi(char driveLetter, bool& enabled) {
    WmiNamespace wmi;
    if (!wmi.connect(encryptionNamespace)) {
        theLog.write(zor::Detail, __LINE__,
                     [](zor::LoggerStream& line) { line << "Problem connecting to namespace"; });
        return false;
    }
    const char letter[] = {driveLetter, '\0'};
    const zor::String query =
        zor::SprintfFormat("Select * from Win32_EncryptableVolume where DriveLetter='%s:'", letter);
    theLog.write(zor::Detail, __LINE__, [&](zor::LoggerStream& line) {
        line << "Volume::isBitLockerEnabled : query = \"" << query << "\"";
    });
    WmiQueryResult result;
    if (!wmi.query(query, result)) {
        theLog.write(zor::Detail, __LINE__, [](zor::LoggerStream& line) {
            line << "Problem querying volume information perhaps due to OS version.";
        });
        return false;
    }
    if (!result.reset()) {
        theLog.write(zor::Detail, __LINE__,
                     [](zor::LoggerStream& line) { line << "Problem iterating over query results"; });
        return false;
    }
    WmiObject volume;
    while (result.next(volume, static_cast<DWORD>(WBEM_INFINITE))) {
        theLog.write(zor::Warning, __LINE__,
                     [](zor::LoggerStream& line) { line << "Volume::isBitLockerEnabled() : found drive"; });
        unsigned int status = 0;
        if (!findConversionStatus(volume, status) || status == 0) continue;
        theLog.write(zor::Detail, __LINE__, [](zor::LoggerStream& line) {
            line << "Volume::isBitLockerEnabled() : \"ConversionStatus\" is non-zero";
        });
        enabled = true;
        return true;
    }
    if (getLastWmiResult() != WBEM_S_FALSE) {
        theLog.write(zor::Detail, __LINE__,
                     [](zor::LoggerStream& line) { line << "Problem iterating over query results"; });
        return false;
    }
    if (!enabled) {
        theLog.write(zor::Warning, __LINE__, [](zor::LoggerStream& line) {
            line << "Volume::isBitLockerEnabled() : No drive volumes found matching our query.";
        });
    }
    return true;
}

}  // namespace

bool Volume::isBitLockerEnabled(bool& enabled) const {
    try {
        return askWmi(m_driveLetter, enabled);
    } catch (const InitializationError& error) {
        theLog.write(zor::Warning, __LINE__, [&](zor::LoggerStream& line) {
            line << "Volume::isBitLockerEnabled() : Error initializing WMI namespace " << encryptionNamespace
                 << ": " << error.getMessage();
        });
        theLog.write(zor::Warning, __LINE__, [](zor::LoggerStream& line) {
            line << "Volume::isBitLockerEnabled() : WMI could not be initialized. The volume BitLocker "
                    "information cannot be determined";
        });
        return false;
    }
}

}  // namespace libSysmira
