// The priorities of log lines.
#pragma once

namespace zor {

/// A line is written when the threshold is at most its priority.
enum LogPriority : int { Detail = 1, Note = 2, Warning = 3, Error = 4 };

}  // namespace zor
