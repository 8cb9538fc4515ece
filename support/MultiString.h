// Texts in raw memory, as the registry and the device functions hand them out.
#pragma once

#include <cstddef>

#include "support/Array.h"
#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// Replaces `out` by the texts of a multi-string: each ends at its NUL or at the end of the memory, and the
/// first empty one ends the list. A null pointer gives no texts.
ZOR_API void splitMultiString(const Char16* text, unsigned int units, Array<String>& out);

/// The same over bytes at any address; an odd byte at the end is not looked at.
ZOR_API void splitMultiString(const unsigned char* bytes, std::size_t length, Array<String>& out);

/// The text in those bytes, at any address: up to the first NUL or the last whole unit.
ZOR_API String textFromBytes(const unsigned char* bytes, std::size_t length);

}  // namespace zor
