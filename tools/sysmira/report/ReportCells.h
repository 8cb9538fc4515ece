// Values of the report's document as texts that remember where they come from.
#pragma once

#include "tools/sysmira/report/JsonPath.h"
#include "tools/sysmira/report/ReportBlocks.h"

namespace sysmira {

/// Printable; "-" when there is none or it is empty.
ReportText textCell(const JsonPath& place);
/// The same, its lines kept.
ReportText linesCell(const JsonPath& place);
/// "1,234", "57.25"; "-" when it is no number.
ReportText numberCell(const JsonPath& place);
/// A whole number that is no amount: "1920", a code, a year.
ReportText plainCell(const JsonPath& place);
/// "931.51 GB"; with `full` the bytes behind it.
ReportText sizeCell(const JsonPath& place, bool full = false);
ReportText yesNoCell(const JsonPath& place);
/// Several texts, or numbers, parted by commas.
ReportText listCell(const JsonPath& place);
/// Whatever it is.
ReportText anyCell(const JsonPath& place);
/// "2026-02-07 10:44:12 UTC" of "2026-02-07T10:44:12Z", "… UTC+01:00" of "…+01:00".
ReportText timeCell(const JsonPath& place);

}  // namespace sysmira
