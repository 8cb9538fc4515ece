// The screens of a desktop, drawn to scale in characters.
#pragma once

#include <string>
#include <vector>

namespace sysmira {

/// What one output shows: its part of the desktop, in pixels, and what is written into it.
struct DesktopScreen {
    long long x = 0, y = 0;
    long long width = 0, height = 0;
    std::string name;
    std::vector<std::string> remarks;  ///< a line each
};

/// One line for each row of characters, without blanks at the end. A character is taken to be twice as high
/// as wide. Screens that show the same part share a box; those without extent are left out.
std::vector<std::string> drawDesktop(const std::vector<DesktopScreen>& screens);

}  // namespace sysmira
