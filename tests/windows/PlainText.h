// The library's texts as a comparison takes and prints them.
#pragma once

#include <string>
#include <vector>

#include "support/Array.h"
#include "support/CString.h"
#include "support/String.h"

inline std::string plain(const zor::String& text) { return text.getUTF8String().c_str(); }

inline std::vector<std::string> plain(const zor::Array<zor::String>& texts) {
    std::vector<std::string> all;
    for (const zor::String& text : texts) all.push_back(plain(text));
    return all;
}
