// `sysmira tree`: the device tree.
#pragma once

#include "tools/sysmira/Output.h"

namespace sysmira {

/// Throws CommandFailure when Windows does not tell the tree's root.
void runTree(bool withHidden, Output& output);

}  // namespace sysmira
