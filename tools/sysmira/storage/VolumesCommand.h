// `sysmira volumes`: every file-system volume.
#pragma once

#include "tools/sysmira/Output.h"

namespace sysmira {

/// All volumes, hidden ones too, with what Windows tells of each.
void runVolumes(Output& output);

}  // namespace sysmira
