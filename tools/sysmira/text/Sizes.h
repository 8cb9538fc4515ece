// Sizes for people: in the unit that fits, and in bytes.
#pragma once

#include <string>

namespace sysmira {

/// "931.51 GB", as the library's own reports have it.
std::string shortSize(unsigned long long bytes);
/// "931.51 GB (1,000,204,886,016 bytes)"; "0 bytes".
std::string fullSize(unsigned long long bytes);
/// "1,000,204,886,016".
std::string grouped(unsigned long long number);

}  // namespace sysmira
