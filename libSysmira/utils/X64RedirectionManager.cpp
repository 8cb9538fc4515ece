#include "libSysmira/utils/X64RedirectionManager.h"

namespace libSysmira {

X64RedirectionManager::X64RedirectionManager() = default;
X64RedirectionManager::~X64RedirectionManager() = default;

bool X64RedirectionManager::disableRedirection() { return true; }
bool X64RedirectionManager::restoreRedirection() { return true; }
bool X64RedirectionManager::isWow64Process() const { return false; }

}  // namespace libSysmira
