#include <algorithm>
#include <set>
#include <sstream>

#include "tests/sweep/Sweep.h"

namespace sweep {

namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string successCheck(const Result& result, const Result& clean, Failure failure) {
    if (failure == Failure::Deception || result.output == clean.output) return {};
    return "success, but the output is \"" + result.output + "\"";
}

}  // namespace

Check clearedOnFailure() {
    return [](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (result.success) return successCheck(result, clean, failure);
        return result.output.empty() ? "" : "failure left \"" + result.output + "\"";
    };
}

Check keptOnFailure(const std::string& before) {
    return [before](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (result.success) return successCheck(result, clean, failure);
        return result.output == before ? "" : "failure changed the output to \"" + result.output + "\"";
    };
}

Check linesMayLose(const std::vector<std::string>& substitutes) {
    return [substitutes](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (failure == Failure::Deception) return {};
        const auto got = linesOf(result.output);
        const auto wanted = linesOf(clean.output);
        std::set<std::string> labels;
        for (const std::string& line : wanted) labels.insert(line.substr(0, line.find(':')));
        for (const std::string& line : got) {
            if (std::find(wanted.begin(), wanted.end(), line) != wanted.end()) continue;
            const size_t colon = line.find(':');
            if (colon == std::string::npos || labels.count(line.substr(0, colon)) == 0) {
                return "unexpected line \"" + line + "\"";
            }
            const std::string value = line.size() > colon + 2 ? line.substr(colon + 2) : "";
            if (!value.empty() &&
                std::find(substitutes.begin(), substitutes.end(), value) == substitutes.end()) {
                return "unexpected value in \"" + line + "\"";
            }
        }
        return {};
    };
}

Check beginningOfIt() {
    return [](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (failure == Failure::Deception) return {};
        if (clean.output.compare(0, result.output.size(), result.output) == 0) return {};
        return "the output is \"" + result.output + "\"";
    };
}

Check someOfTheDevices() {
    return [](const Result& result, const Result&, Failure failure) -> std::string {
        if (failure == Failure::Deception) return {};
        std::set<std::string> seen;
        for (const std::string& line : linesOf(result.output)) {
            if (!line.empty() && simulation::machine().node(simulation::fromUtf8(line)) == nullptr) {
                return "unknown device \"" + line + "\"";
            }
            if (!seen.insert(line).second) return "\"" + line + "\" stands twice";
        }
        return {};
    };
}

Check anyOf(const std::vector<std::string>& outputs) {
    return [outputs](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (failure == Failure::Deception || result.output == clean.output) return {};
        if (std::find(outputs.begin(), outputs.end(), result.output) != outputs.end()) return {};
        return "the output is \"" + result.output + "\"";
    };
}

}  // namespace sweep
