#include "libSysmira/enumeration/DriverPackage.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "simulation/control/Call.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

Result package() {
    const libSysmira::WindowsDevice device(diskId);
    return {device.getDriverPackage()->isValid(), plain(device.getDriverPackage()->toString(0, 1))};
}

// Without memory a package is whole, or invalid and empty.
std::string checkPackage(const Result& result, const Result& clean, Failure failure) {
    if (failure != Failure::Allocation)
        return linesMayLose({"0.0.0.0", "1601-01-01"})(result, clean, failure);
    static const std::string empty = plain(libSysmira::DriverPackage({}, SP_DEVINFO_DATA{}).toString(0, 1));
    if (result.output == (result.success ? clean.output : empty)) return {};
    return "half a package: " + result.output;
}

// The files are named only when all of them were found.
Result files() {
    const libSysmira::WindowsDevice device(diskId);
    std::string names;
    for (const zor::WindowsFile& file : device.getDriverPackage()->getDriverFiles()) {
        names += plain(file.getFileName()) + "\n";
    }
    return {!names.empty(), names};
}

// The queue stays open when Windows refuses the parameters that no longer name it.
bool mayLeaveQueue(const std::string& left) {
    if (left != "file queue of SetupOpenFileQueue\n") return false;
    std::string lastResult;
    for (const simulation::JournalEntry& entry : simulation::control().journal()) {
        if (entry.function->isCalled("SetupDiSetDeviceInstallParamsW")) lastResult = entry.result;
    }
    return lastResult != "1";
}

}  // namespace

std::vector<Operation> driverPackageOperations() {
    return {
        {"PackageConstruction", smallPc, package, checkPackage},
        {"PackageFiles", smallPc, files, clearedOnFailure(), throwsNothing, "", mayLeaveQueue},
    };
}

}  // namespace sweep
