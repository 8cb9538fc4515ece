// Keeps the thread's last error over a piece of cleaning up.
#pragma once

#include "support/Export.h"
#include "support/Types.h"

namespace zor {

/// Reads the thread's last error at construction (GetLastError) and puts it back at destruction
/// (SetLastError).
class ZOR_API LastErrorKeeper {
public:
    LastErrorKeeper() noexcept;
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;
    ~LastErrorKeeper();

private:
    Uint32 m_error;
};

}  // namespace zor
