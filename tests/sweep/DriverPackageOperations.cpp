#include "libSysmira/enumeration/DriverPackage.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

Result package() {
    const libSysmira::WindowsDevice device(diskId);
    return {device.getDriverPackage()->isValid(), plain(device.getDriverPackage()->toString(0, 1))};
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

}  // namespace

std::vector<Operation> driverPackageOperations() {
    return {
        {"PackageConstruction", smallPc, package, linesMayLose({"0.0.0.0", "1601-01-01"})},
        {"PackageFiles", smallPc, files, clearedOnFailure()},
    };
}

}  // namespace sweep
