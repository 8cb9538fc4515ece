// The report as one JSON document, put together from what the sections' processes find.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct ReportRequest {
    std::vector<std::string> sections;  ///< names; none: all
    std::string htmlFile;               ///< where the page goes; empty: nowhere
    unsigned timeoutSeconds = 120;      ///< of each section
    std::string piecesOf;               ///< the section that this process reads for another one; empty: none
    /// Of the options that the processes get as well: --log PRIORITY.
    std::vector<std::string> passedOn;
};

/// Reads the sections one after the other, each in a process of its own: whatever happens there costs that
/// section the rest of what it would have told, and nothing else.
///
/// docs/report-schema.md describes the document.
nlohmann::ordered_json readReport(const ReportRequest& request, std::ostream& err);

}  // namespace sysmira
