#include "support/FileHandleResManager.h"

namespace zor {

HANDLE FileHandleResManager::open(const CreateFileOpenArgs& arguments) noexcept {
    return CreateFileW(arguments.path.getUCS2Buffer(), arguments.access, arguments.share,
                       /*security=*/nullptr, arguments.disposition, arguments.flags,
                       /*templateFile=*/nullptr);
}

void FileHandleResManager::destroy(HANDLE handle) noexcept { CloseHandle(handle); }

}  // namespace zor
