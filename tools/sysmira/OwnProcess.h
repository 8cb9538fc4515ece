// The command run a second time, so that whatever Windows does to it there ends that process alone.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace sysmira {

/// How such a process ended.
struct ProcessEnd {
    /// It ended by itself: with which exit status. Otherwise -1.
    int status = -1;
    /// In words, to be put behind "the process that read it": "ended with exception 0xC0000005 (access
    /// violation)", "was not done after 120 s and was ended"; empty when it ended by itself.
    std::string trouble;
};

/// Runs the command with these arguments, on the PC as it is now, in a process of its own, and waits for it,
/// `timeoutMs` at most. What it writes to its standard output comes to `take` piece by piece, cut anywhere;
/// its sentences go to `err` where that is the standard error. If this process ends, so does the other.
ProcessEnd runInOwnProcess(const std::vector<std::string>& arguments, unsigned timeoutMs, std::ostream& err,
                           const std::function<void(std::string_view)>& take);

}  // namespace sysmira
