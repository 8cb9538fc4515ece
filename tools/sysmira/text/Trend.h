// A small picture of how a number went.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sysmira {

/// The last `width` values as bars of eight heights between the least and the greatest of them, one column
/// each, blanks where there is no value; filled up with blanks on the right. Values that are all equal make
/// the lowest bars.
std::string trendOf(const std::vector<std::optional<double>>& values, std::size_t width);

}  // namespace sysmira
