#include "support/WindowsRegistryException.h"

namespace zor {

WindowsRegistryException::~WindowsRegistryException() = default;

}  // namespace zor
