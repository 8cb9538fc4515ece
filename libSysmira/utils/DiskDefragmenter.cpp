#include "libSysmira/utils/DiskDefragmenter.h"

#include <mutex>

#include "libSysmira/wmi/Wmi.h"
#include "support/ClassLogger.h"
#include "support/RaisedException.h"
#include "support/SprintfFormat.h"
#include "support/TraceLogger.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.DiskDefragmenter");

void writeLine(int priority, int number, const char* text) {
    theLog.write(priority, number, [&](zor::LoggerStream& line) { line << text; });
}

constexpr WCHAR Recommended[] = L"DefragRecommended";

// Microsoft documents it as an out-parameter of the method and not as a property of Win32_DefragAnalysis.
bool readRecommendation(const WmiObject& analysis, const WmiObject& outParams, bool& recommended) {
    if (analysis.getProperty(Recommended, recommended)) return true;
    const HRESULT found = analysis.getObject()->Get(Recommended, 0, nullptr, nullptr, nullptr);
    return found == static_cast<HRESULT>(WBEM_E_NOT_FOUND) && outParams.getProperty(Recommended, recommended);
}

bool readAnalysis(const WmiObject& analysis, const WmiObject& outParams, DefragStatus& status) {
    return readRecommendation(analysis, outParams, status.defragRecommended) &&
           analysis.getProperty("TotalPercentFragmentation", status.totalPercentFragmentation) &&
           analysis.getProperty("FilePercentFragmentation", status.filePercentFragmentation) &&
           analysis.getProperty("FreeSpacePercentFragmentation", status.freeSpacePercentFragmentation);
}

}  // namespace

DiskDefragmenter::DiskDefragmenter(char driveLetter) : m_driveLetter(driveLetter) {
    m_mutex.init();
    getWmiVolumeObject();
}

// The call result goes first: it needs COM, which the volume object has entered.
DiskDefragmenter::~DiskDefragmenter() {
    m_pCallResult.reset();
    m_pVolume.reset();
    m_mutex.destroy();
}

bool DiskDefragmenter::getFixedDiskVolumes(zor::Array<char>& letters) {
    const DWORD present = GetLogicalDrives();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        if ((present >> (letter - 'A') & 1) == 0) continue;
        const zor::String root = zor::SprintfFormat("%c:\\", letter);
        if (GetDriveTypeW(root.getUCS2Buffer()) == DRIVE_FIXED) letters.append(letter);
    }
    return true;
}

bool DiskDefragmenter::getWmiVolumeObject() {
    WmiNamespace wmi;
    if (!wmi.connect("root\\cimv2")) {
        writeLine(zor::Detail, 124, "Problem connecting to namespace");
        return false;
    }
    WmiQueryResult result;
    const zor::String query = zor::SprintfFormat(
        "Select * from Win32_Volume where DriveType=3 and DriveLetter='%c:'", m_driveLetter);
    if (!wmi.query(query, result)) {
        writeLine(zor::Detail, 129, "Problem querying volume information perhaps due to OS version.");
        return false;
    }
    if (!result.reset()) {
        writeLine(zor::Detail, 134, "Problem iterating over query results");
        return false;
    }
    WmiObject volume;
    if (!result.next(volume, static_cast<DWORD>(WBEM_INFINITE))) {
        writeLine(zor::Warning, 144, "No drive volumes found matching our query.");
        return false;
    }
    m_pVolume = std::make_unique<WmiObject>(volume);
    if (result.next(volume, static_cast<DWORD>(WBEM_INFINITE))) {
        writeLine(zor::Warning, 148, "Multiple objects returned when one expected");
    }
    return true;
}

bool DiskDefragmenter::startDefragAnalysis() {
    const zor::TraceLogger trace(theLog, "DiskDefragmenter::startDefragAnalysis()", __FILE__, __LINE__);
    WmiCallResult callResult;
    if (!m_pVolume->execMethodNonBlocking("DefragAnalysis", callResult)) {
        writeLine(zor::Warning, 162, "Error invoking 'DefragAnalysis' method");
        return false;
    }
    m_pCallResult = std::make_unique<WmiCallResult>(callResult);
    return true;
}

void DiskDefragmenter::forgetAnalysis() {
    m_state = Idle;
    m_pCallResult.reset();
}

DiskDefragmenter::OperationStatus DiskDefragmenter::getDefragStatusNonBlocking(DefragStatus& status,
                                                                               unsigned int timeoutMs) {
    if (m_pVolume == nullptr) {
        writeLine(zor::Warning, 57, "Could not find volume, cannot get degrag status");
        return OperationFailed;
    }
    const std::lock_guard<zor::mutex> lock(m_mutex);
    try {
        return poll(status, timeoutMs);
    } catch (const zor::RaisedException&) {
        // WMI reported success and returned nothing.
        forgetAnalysis();
        return OperationFailed;
    } catch (...) {
        // This thread is in another apartment, or memory lacks: an analysis that runs is for the next poll.
        if (m_pCallResult == nullptr) m_state = Idle;
        throw;
    }
}

bool DiskDefragmenter::getMethodReturnValue(unsigned int& value) const {
    const std::lock_guard<zor::mutex> lock(m_mutex);
    if (m_hasReturnValue) value = m_returnValue;
    return m_hasReturnValue;
}

DiskDefragmenter::OperationStatus DiskDefragmenter::poll(DefragStatus& status, unsigned int timeoutMs) {
    WmiObject outParams;  // first: it enters COM on this thread
    if (m_state == Idle) {
        m_state = Started;
        m_hasReturnValue = false;
        startDefragAnalysis();  // what there is to poll tells whether it did
    }
    if (m_state != Started) {
        writeLine(zor::Warning, 68, "Problems starting defrag analysis");
        return OperationFailed;
    }
    if (m_pCallResult == nullptr) {
        forgetAnalysis();
        return OperationFailed;
    }
    switch (m_pCallResult->getCallResult(outParams, timeoutMs)) {
        case WmiCallResult::CallPending:
            return OperationInProgress;
        case WmiCallResult::CallComplete:
            forgetAnalysis();
            break;
        case WmiCallResult::CallFailed:
            forgetAnalysis();
            return OperationFailed;
        default:
            m_pCallResult.reset();
            return OperationFailed;
    }
    m_hasReturnValue = outParams.getProperty("ReturnValue", m_returnValue);
    WmiObject analysis;
    if (!outParams.getProperty("DefragAnalysis", analysis)) {
        theLog.write(zor::Warning, 83, [&](zor::LoggerStream& line) {
            zor::String path;
            m_pVolume->getPath(path);
            line << "Problems retrieving defrag analysis from \"" << path << "\"";
        });
        return OperationFailed;
    }
    if (!readAnalysis(analysis, outParams, status)) {
        writeLine(zor::Warning, 94, "Problems reading defragmentation analysis object properties");
        return OperationFailed;
    }
    status.driveLetter = m_driveLetter;
    return OperationComplete;
}

}  // namespace libSysmira
