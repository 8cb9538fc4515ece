// `sysmira displays`: the monitors on the desktop, their modes and what their EDIDs say.
#pragma once

#include <string>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct DisplaysRequest {
    std::string name;      ///< of one display: its port, its device name, path or instance ID; empty: all
    bool edid = false;     ///< the EDIDs' bytes and what they say
    std::string edidFile;  ///< where the EDID of the one display goes, byte for byte; empty: nowhere
    bool picture = false;  ///< the arrangement of the desktop
};

/// Throws CommandFailure: there is no such display, the file cannot be written, or an EDID that was asked for
/// cannot be read (after everything else was printed).
void runDisplays(const DisplaysRequest& request, Output& output);

}  // namespace sysmira
