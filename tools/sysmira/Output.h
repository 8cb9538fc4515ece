// Where a subcommand's result goes: text or one JSON document.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace sysmira {

/// Writes one sentence about what went wrong: the command's name, the text made printable, a full stop.
/// The middle of a text of more than 1,000 bytes is left out.
void writeSentence(std::ostream& err, std::string_view text);

/// The sentences that writeSentence wrote, without name and full stop.
std::vector<std::string> readSentences(std::string_view text);

class Output {
public:
    Output(std::ostream& out, std::ostream& err, bool json) : m_out(out), m_err(err), m_json(json) {}

    /// Whether the user asked for JSON.
    bool wantsJson() const { return m_json; }
    /// Whether the text goes to a terminal.
    bool onTerminal() const;
    /// UTF-8, written at once. Throws CommandFailure when it cannot be written.
    void print(std::string_view text);
    void printDocument(const nlohmann::ordered_json& document);
    /// One document in one line.
    void printLine(const nlohmann::ordered_json& document);
    /// A sentence on stderr beside the result.
    void remark(std::string_view sentence) { writeSentence(m_err, sentence); }
    /// Where sentences go.
    std::ostream& errors() { return m_err; }

private:
    std::ostream& m_out;
    std::ostream& m_err;
    bool m_json;
};

}  // namespace sysmira
