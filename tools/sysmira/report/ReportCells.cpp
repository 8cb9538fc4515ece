#include "tools/sysmira/report/ReportCells.h"

#include <cmath>

#include "support/SprintfFormat.h"
#include "tools/sysmira/events/EventText.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Sizes.h"

namespace sysmira {

namespace {

const ReportText nothing = "-";

ReportText numeric(const JsonPath& place, const std::string& text) {
    return ReportSpan{text, place.pointer(), place.value()->dump()};
}

// Two digits behind the point, unless it is whole.
std::string realText(double value) {
    if (!std::isfinite(value)) return "not a number";
    return toUtf8(zor::SprintfFormat(value == std::floor(value) ? "%.0f" : "%.2f", value));
}

}  // namespace

ReportText textCell(const JsonPath& place) {
    const std::string text = printable(place.toText());
    return text.empty() ? nothing : ReportText(ReportSpan{text, place.pointer(), ""});
}

ReportText linesCell(const JsonPath& place) {
    const std::string text = printableLines(place.toText(), /*indent=*/0);
    return text.empty() ? nothing : ReportText(ReportSpan{text, place.pointer(), ""});
}

ReportText numberCell(const JsonPath& place) {
    if (!place.isNumber()) return nothing;
    if (place.value()->is_number_unsigned())
        return numeric(place, grouped(place.toNumber<unsigned long long>()));
    if (place.value()->is_number_integer())
        return numeric(place, std::to_string(place.toNumber<long long>()));
    return numeric(place, realText(place.toNumber<double>()));
}

ReportText plainCell(const JsonPath& place) {
    return place.isNumber() ? numeric(place, place.value()->dump()) : nothing;
}

ReportText sizeCell(const JsonPath& place, bool full) {
    if (!place.isNumber()) return nothing;
    const auto bytes = place.toNumber<unsigned long long>();
    return numeric(place, full ? fullSize(bytes) : shortSize(bytes));
}

ReportText yesNoCell(const JsonPath& place) {
    if (place.isNull()) return "not known";
    return ReportSpan{place.isTrue() ? "yes" : "no", place.pointer(), place.value()->dump()};
}

ReportText listCell(const JsonPath& place) {
    ReportText text;
    for (const JsonPath& item : place.items()) {
        if (!text.empty()) text += ", ";
        text += anyCell(item);
    }
    return text.empty() ? nothing : text;
}

ReportText anyCell(const JsonPath& place) {
    if (place.isText()) return textCell(place);
    if (place.isNumber()) return numberCell(place);
    if (place.isNull()) return nothing;
    if (place.value()->is_boolean()) return yesNoCell(place);
    if (place.value()->is_array()) return listCell(place);
    return printable(place.value()->dump(-1, ' ', false, JsonPath::Json::error_handler_t::replace));
}

ReportText timeCell(const JsonPath& place) {
    std::string text = printable(place.toText());
    if (text.size() < 19 || text[10] != 'T') return textCell(place);
    const std::size_t offset = text.find_first_of("Z+-", 19);
    const std::string zone = offset == std::string::npos ? "" : " UTC" + text.substr(offset);
    text = text.substr(0, 10) + " " + text.substr(11, 8) + (zone == " UTCZ" ? " UTC" : zone);
    return ReportSpan{text, place.pointer(), place.toText()};
}

}  // namespace sysmira
