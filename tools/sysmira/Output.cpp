#include "tools/sysmira/Output.h"

#include <nlohmann/json.hpp>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

void writeSentence(std::ostream& err, std::string_view text) {
    const std::string sentence = printable(text);
    const bool ends = !sentence.empty() && (sentence.back() == '?' || sentence.back() == '.');
    err << "sysmira: " + sentence + (ends ? "\n" : ".\n") << std::flush;
}

std::vector<std::string> readSentences(std::string_view text) {
    constexpr std::string_view name = "sysmira: ";
    std::vector<std::string> sentences;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.substr(0, name.size()) == name) line.remove_prefix(name.size());
        if (!line.empty() && line.back() == '.') line.remove_suffix(1);
        if (!line.empty()) sentences.emplace_back(line);
    }
    return sentences;
}

bool Output::onTerminal() const { return isTerminal(m_out); }

void Output::print(std::string_view text) {
    m_out << text << std::flush;
    if (!m_out) throw CommandFailure(NotRead, "the result could not be written");
}

void Output::printDocument(const nlohmann::ordered_json& document) {
    constexpr int indent = 2;
    print(
        document.dump(indent, ' ', /*ensure_ascii=*/false, nlohmann::ordered_json::error_handler_t::replace) +
        "\n");
}

void Output::printLine(const nlohmann::ordered_json& document) {
    print(document.dump(-1, ' ', /*ensure_ascii=*/false, nlohmann::ordered_json::error_handler_t::replace) +
          "\n");
}

}  // namespace sysmira
