#include "simulation/machine/ShellFile.h"

namespace simulation {

namespace {

HRESULT readError(const JsonPlace& place) {
    return static_cast<HRESULT>(
        static_cast<DWORD>(place.number(0x80000000, 0xFFFFFFFF, "an error code from 2147483648 on")));
}

void readConnection(const JsonPlace& place, Shell& shell) {
    place.allowOnly({"id", "name", "propertiesError"});
    const JsonPlace idPlace = place.required("id", "the connection's GUID in braces");
    const Text id = idPlace.text();
    GUID guid = {};
    if (!parseGuid(toUtf8(id), guid)) idPlace.fail("a GUID in braces");
    NetworkConnection connection;
    connection.name = place.required("name", "the connection's name").text();
    if (const auto error = place.member("propertiesError")) connection.propertiesResult = readError(*error);
    if (!shell.connections->emplace(id, connection).second)
        idPlace.complain("found a second connection of this GUID, expected one");
}

HelpPane readHelpPane(const JsonPlace& place) {
    place.allowOnly({"error", "description"});
    HelpPane pane;
    if (const auto error = place.member("error")) pane.result = readError(*error);
    if (const auto description = place.member("description")) pane.failureDescription = description->text();
    return pane;
}

}  // namespace

void readShell(const JsonPlace& place, Machine& machine) {
    place.allowOnly({"connections", "helpEngine", "helpPane", "windowProperties"});
    Shell& shell = machine.shell;
    if (const auto connections = place.member("connections")) {
        shell.connections.emplace();
        connections->forEachElement("a list of network connections",
                                    [&](const JsonPlace& each) { readConnection(each, shell); });
    }
    if (const auto engine = place.member("helpEngine"))
        addHelpEngine(machine, engine->text("the full path of a DLL"));
    if (const auto pane = place.member("helpPane")) shell.helpPane = readHelpPane(*pane);
    const auto properties = place.member("windowProperties");
    if (properties && properties->truth()) addWindowProperties(machine);
}

}  // namespace simulation
