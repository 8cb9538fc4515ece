// Numbers in a device's location text. Pure functions over text from outside; digits are '0' to '9', tested
// as 16-bit units, and a number beyond 32 bits is a failure.
#pragma once

#include "support/String.h"

namespace libSysmira {

/// A text of digits only ("3"). On failure `number` keeps what it had.
bool parseNumberLocation(const zor::String& location, unsigned int& number);

/// The first three numbers of a text like "PCI bus 2, device 0, function 1", whatever stands between them,
/// each truncated to 8 bits. Only the first 2,047 units are looked at. On failure the outputs keep what they
/// had.
bool parsePciLocation(const zor::String& location, unsigned char& bus, unsigned char& device,
                      unsigned char& function);

}  // namespace libSysmira
