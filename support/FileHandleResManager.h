// Opens and closes the file handles that a SharedResource holds.
#pragma once

#include "support/Export.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace zor {

/// The arguments of CreateFileW, in its order; the values are Windows' own.
struct CreateFileOpenArgs {
    String path;
    DWORD access = 0;
    DWORD share = 0;
    DWORD disposition = OPEN_EXISTING;
    DWORD flags = 0;
};

/// The policy of DescriptorStorage<HANDLE, -1, FileHandleResManager>.
class ZOR_API FileHandleResManager {
public:
    FileHandleResManager() = delete;

    /// CreateFileW: INVALID_HANDLE_VALUE on failure, with the thread's last error.
    static HANDLE open(const CreateFileOpenArgs& arguments) noexcept;
    /// CloseHandle.
    static void destroy(HANDLE handle) noexcept;
};

}  // namespace zor
