#include "simulation/machine/Display.h"

#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

Text textOf(const DeviceNode& node, DWORD property) {
    const auto found = node.properties.find(property);
    if (found == node.properties.end()) return {};
    const Bytes& bytes = found->second.bytes;
    Text text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto unit = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
        if (unit == 0) break;
        text += unit;
    }
    return text;
}

WmiClass descriptorClass() {
    WmiMethod method;
    method.name = u"WmiGetMonitorRawEEdidV1Block";
    method.in = {{u"BlockId", CIM_UINT8}};
    method.out = {{u"BlockType", CIM_UINT8}, {u"BlockContent", CIM_UINT8 | CIM_FLAG_ARRAY}};
    method.outcome.result = static_cast<HRESULT>(WBEM_E_FAILED);
    return {u"WmiMonitorDescriptorMethods",
            u"",
            {{u"InstanceName", CIM_STRING, {}, WmiKey}, {u"Active", CIM_BOOLEAN, true}},
            {method}};
}

}  // namespace

DisplayMonitor monitorOf(const DeviceNode& node) {
    DisplayMonitor monitor;
    monitor.description = textOf(node, SPDRP_DEVICEDESC);
    monitor.deviceId = textOf(node, SPDRP_HARDWAREID);
    if (const Text driver = textOf(node, SPDRP_DRIVER); !driver.empty()) {
        monitor.deviceId += u"\\" + driver;
        monitor.deviceKey = u"\\Registry\\Machine\\System\\CurrentControlSet\\Control\\Class\\" + driver;
    }
    for (const DeviceInterface& each : node.interfaces) {
        if (sameGuid(each.interfaceClass, GUID_DEVINTERFACE_MONITOR)) monitor.interfacePath = each.path;
    }
    return monitor;
}

DisplayOutput outputOf(const DeviceNode& adapter, const Text& name, std::optional<DisplayMode> mode) {
    DisplayOutput output;
    output.name = name;
    output.description = textOf(adapter, SPDRP_DEVICEDESC);
    output.deviceId = adapter.instanceId.substr(0, adapter.instanceId.rfind(u'\\'));
    output.flags = mode ? DISPLAY_DEVICE_ATTACHED_TO_DESKTOP : 0;
    output.mode = mode;
    if (mode) output.modes = {*mode};
    return output;
}

void addRawEdid(WmiNamespaceModel& wmi, const Text& instanceName,
                const std::vector<std::vector<unsigned char>>& blocks) {
    const Text className = u"WmiMonitorDescriptorMethods";
    if (wmi.findClass(className) == nullptr) wmi.add(descriptorClass());
    WmiOutcome outcome;
    outcome.result = static_cast<HRESULT>(WBEM_E_FAILED);
    for (size_t i = 0; i < blocks.size(); ++i) {
        WmiOutcome block;
        block.when = {{u"BlockId", static_cast<unsigned>(i)}};
        block.out = {{u"BlockType", i == 0 ? 1 : 255}, {u"BlockContent", WmiValue::bytes(blocks[i])}};
        outcome.cases.push_back(std::move(block));
    }
    wmi.add(WmiInstance{className,
                        {{u"InstanceName", WmiValue(instanceName)}},
                        {{u"WmiGetMonitorRawEEdidV1Block", std::move(outcome)}}});
}

}  // namespace simulation
