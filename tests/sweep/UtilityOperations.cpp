// The defragmentation analysis and the shell's helpers.
#include "libSysmira/utils/DiskDefragmenter.h"
#include "libSysmira/utils/HelpPane.h"
#include "libSysmira/utils/HelpWindow.h"
#include "libSysmira/utils/NetworkUtils.h"
#include "libSysmira/utils/TouchProperty.h"
#include "libSysmira/utils/X64RedirectionManager.h"
#include "support/Exception.h"
#include "support/RaisedException.h"
#include "tests/behaviour/DefragPc.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::DiskDefragmenter;

void utilityPc(simulation::Machine& machine) {
    addDefragVolumes(machine);
    simulation::Volume volume;
    volume.name = u"\\\\?\\Volume{00000000-0000-0000-0000-000000000001}\\";
    volume.mountPoints = {u"C:\\"};
    machine.storage.add(volume);
    machine.files[u"C:\\guide.chm"];
    simulation::addHelpEngine(machine, u"C:\\Windows\\system32\\hhctrl.ocx");
    simulation::addWindowProperties(machine);
    machine.shell.helpPane.emplace();
    machine.shell.windows[reinterpret_cast<HWND>(0x30)];
    machine.shell.connections.emplace();
    (*machine.shell.connections)[u"{5C0E41B2-9A3D-4C6F-8E21-7A90B3D4E5F6}"] = {u"LAN"};
}

struct InCom {
    InCom() { entered = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)); }
    ~InCom() {
        if (entered) CoUninitialize();
    }
    bool entered;
};

Result fixedVolumes() {
    zor::Array<char> letters;
    const bool success = DiskDefragmenter::getFixedDiskVolumes(letters);
    return {success, std::string(letters.begin(), letters.end())};
}

Result analysis() {
    DiskDefragmenter defragmenter('C');
    libSysmira::DefragStatus status;
    DiskDefragmenter::OperationStatus step = DiskDefragmenter::OperationInProgress;
    for (int i = 0; i < 4 && step == DiskDefragmenter::OperationInProgress; ++i)
        step = defragmenter.getDefragStatusNonBlocking(status, 600);
    if (step != DiskDefragmenter::OperationComplete) return {false, ""};
    return {true, std::to_string(status.totalPercentFragmentation) + " " +
                      std::to_string(status.filePercentFragmentation) + " " +
                      std::to_string(status.freeSpacePercentFragmentation)};
}

Result methodReturnValue() {
    DiskDefragmenter defragmenter('C');
    libSysmira::DefragStatus status;
    defragmenter.getDefragStatusNonBlocking(status, 2000);
    unsigned int value = 77;
    const bool success = defragmenter.getMethodReturnValue(value);
    return {success, success ? std::to_string(value) : ""};
}

Result helpWindow() {
    struct Forget {
        ~Forget() { libSysmira::forgetHelpEngine(); }
    } const atEnd;
    return {libSysmira::displayHelpWindowToTopic("C:\\guide.chm", "fans.htm"), ""};
}

Result helpPane() { return {libSysmira::LaunchVistaHelp("fans"), ""}; }

Result networkDialog() {
    const InCom com;
    return {
        libSysmira::NetworkUtils::displayNetworkPropertiesDialog("{5C0E41B2-9A3D-4C6F-8E21-7A90B3D4E5F6}"),
        ""};
}

Result touch() {
    const InCom com;
    libSysmira::SetTouchDisableProperty(reinterpret_cast<HWND>(0x30), 1);
    libSysmira::forgetWindowProperties();
    return {true, ""};
}

Result redirection() {
    libSysmira::X64RedirectionManager manager;
    return {manager.disableRedirection() && manager.restoreRedirection() && !manager.isWow64Process(), ""};
}

// Constructing the defragmenter enters COM and needs WMI's locator.
bool wmiIsNotThere(const std::exception& exception, Failure failure) {
    if (dynamic_cast<const zor::Exception*>(&exception) != nullptr) return true;
    return failure == Failure::Deception && dynamic_cast<const zor::RaisedException*>(&exception) != nullptr;
}

}  // namespace

std::vector<Operation> utilityOperations() {
    return {
        {"FixedVolumes", utilityPc, fixedVolumes, anyOf({"", "C"})},
        {"DefragAnalysis", utilityPc, analysis, clearedOnFailure(), wmiIsNotThere},
        {"DefragReturnValue", utilityPc, methodReturnValue, clearedOnFailure(), wmiIsNotThere},
        {"HelpWindow", utilityPc, helpWindow, clearedOnFailure()},
        {"HelpPane", utilityPc, helpPane, clearedOnFailure()},
        {"NetworkDialog", utilityPc, networkDialog, clearedOnFailure(), throwsNothing},
        {"TouchProperty", utilityPc, touch, clearedOnFailure()},
        {"Redirection", utilityPc, redirection, clearedOnFailure()},
    };
}

}  // namespace sweep
