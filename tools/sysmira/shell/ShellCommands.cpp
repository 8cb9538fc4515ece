#include "tools/sysmira/shell/ShellCommands.h"

#include <nlohmann/json.hpp>

#include "libSysmira/utils/HelpPane.h"
#include "libSysmira/utils/HelpWindow.h"
#include "libSysmira/utils/NetworkUtils.h"
#include "support/WindowsApi.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

// The shell wants a thread of its own apartment.
class ShellApartment {
public:
    ShellApartment() : m_entered(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}
    ~ShellApartment() {
        if (m_entered) CoUninitialize();
    }
    ShellApartment(const ShellApartment&) = delete;
    ShellApartment& operator=(const ShellApartment&) = delete;

private:
    bool m_entered;
};

void tell(Output& output) {
    const auto windows = takeSimulatedWindows();
    if (output.wantsJson()) return output.printDocument({{"opened", true}, {"simulated", windows}});
    for (const std::string& window : windows) output.print("A real PC opens: " + printable(window) + "\n");
    waitForWindows();
}

zor::String text(const std::string& utf8) { return zor::String::fromUTF8(utf8); }

}  // namespace

void runHelp(const ShellRequest& request, Output& output) {
    if (!libSysmira::LaunchVistaHelp(text(request.helpTopic)))
        throw CommandFailure(NotRead, "this system has no help pane, or it refuses (\"--log 4\" tells why)");
    tell(output);
}

void runHelpFile(const ShellRequest& request, Output& output) {
    if (request.helpFile.empty()) {
        throw CommandFailure(WrongUsage,
                             "\"sysmira help-file\" needs a file, and may be given a topic of it, as in: "
                             "sysmira help-file C:\\guide.chm disks.htm");
    }
    if (!libSysmira::displayHelpWindowToTopic(text(request.helpFile), text(request.helpFileTopic))) {
        throw CommandFailure(NotRead,
                             "the help file \"" + request.helpFile +
                                 "\" cannot be shown: it is not there, or this system has no HTML Help");
    }
    tell(output);
}

void runNetworkProperties(const ShellRequest& request, Output& output) {
    if (request.connection.empty()) {
        throw CommandFailure(WrongUsage,
                             "\"sysmira network-properties\" needs a connection's GUID in braces");
    }
    const ShellApartment apartment;
    if (!libSysmira::NetworkUtils::displayNetworkPropertiesDialog(text(request.connection))) {
        throw CommandFailure(NotRead,
                             "the properties of the connection \"" + request.connection +
                                 "\" cannot be shown: it is not there, it refuses, or this system has no "
                                 "Network Connections folder");
    }
    tell(output);
}

}  // namespace sysmira
