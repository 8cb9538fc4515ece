// `sysmira drives` and `sysmira sector`: physical drives, their volumes, and where a sector lies.
#pragma once

#include <string>
#include <vector>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct DrivesRequest {
    std::string drive;  ///< empty: all
    bool map = false;
    bool lock = false;
};
/// Facts and volumes of all drives or one; a picture of it; or its volumes locked and unlocked. Throws
/// CommandFailure.
void runDrives(const DrivesRequest& request, Output& output);

struct SectorRequest {
    std::string drive;
    std::vector<std::string> sectors;  ///< decimal, or hexadecimal with 0x
};
/// For each sector its volume and cluster, and whether that is in use, or why that is not known. Throws
/// CommandFailure.
void runSector(const SectorRequest& request, Output& output);

}  // namespace sysmira
