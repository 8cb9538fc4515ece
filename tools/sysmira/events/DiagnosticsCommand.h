// `sysmira diagnostics`: what Windows' own memory test and disk diagnostics have found.
#pragma once

#include "tools/sysmira/Output.h"

namespace sysmira {

/// Results of memory tests and predictions of disk failures, newest first. Throws CommandFailure, after
/// printing what could be read.
void runDiagnostics(Output& output);

}  // namespace sysmira
