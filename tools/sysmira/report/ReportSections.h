// The sections of the report, each read in a process of its own.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Output.h"

namespace sysmira {

/// Takes what a section finds and hands it on at once, so that it is there even if the process ends at the
/// next step. Each hand-over is one line of JSON: {"piece": NAME, "value": …}, with "item" in place of
/// "piece" for an item of a list; or {"trouble": SENTENCE, "cause": "other" | "denied" | "notSupported"};
/// {"done": true} ends a section.
class SectionOutput {
public:
    explicit SectionOutput(Output& output) : m_output(output) {}

    void add(const std::string& piece, const nlohmann::ordered_json& value);
    void tellTrouble(const std::string& sentence, FailureCause cause = FailureCause::Other);
    void finish();

    /// Runs a subcommand and hands its JSON document on as a piece. What it says beside, or ends with, is
    /// trouble. Gives the piece; null without one.
    nlohmann::ordered_json addResult(const std::string& piece,
                                     const std::function<void(Output&)>& subcommand);
    /// The same of a subcommand that prints lines of JSON: they are handed on as they come, as a list.
    void addLines(const std::string& piece, const std::function<void(Output&)>& subcommand);

    /// Does one step of a section; how it fails is trouble.
    void attempt(const std::function<void()>& step);

private:
    void run(std::ostream& out, const std::function<void(Output&)>& subcommand);

    Output& m_output;
};

struct ReportSection {
    const char* name;   ///< "drives"
    const char* title;  ///< "Drives and volumes"
    void (*read)(SectionOutput& output);
};

/// In the order of the report.
const std::vector<ReportSection>& reportSections();

}  // namespace sysmira
