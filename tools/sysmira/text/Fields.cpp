#include "tools/sysmira/text/Fields.h"

#include <algorithm>

#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

void Fields::add(std::string label, std::string value) {
    m_fields.emplace_back(std::move(label), std::move(value));
}

std::string Fields::toText(std::size_t indent) const {
    std::size_t width = 0;
    for (const auto& [label, value] : m_fields) width = std::max(width, displayWidth(label));
    std::string text;
    for (const auto& [label, value] : m_fields) {
        text += std::string(indent, ' ') + padded(label, width) + "  " + (value.empty() ? "-" : value) + "\n";
    }
    return text;
}

}  // namespace sysmira
