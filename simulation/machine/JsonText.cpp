#include "simulation/machine/JsonText.h"

#include <algorithm>
#include <set>
#include <vector>

#include "simulation/machine/JsonPlace.h"
#include "simulation/machine/MachineFile.h"

namespace simulation {

namespace {

using nlohmann::json;

// Shallow enough for whoever walks the document.
constexpr size_t DeepestNesting = 400;

// Where the reader of the text is.
class Position {
public:
    explicit Position(std::string source) : m_source(std::move(source)) {}

    void follow(json::parse_event_t event, const json& value) {
        switch (event) {
            case json::parse_event_t::object_start:
            case json::parse_event_t::array_start:
                if (m_levels.size() == DeepestNesting) {
                    fail("found lists and objects nested more than " + std::to_string(DeepestNesting) +
                         " deep, expected a PC");
                }
                m_levels.push_back({event == json::parse_event_t::array_start, 0, {}, {}});
                break;
            case json::parse_event_t::object_end:
            case json::parse_event_t::array_end:
                m_levels.pop_back();
                finishElement();
                break;
            case json::parse_event_t::key:
                m_levels.back().name = value.get<std::string>();
                if (!m_levels.back().names.insert(m_levels.back().name).second) {
                    fail("found this member twice, expected it once");
                }
                break;
            case json::parse_event_t::value:
                finishElement();
                break;
        }
    }

    [[noreturn]] void fail(const std::string& sentence) const {
        std::string path;
        for (const Level& level : m_levels) {
            path = level.isArray ? path + "[" + std::to_string(level.index) + "]"
                                 : JsonPlace::memberPath(path, level.name);
        }
        throw MachineFileError(m_source + ": " + (path.empty() ? "" : path + ": ") + sentence);
    }

private:
    struct Level {
        bool isArray;
        size_t index;
        std::string name;
        std::set<std::string> names;
    };

    void finishElement() {
        if (!m_levels.empty() && m_levels.back().isArray) ++m_levels.back().index;
    }

    std::string m_source;
    std::vector<Level> m_levels;
};

// The JSON library's own words, without its "[json.exception…] parse error at line …: ".
std::string wordsOf(const json::exception& error, std::string_view start) {
    const std::string_view words = error.what();
    const size_t begin = words.find(start);
    return std::string(begin == std::string_view::npos ? words : words.substr(begin + start.size()));
}

[[noreturn]] void failSyntax(std::string_view text, const json::parse_error& error,
                             const std::string& source) {
    const size_t at = std::min<size_t>(error.byte == 0 ? 0 : error.byte - 1, text.size());
    const std::string_view before = text.substr(0, at);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const size_t lineEnd = before.rfind('\n');
    const size_t column = at - (lineEnd == std::string_view::npos ? 0 : lineEnd + 1) + 1;
    throw MachineFileError(source + ": line " + std::to_string(line) + ", column " + std::to_string(column) +
                           ": " + wordsOf(error, ": "));
}

}  // namespace

json parseJson(std::string_view text, const std::string& source) {
    Position position(source);
    try {
        return json::parse(text, [&](int, json::parse_event_t event, json& value) {
            position.follow(event, value);
            return true;
        });
    } catch (const json::parse_error& error) {
        failSyntax(text, error, source);
    } catch (const json::exception& error) {
        position.fail(wordsOf(error, "] "));
    }
}

}  // namespace simulation
