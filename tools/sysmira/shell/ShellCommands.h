// "sysmira help", "help-file" and "network-properties": windows of Windows' own.
#pragma once

#include <string>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct ShellRequest {
    std::string helpTopic;
    std::string helpFile, helpFileTopic;
    std::string connection;
};

// Each throws CommandFailure.

void runHelp(const ShellRequest& request, Output& output);
void runHelpFile(const ShellRequest& request, Output& output);
void runNetworkProperties(const ShellRequest& request, Output& output);

}  // namespace sysmira
