// What ends a subcommand early.
#pragma once

#include <stdexcept>
#include <string>

namespace sysmira {

enum ExitStatus : int { Done = 0, NotRead = 1, WrongUsage = 2 };

/// A sentence for the user, without the full stop, and the exit status.
class CommandFailure : public std::runtime_error {
public:
    CommandFailure(ExitStatus status, const std::string& sentence)
        : std::runtime_error(sentence), m_status(status) {}
    ExitStatus getStatus() const { return m_status; }

private:
    ExitStatus m_status;
};

}  // namespace sysmira
