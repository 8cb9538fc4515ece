// The report's document as blocks to be shown.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/sysmira/report/ReportBlocks.h"

namespace sysmira {

/// Whatever the document lacks is left out or shown as "-".
ReportLayout layOut(const nlohmann::ordered_json& report);

/// UTF-8 for a console.
std::string toText(const ReportLayout& layout);

/// One HTML page that needs nothing else: no network, no files, no scripts but its own few lines. Texts of
/// the PC are text there, whatever they hold. Each shown value of the document carries its JSON Pointer
/// (data-json), numbers also their value.
std::string toHtml(const ReportLayout& layout);

}  // namespace sysmira
