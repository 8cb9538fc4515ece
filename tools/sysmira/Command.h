// The command `sysmira`: what the library knows of this PC, as text or JSON.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace sysmira {

/// Runs the command with the arguments that follow its name (UTF-8) and gives its exit status: 0 done,
/// 1 something asked for could not be read, 2 wrong usage. Results go to `out`, sentences about failures to
/// `err`, both as UTF-8; where there is nothing but a failure, `out` gets nothing. Throws nothing.
///
/// With --log, the library's log lines go to `err` while it runs; at the end the threshold is what it was and
/// the debugger gets the lines again. On Linux the PC that it chose stays chosen.
int runSysmira(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) noexcept;

}  // namespace sysmira
