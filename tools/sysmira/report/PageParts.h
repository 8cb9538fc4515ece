// The parts of the HTML page that are files of their own, compiled in.
#pragma once

#include <string_view>

namespace sysmira {

std::string_view pageStyle();   ///< page.css
std::string_view pageScript();  ///< page.js

}  // namespace sysmira
