// A machine file of any content gives a PC or a MachineFileError.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "simulation/machine/MachineFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        (void)simulation::readMachine({reinterpret_cast<const char*>(data), size}, "machine.json");
    } catch (const simulation::MachineFileError&) {
    }
    return 0;
}
