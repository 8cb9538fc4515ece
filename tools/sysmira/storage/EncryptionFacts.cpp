#include "tools/sysmira/storage/EncryptionFacts.h"

#include "libSysmira/wmi/Wmi.h"
#include "support/SprintfFormat.h"
#include "tools/sysmira/wmi/ComErrorNames.h"

namespace sysmira {

using libSysmira::getLastWmiResult;

namespace {

// The reason right after a failure. Success means that WMI's answer was incomplete.
EncryptionFacts refused() {
    const HRESULT result = getLastWmiResult();
    return {{}, SUCCEEDED(result) ? "WMI's answer is incomplete" : "WMI answers " + describeResult(result)};
}

// The library reports a volume as not encrypted even when Windows lists no row for it.
bool isEncryptable(char letter) {
    libSysmira::WmiNamespace wmi;
    libSysmira::WmiQueryResult rows;
    libSysmira::WmiObject row;
    const char text[] = {letter, '\0'};
    return wmi.connect("root\\cimv2\\Security\\MicrosoftVolumeEncryption") &&
           wmi.query(zor::SprintfFormat(
                         "Select DriveLetter from Win32_EncryptableVolume where DriveLetter='%s:'", text),
                     rows) &&
           rows.next(row, static_cast<DWORD>(WBEM_INFINITE));
}

}  // namespace

EncryptionFacts readEncryption(const libSysmira::Volume& volume) {
    char letter = 0;
    if (!volume.getDriveLetter(letter)) return {{}, "Windows is asked by letter"};
    bool enabled = false;
    if (!volume.isBitLockerEnabled(enabled)) return refused();
    if (enabled) return {true, ""};
    try {
        if (isEncryptable(letter)) return {false, ""};
    } catch (const libSysmira::InitializationError&) {
        return refused();
    }
    if (getLastWmiResult() != WBEM_S_FALSE) return refused();
    return {{}, "it is not among the volumes that Windows can encrypt"};
}

}  // namespace sysmira
