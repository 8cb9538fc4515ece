// What the simulated PC's shell has for users to see: help, the Network Connections folder, properties of
// windows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

class Machine;

struct NetworkConnection {
    Text name;                        ///< "LAN"
    HRESULT propertiesResult = S_OK;  ///< of the context menu's "properties"
};

/// The help pane, from Windows Vista on.
struct HelpPane {
    HRESULT result = S_OK;  ///< of its methods
    /// What it leaves for GetErrorInfo when a method fails.
    std::optional<Text> failureDescription;
};

struct Shell {
    /// Of the Network Connections folder, by "{GUID}"; none: there is no such folder.
    std::optional<std::map<Text, NetworkConnection, LessNoCase>> connections;
    std::optional<HelpPane> helpPane;
    HWND foregroundWindow = nullptr;
    /// The property stores of windows: whether touch is disabled while the window fills the screen.
    std::map<HWND, std::optional<bool>> windows;
    /// What was opened, in order: "help window C:\guide.chm::/disks.htm".
    std::vector<std::string> opened;
};

/// Puts the HTML Help engine into a file of the PC, from which it can be loaded.
void addHelpEngine(Machine& machine, const Text& path);
/// Gives shell32.dll of the system folder the function that finds the property stores of windows.
void addWindowProperties(Machine& machine);

}  // namespace simulation
