// Windows' own dialogs for network connections.
#pragma once

#include "libSysmira/Export.h"
#include "support/String.h"

namespace libSysmira {

class SYSMIRA_API NetworkUtils {
public:
    /// Opens the properties of a network connection, named by its GUID in braces
    /// ("{12345678-1234-1234-1234-123456789ABC}"), as its context menu in the Network Connections folder
    /// does. False when there is no such folder or connection, or when the menu refuses. The thread must have
    /// entered COM, and should handle window messages while the dialog is open.
    static bool displayNetworkPropertiesDialog(const zor::String& connectionName);
};

}  // namespace libSysmira
