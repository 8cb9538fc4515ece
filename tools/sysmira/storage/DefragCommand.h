// "sysmira defrag": how fragmented a volume is.
#pragma once

#include <string>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct DefragRequest {
    std::string volume;  ///< "C", "c:" or "C:\"; empty: list the fixed volumes
};

/// Throws CommandFailure.
void runDefrag(const DefragRequest& request, Output& output);

}  // namespace sysmira
