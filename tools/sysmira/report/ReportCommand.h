// `sysmira report`: everything about this PC, section by section.
#pragma once

#include "tools/sysmira/Output.h"
#include "tools/sysmira/report/ReportDocument.h"

namespace sysmira {

/// As text, as one JSON document (docs/report-schema.md), or as an HTML page in a file; with a file and
/// --json, both, of the same findings. What is missing is told in the sections' status; sections of
/// which nothing could be read ("failed") fail the command once the report is written. Throws CommandFailure.
void runReport(const ReportRequest& request, Output& output);

}  // namespace sysmira
