// The parts of the table of operations, one for each family of classes, and what their rows are written with.
#pragma once

#include <string>
#include <vector>

#include "support/Array.h"
#include "support/Buffer.h"
#include "support/CString.h"
#include "support/String.h"
#include "tests/sweep/Sweep.h"

namespace sweep {

std::vector<Operation> supportOperations();
std::vector<Operation> deviceTreeOperations();
std::vector<Operation> deviceRecordOperations();
std::vector<Operation> deviceSetOperations();
std::vector<Operation> driverPackageOperations();
std::vector<Operation> counterOperations();
std::vector<Operation> storageOperations();
std::vector<Operation> utilityOperations();
std::vector<Operation> wmiOperations();
std::vector<Operation> displayOperations();
std::vector<Operation> eventOperations();

/// A PC with a bus, a controller, a disk with everything a device can have, a hidden volume, an absent, a
/// disabled and a floppy device.
void smallPc(simulation::Machine& machine);
constexpr char diskId[] = "SCSI\\DISK&VEN_NORD\\5&3&0";
constexpr char busId[] = "PCI\\VEN_1234&DEV_0001\\3&1&0";

/// What stands in an output before the operation.
constexpr char before[] = "before";

inline std::string plain(const zor::String& text) { return text.getUTF8String().c_str(); }

inline std::string plain(const zor::Array<zor::String>& texts) {
    std::string joined;
    for (const zor::String& text : texts) joined += plain(text) + "\n";
    return joined;
}

inline std::string plain(const zor::Buffer<unsigned char>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace sweep
