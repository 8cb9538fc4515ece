// On Linux the example runs on the bundled simulated PC: the library's Windows calls go there.
#include "simulation/machine/Machine.h"
#include "simulation/machine/MachineFile.h"

namespace {

const bool theChoice = [] {
    simulation::machine() = simulation::readMachine(simulation::bundledMachine(), "bundled.json");
    return true;
}();

}  // namespace
