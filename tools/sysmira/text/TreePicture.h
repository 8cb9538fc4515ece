// A tree drawn in characters.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sysmira {

struct TreeRow {
    std::string name;                   ///< printable
    std::string id;                     ///< printable
    std::optional<std::size_t> parent;  ///< the index of an earlier row
};

/// A line for each row: its branch, its name, and its ID in a column behind the names.
std::string drawTree(const std::vector<TreeRow>& rows);

}  // namespace sysmira
