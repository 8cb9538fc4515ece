// Facts in two columns: a label, and what it is.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace sysmira {

class Fields {
public:
    /// The value is printable text; an empty one becomes "-".
    void add(std::string label, std::string value);

    /// A line for each, the values below one another, `indent` blanks in front.
    std::string toText(std::size_t indent) const;

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
};

}  // namespace sysmira
