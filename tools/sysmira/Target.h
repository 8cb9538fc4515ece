// What depends on where the command runs: on Windows it shows the PC that it runs on, on Linux a simulated
// one.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace sysmira {

/// The arguments that follow the program's name, as UTF-8.
std::vector<std::string> programArguments(int count, char** arguments);

/// While it lives, the console takes UTF-8.
class Utf8Console {
public:
    Utf8Console();
    ~Utf8Console();
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

private:
    [[maybe_unused]] unsigned m_before = 0;  // on Windows
};

/// Whether somebody may be watching what goes to stderr.
bool errorsGoToTerminal();

/// Whether the PC can be chosen (option --machine).
bool canChooseMachine();
/// Makes the PC of a machine file, or the bundled one when `file` is empty, the one that is asked. Throws
/// CommandFailure. Does nothing where there is no choice.
void chooseMachine(const std::string& file);
/// From now on chooseMachine leaves the PC as it is: for a copy of this process, which the PC came along
/// with.
void keepMachine();

/// Whether that stream is the program's standard output and somebody looks at it on a terminal.
bool isTerminal(const std::ostream& out);

/// What the simulated PC's shell has opened since; empty on Windows, where the windows are there to see.
std::vector<std::string> takeSimulatedWindows();
/// Keeps the program's windows alive until the user has closed them, or Ctrl+C. Returns at once on Linux.
void waitForWindows();

/// Called after a wait of so many milliseconds in which nothing came, where waiting has no end of its own. On
/// Linux, where the simulated PC's time passes at once, it really takes that time if a user watches (stderr
/// is a terminal), and hardly any otherwise.
void keepPace(unsigned milliseconds);

}  // namespace sysmira
