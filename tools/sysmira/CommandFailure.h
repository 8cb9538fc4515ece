// What ends a subcommand early.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace sysmira {

enum ExitStatus : int { Done = 0, NotRead = 1, WrongUsage = 2 };

/// Why something could not be read.
enum class FailureCause {
    Other,
    Denied,        ///< Windows does not let this user have it
    NotSupported,  ///< this system has no such thing
};

/// Of a Windows error code.
FailureCause causeOfError(std::uint32_t error);
/// Of what a COM or WMI call answered.
FailureCause causeOfResult(std::int32_t result);

/// A sentence for the user, without the full stop, and the exit status.
class CommandFailure : public std::runtime_error {
public:
    CommandFailure(ExitStatus status, const std::string& sentence, FailureCause cause = FailureCause::Other)
        : std::runtime_error(sentence), m_status(status), m_cause(cause) {}
    ExitStatus getStatus() const { return m_status; }
    FailureCause getCause() const { return m_cause; }

private:
    ExitStatus m_status;
    FailureCause m_cause;
};

}  // namespace sysmira
