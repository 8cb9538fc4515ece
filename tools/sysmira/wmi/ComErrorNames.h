// What a failed COM or WMI call answered, for a sentence to the user.
#pragma once

#include <string>

#include "support/WindowsApi.h"

namespace sysmira {

/// "0x8004100E (WBEM_E_INVALID_NAMESPACE)"; the number alone when the name is not known.
std::string describeResult(HRESULT result);

}  // namespace sysmira
