// File queues: what stands behind an HSPFILEQ. For simulation/api/setupapi*.cpp.
#pragma once

#include <vector>

#include "simulation/control/HandleTable.h"
#include "simulation/control/Text.h"

namespace simulation {

struct FileQueue {
    std::vector<Text> targets;  ///< the paths that committing the queue would write
};

HandleTable<FileQueue>& fileQueues();

}  // namespace simulation
