// Device texts on their way to a console: whatever a device calls itself, it cannot drive the terminal, forge
// a line of a report or shift a column.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/String.h"

namespace sysmira {

/// UTF-8; lone surrogates become U+FFFD.
std::string toUtf8(const zor::String& text);

/// The text with control characters, line and paragraph separators and the invisible marks that turn the
/// direction of writing made visible ("\n", "\x1B", "\u202E"). Bytes that are no UTF-8 become U+FFFD.
std::string printable(std::string_view text);
std::string printable(const zor::String& text);

/// The columns that a printable text takes on a console: 2 for East Asian wide characters, 0 for combining
/// ones.
std::size_t displayWidth(std::string_view text);
/// The text followed by blanks up to `width` columns; a wider text stays as it is.
std::string padded(std::string text, std::size_t width);

/// A value in a report and the label that stands right before it.
using ReportField = std::pair<std::string, zor::String>;
/// One of the library's reports with the named values, in the order in which they stand there, made
/// printable.
std::string printableReport(const zor::String& report, const std::vector<ReportField>& fields);

/// The candidate most like `text`, ignoring the case of ASCII letters; empty when none is near.
std::string nearest(std::string_view text, const std::vector<std::string>& candidates);

}  // namespace sysmira
