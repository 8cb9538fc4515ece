// What of each section's data is shown, and in which form.
#pragma once

#include <string>
#include <vector>

#include "tools/sysmira/report/JsonPath.h"
#include "tools/sysmira/report/ReportBlocks.h"

namespace sysmira {

/// Of the section of that name. Pieces that are not there are left out.
std::vector<ReportBlock> layOutSection(const std::string& name, const JsonPath& data);

}  // namespace sysmira
