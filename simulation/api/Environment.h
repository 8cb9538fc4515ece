// The environment of the simulated PC.
#pragma once

#include "simulation/control/Text.h"

namespace simulation {

/// A text with its references to variables (%NAME%) replaced; those to none stay.
Text expandEnvironment(const Text& text);

}  // namespace simulation
