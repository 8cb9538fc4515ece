#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>
#include <utility>

#include "simulation/machine/Machine.h"
#include "simulation/machine/MachineFile.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Target.h"

namespace sysmira {

namespace {

bool theMachineStays = false;

std::string readFile(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()) || file.bad()) {
        const char* const reason = errno != 0 ? std::strerror(errno) : "it holds nothing";
        throw CommandFailure(NotRead, "the machine file \"" + path + "\" cannot be read: " + reason);
    }
    return text.str();
}

// As it stands before anything is done with it; read once.
const simulation::Machine& bundled() {
    static const simulation::Machine pc =
        simulation::readMachine(simulation::bundledMachine(), "bundled.json");
    return pc;
}

}  // namespace

std::vector<std::string> programArguments(int count, char** arguments) {
    return {arguments + (count > 0 ? 1 : 0), arguments + count};
}

Utf8Console::Utf8Console() = default;
Utf8Console::~Utf8Console() = default;

bool errorsGoToTerminal() { return isatty(STDERR_FILENO) != 0; }

bool canChooseMachine() { return true; }

void keepMachine() { theMachineStays = true; }

void chooseMachine(const std::string& file) {
    if (theMachineStays) return;
    try {
        simulation::machine() = file.empty() ? bundled() : simulation::readMachine(readFile(file), file);
    } catch (const simulation::MachineFileError& error) {
        throw CommandFailure(NotRead, error.what());
    }
}

bool isTerminal(const std::ostream& out) { return &out == &std::cout && isatty(STDOUT_FILENO) == 1; }

std::vector<std::string> takeSimulatedWindows() {
    return std::exchange(simulation::machine().shell.opened, {});
}

void waitForWindows() {}

void keepPace(unsigned milliseconds) {
    // A wait without an end leaves the processor to others even so.
    const unsigned taken = errorsGoToTerminal() ? milliseconds : std::min(milliseconds, 1u);
    std::this_thread::sleep_for(std::chrono::milliseconds(taken));
}

}  // namespace sysmira
