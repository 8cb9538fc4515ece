#include "tools/sysmira/text/TreePicture.h"

#include <algorithm>

#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

// What stands before the name of each row.
std::vector<std::string> branchesOf(const std::vector<TreeRow>& rows) {
    std::vector<bool> hasLaterChild(rows.size()), isLast(rows.size(), true);
    for (std::size_t i = rows.size(); i-- > 0;) {
        if (!rows[i].parent) continue;
        isLast[i] = !hasLaterChild[*rows[i].parent];
        hasLaterChild[*rows[i].parent] = true;
    }
    // What continues a parent's own branch stands before its children's.
    std::vector<std::string> branches(rows.size()), continued(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].parent) continue;
        const std::string& before = continued[*rows[i].parent];
        branches[i] = before + (isLast[i] ? "└─ " : "├─ ");
        continued[i] = before + (isLast[i] ? "   " : "│  ");
    }
    return branches;
}

}  // namespace

std::string drawTree(const std::vector<TreeRow>& rows) {
    constexpr std::size_t widestColumn = 76;
    std::vector<std::string> names = branchesOf(rows);
    std::size_t width = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        names[i] += rows[i].name;
        if (const std::size_t taken = displayWidth(names[i]); taken <= widestColumn)
            width = std::max(width, taken);
    }
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i)
        text += padded(std::move(names[i]), width) + "  " + rows[i].id + "\n";
    return text;
}

}  // namespace sysmira
