#include "simulation/machine/StandardNames.h"

#include "simulation/control/Text.h"

namespace simulation {

namespace {

struct StandardClass {
    const char* name;
    const char* guid;
};

constexpr StandardClass standardClasses[] = {
    {"1394", "{6bdd1fc1-810f-11d0-bec7-08002be2092f}"},
    {"AudioEndpoint", "{c166523c-fe0c-4a94-a586-f1a80cfbbf3e}"},
    {"Battery", "{72631e54-78a4-11d0-bcf7-00aa00b7b32a}"},
    {"Biometric", "{53d29ef7-377c-4d14-864b-eb3a85769359}"},
    {"Bluetooth", "{e0cbf06c-cd8b-4647-bb8a-263b43f0f974}"},
    {"Camera", "{ca3e7ab9-b4c3-4ae6-8251-579ef933890f}"},
    {"CDROM", "{4d36e965-e325-11ce-bfc1-08002be10318}"},
    {"Computer", "{4d36e966-e325-11ce-bfc1-08002be10318}"},
    {"DiskDrive", "{4d36e967-e325-11ce-bfc1-08002be10318}"},
    {"Display", "{4d36e968-e325-11ce-bfc1-08002be10318}"},
    {"FDC", "{4d36e969-e325-11ce-bfc1-08002be10318}"},
    {"Firmware", "{f2e7dd72-6468-4e36-b6f1-6488f42c1b52}"},
    {"FloppyDisk", "{4d36e980-e325-11ce-bfc1-08002be10318}"},
    {"HDC", "{4d36e96a-e325-11ce-bfc1-08002be10318}"},
    {"HIDClass", "{745a17a0-74d3-11d0-b6fe-00a0c90f57da}"},
    {"Image", "{6bdd1fc6-810f-11d0-bec7-08002be2092f}"},
    {"Keyboard", "{4d36e96b-e325-11ce-bfc1-08002be10318}"},
    {"MEDIA", "{4d36e96c-e325-11ce-bfc1-08002be10318}"},
    {"MediumChanger", "{ce5939ae-ebde-11d0-b181-0000f8753ec4}"},
    {"Modem", "{4d36e96d-e325-11ce-bfc1-08002be10318}"},
    {"Monitor", "{4d36e96e-e325-11ce-bfc1-08002be10318}"},
    {"Mouse", "{4d36e96f-e325-11ce-bfc1-08002be10318}"},
    {"Net", "{4d36e972-e325-11ce-bfc1-08002be10318}"},
    {"Ports", "{4d36e978-e325-11ce-bfc1-08002be10318}"},
    {"Printer", "{4d36e979-e325-11ce-bfc1-08002be10318}"},
    {"PrintQueue", "{1ed2bbf9-11f0-4084-b21f-ad83a8e6dcdc}"},
    {"Processor", "{50127dc3-0f36-415e-a6cc-4cb3be910b65}"},
    {"SBP2", "{d48179be-ec20-11d1-b6b8-00c04fa372a7}"},
    {"SCSIAdapter", "{4d36e97b-e325-11ce-bfc1-08002be10318}"},
    {"SDHost", "{a0a588a4-c46f-4b37-b7ea-c82fe89870c6}"},
    {"SecurityDevices", "{d94ee5d8-d189-4994-83d2-f68d7d41b0e6}"},
    {"SmartCardReader", "{50dd5230-ba8a-11d1-bf5d-0000f805f530}"},
    {"SoftwareComponent", "{5c4c3332-344d-483c-8739-259e934c9cc8}"},
    {"SoftwareDevice", "{62f9c741-b25a-46ce-b54c-9bccce08b6f2}"},
    {"System", "{4d36e97d-e325-11ce-bfc1-08002be10318}"},
    {"TapeDrive", "{6d807884-7d21-11cf-801c-08002be10318}"},
    {"USB", "{36fc9e60-c465-11cf-8056-444553540000}"},
    {"Volume", "{71a27cdd-812a-11d0-bec7-08002be2092f}"},
    {"WPD", "{eec5ad98-8080-425f-922a-dabf3de3f69a}"},
};

struct InterfaceClass {
    const char* name;
    const GUID* guid;
};

const InterfaceClass interfaceClasses[] = {
    {"battery", &GUID_DEVICE_BATTERY},
    {"cdrom", &GUID_DEVINTERFACE_CDROM},
    {"comport", &GUID_DEVINTERFACE_COMPORT},
    {"disk", &GUID_DEVINTERFACE_DISK},
    {"display-adapter", &GUID_DEVINTERFACE_DISPLAY_ADAPTER},
    {"floppy", &GUID_DEVINTERFACE_FLOPPY},
    {"hidden-volume", &GUID_DEVINTERFACE_HIDDEN_VOLUME},
    {"monitor", &GUID_DEVINTERFACE_MONITOR},
    {"parallel", &GUID_DEVINTERFACE_PARALLEL},
    {"tape", &GUID_DEVINTERFACE_TAPE},
    {"usb-controller", &GUID_DEVINTERFACE_USB_HOST_CONTROLLER},
    {"usb-device", &GUID_DEVINTERFACE_USB_DEVICE},
    {"usb-hub", &GUID_DEVINTERFACE_USB_HUB},
    {"volume", &GUID_DEVINTERFACE_VOLUME},
};

}  // namespace

bool findStandardClass(std::string_view text, GUID& guid, std::string& name) {
    for (const StandardClass& known : standardClasses) {
        if (!equalNoCase(fromUtf8(known.name), fromUtf8(text))) continue;
        name = known.name;
        return parseGuid(known.guid, guid);
    }
    return false;
}

bool findInterfaceClass(std::string_view text, GUID& guid) {
    for (const InterfaceClass& known : interfaceClasses) {
        if (text != known.name) continue;
        guid = *known.guid;
        return true;
    }
    return false;
}

std::string interfaceClassNames() {
    std::string names;
    for (const InterfaceClass& known : interfaceClasses) {
        names += std::string(names.empty() ? "" : ", ") + known.name;
    }
    return names;
}

}  // namespace simulation
