// Machine files: a simulated PC described in JSON (docs/machine-files.md), and the PC that is bundled.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "simulation/machine/Machine.h"

namespace simulation {

/// A mistake in a machine file. what() is one sentence: the place (line and column for JSON syntax, the path
/// in the document otherwise), what was found and what was expected.
class MachineFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads a machine from JSON text; `source` names it in errors. Throws MachineFileError.
Machine readMachine(std::string_view json, const std::string& source);

/// The JSON of the bundled PC, compiled in.
std::string_view bundledMachine();

}  // namespace simulation
