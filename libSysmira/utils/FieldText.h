// Texts in fixed fields of Windows' structures.
#pragma once

#include <cstddef>

#include "support/MultiString.h"
#include "support/String.h"

namespace libSysmira {

/// The text of a field, up to its NUL or, of one without, the field's end.
template <std::size_t Units>
zor::String fieldText(const zor::Char16 (&field)[Units]) {
    return zor::textFromBytes(reinterpret_cast<const unsigned char*>(field), sizeof field);
}

}  // namespace libSysmira
