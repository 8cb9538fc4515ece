#include "tools/sysmira/Output.h"

#include <nlohmann/json.hpp>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

// Of a sentence with a long argument in it both ends say what is wrong.
std::string shortened(std::string_view text) {
    constexpr std::size_t longest = 1000, beginning = 500, ending = 300;
    if (text.size() <= longest) return std::string(text);
    const auto continues = [&](std::size_t at) { return (text[at] & 0xC0) == 0x80; };
    std::size_t begin = beginning, end = text.size() - ending, left = 0;
    while (begin > beginning - 4 && continues(begin)) --begin;
    while (end > begin && end > text.size() - ending - 4 && continues(end)) --end;
    for (std::size_t at = begin; at < end; ++at) left += continues(at) ? 0 : 1;
    return std::string(text.substr(0, begin)) + "... (" + std::to_string(left) + " characters left out) ..." +
           std::string(text.substr(end));
}

}  // namespace

void writeSentence(std::ostream& err, std::string_view text) {
    const std::string sentence = printable(shortened(text));
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
