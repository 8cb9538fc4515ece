// Registry values and device properties of any type and bytes, handed out by functions that lie about sizes
// as the first bytes say: whoever reads them neither reads beyond, nor keeps anything open, nor throws
// anything but what its header names.
#include <cstdint>

#include "fuzz/Check.h"
#include "libSysmira/enumeration/ConfigManager.h"
#include "libSysmira/enumeration/WindowsDevice.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"
#include "support/WindowsRegistry.h"
#include "support/WindowsRegistryReader.h"

namespace {

using libSysmira::ConfigManager;
using libSysmira::WindowsDevice;
using simulation::Distortion;

const char* const keyPath = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Outside";

constexpr Distortion distortions[] = {Distortion::None,         Distortion::NothingWritten,
                                      Distortion::SizeTooLarge, Distortion::SizeZero,
                                      Distortion::OddSize,      Distortion::NoTerminator};
constexpr const char* functions[] = {"RegQueryValueExW", "SetupDiGetDeviceRegistryPropertyW",
                                     "CM_Get_DevNode_Registry_PropertyW"};

// The device has the value as every property and in both of its keys.
DEVINST fillMachine(const simulation::RegistryValue& value) {
    simulation::Machine& machine = simulation::machine();
    machine.localMachine().make(u"SOFTWARE\\Outside").values[u"Value"] = value;
    simulation::DeviceNode node;
    node.instanceId = u"PCI\\OUTSIDE\\1";
    node.status = DN_DRIVER_LOADED | DN_STARTED;
    simulation::DeviceNode& added = machine.add(node);
    machine.deviceKey(added).values[u"Value"] = value;
    for (DWORD property = 0; property < SPDRP_MAXIMUM_PROPERTY; ++property)
        added.properties[property] = value;
    return added.handle;
}

void readRegistry() {
    const zor::WindowsRegistryReader reader;
    const std::size_t plain = reader.getStringValue(keyPath, "Value").size();
    FUZZ_CHECK(plain == 0 || reader.stringValueExists(keyPath, "Value"));
    (void)reader.getExpandedStringValue(keyPath, "Value");
    for (const bool expand : {false, true}) {
        try {
            for (const zor::String& text :
                 zor::WindowsRegistry::getMultiStringValue(keyPath, "Value", expand)) {
                FUZZ_CHECK(expand || !text.empty());
            }
        } catch (const zor::WindowsRegistryException& exception) {
            FUZZ_CHECK(!exception.getMessage().empty());
        }
    }
}

void readDevice() {
    const WindowsDevice device(zor::String("PCI\\OUTSIDE\\1"));
    zor::String text;
    zor::Array<zor::String> texts;
    zor::Buffer<unsigned char> bytes;
    DWORD number = 4711;
    for (const DWORD property : {SPDRP_DEVICEDESC, SPDRP_HARDWAREID, SPDRP_CAPABILITIES}) {
        FUZZ_CHECK(device.getStringRegistryProperty(property, text, libSysmira::RegProp_Device) ==
                   !text.empty());
        FUZZ_CHECK(device.getMultiStringRegistryProperty(property, texts, libSysmira::RegProp_Device) ==
                   !texts.empty());
        FUZZ_CHECK(device.getDWORDRegistryProperty(property, number, libSysmira::RegProp_Device) ||
                   number == 4711);
        number = 4711;
    }
    FUZZ_CHECK(device.getRegistryString(libSysmira::RegKey_Device, "Value", text) == !text.empty());
    (void)device.getRegistryBinaryData(libSysmira::RegKey_Device, "Value", bytes);
    (void)device.toString(2);
    (void)device.getDriverKey(text);
    unsigned char address[3];
    (void)device.getPciAddressFromLocation(address[0], address[1], address[2]);
}

void readNode(DEVINST node) {
    zor::String text;
    zor::Array<zor::String> texts;
    if (!ConfigManager::getFriendlyName(node, text)) FUZZ_CHECK(text.empty());
    if (!ConfigManager::getHardwareIds(node, texts)) FUZZ_CHECK(texts.empty());
    ConfigManager::getDisplayName(node, text, "none");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    simulation::reset();
    const DEVINST node = fillMachine({data[0], simulation::Bytes(data + 2, data + size)});
    simulation::Fault fault;
    fault.distortion = distortions[data[1] % std::size(distortions)];
    fault.onwards = true;
    for (const char* function : functions) {
        fault.function = function;
        if (fault.distortion != Distortion::None) simulation::control().add(fault);
    }
    readRegistry();
    readDevice();
    readNode(node);
    FUZZ_CHECK(simulation::ledger().empty());
    FUZZ_CHECK(simulation::ledger().violations().empty());
    return 0;
}
