// Runs of the command within the test's own process.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/behaviour/SimulatedPc.h"
#include "tools/sysmira/Command.h"

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// What was opened on the simulated PC is closed again, whatever the outcome.
inline Outcome runCommand(const Strings& arguments) {
    std::ostringstream out, err;
    const int status = sysmira::runSysmira(arguments, out, err);
    EXPECT_EQ(simulation::ledger().describe(), "") << (arguments.empty() ? "" : arguments.back());
    return {status, out.str(), err.str()};
}

/// With --json, which must succeed.
template <class Json = nlohmann::json>
Json runForJson(Strings arguments) {
    arguments.push_back("--json");
    const Outcome outcome = runCommand(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return Json::parse(outcome.out);
}

/// A file of this process alone that goes with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& name)
        : m_path(testing::TempDir() + "sysmira-" + std::to_string(getpid()) + "-" + name) {}
    ~TemporaryFile() { std::remove(m_path.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return m_path; }
    void write(const std::string& text) const { std::ofstream(m_path, std::ios::binary) << text; }
    std::string read() const {
        std::ostringstream text;
        text << std::ifstream(m_path, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::string m_path;
};
