#include "support/LastErrorKeeper.h"

#include "support/WindowsApi.h"

namespace zor {

LastErrorKeeper::LastErrorKeeper() noexcept : m_error(GetLastError()) {}

LastErrorKeeper::~LastErrorKeeper() { SetLastError(m_error); }

}  // namespace zor
