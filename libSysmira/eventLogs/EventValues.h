// The values in which the Windows Event Log service answers (EvtRender).
#pragma once

#include <cstddef>

#include "support/Array.h"
#include "support/WindowsApi.h"
#include "support/ZORValue.h"

namespace libSysmira {

/// Appends the first `count` values of an answer. Its bytes begin at an address that is aligned for
/// EVT_VARIANT, with the values, and hold all texts and times that these point to: a count beyond the bytes
/// is cut off, a pointer out of them is null, and a text ends with them.
void appendEventValues(const unsigned char* bytes, std::size_t size, DWORD count,
                       zor::Array<zor::ZORValue>& row);

}  // namespace libSysmira
