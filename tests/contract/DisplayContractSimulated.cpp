#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/contract/DisplayContractMachine.h"

using namespace simulation;

unsigned prepareDisplayContractMachine() {
    reset();
    DeviceNode root, adapter;
    root.instanceId = u"HTREE\\ROOT\\0";
    machine().add(root);
    adapter.instanceId = u"PCI\\VEN_0001&DEV_0002\\1";
    adapter.text(SPDRP_DEVICEDESC, u"Adapter");
    const DeviceNode& card = machine().add(adapter, machine().root());
    for (const char16_t digit : {u'0', u'1'}) {
        DeviceNode monitor;
        monitor.instanceId = u"DISPLAY\\Default_Monitor\\" + Text(1, digit);
        monitor.text(SPDRP_DEVICEDESC, u"Monitor").texts(SPDRP_HARDWAREID, {u"MONITOR\\Default_Monitor"});
        monitor.text(SPDRP_DRIVER, u"{4d36e96e-e325-11ce-bfc1-08002be10318}\\000" + Text(1, digit));
        monitor.interfaces = {{GUID_DEVINTERFACE_MONITOR, u"\\\\?\\DISPLAY#Default_Monitor#" +
                                                              Text(1, digit) +
                                                              u"#{e6f07b5f-ee97-4a90-b076-33f57bf4eaa7}"}};
        DisplayMode mode;
        mode.width = 1024;
        mode.height = 768;
        mode.x = digit == u'0' ? 0 : 1024;
        DisplayOutput output = outputOf(card, u"\\\\.\\DISPLAY" + Text(1, digit + 1), mode);
        output.deviceKey = u"\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Video\\x";
        if (digit == u'0') output.flags |= DISPLAY_DEVICE_PRIMARY_DEVICE;
        output.monitors = {monitorOf(machine().add(monitor, card.handle))};
        machine().displays.push_back(output);
    }
    return 2;
}
