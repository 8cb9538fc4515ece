#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using simulation::DeviceNode;
using simulation::RegistryValue;

DeviceNode device(const char16_t* id, const GUID& classGuid, const char16_t* name) {
    DeviceNode node;
    node.instanceId = id;
    node.classGuid = classGuid;
    node.status = DN_DRIVER_LOADED | DN_STARTED;
    node.text(SPDRP_DEVICEDESC, name);
    node.text(SPDRP_ENUMERATOR_NAME, node.instanceId.substr(0, node.instanceId.find(u'\\')));
    return node;
}

simulation::Driver diskDriver() {
    simulation::Driver driver;
    driver.provider = u"Nordlicht";
    driver.manufacturer = u"Nordlicht Speicher";
    driver.description = u"Disk drive";
    driver.date = 127955808000000000ull;
    driver.version = 0x000A00000F3C0001ull;
    driver.infFile = u"C:\\Windows\\INF\\disk.inf";
    driver.section = u"disk_install";
    driver.infDate = 128000000000000000ull;
    driver.files = {u"C:\\Windows\\system32\\drivers\\disk.sys",
                    u"C:\\Windows\\system32\\drivers\\partmgr.sys"};
    return driver;
}

}  // namespace

void smallPc(simulation::Machine& machine) {
    machine.setupClasses[GUID_DEVCLASS_DISKDRIVE].name = u"DiskDrive";
    machine.setupClasses[GUID_DEVCLASS_DISKDRIVE].properties[SPCRP_SECURITY_SDS] =
        RegistryValue::text(u"D:P(A;;GA;;;SY)");

    const DEVINST root = machine.add(device(u"HTREE\\ROOT\\0", GUID{}, u"This PC")).handle;
    DeviceNode bridge = device(u"PCI\\VEN_1234&DEV_0001\\3&1&0", GUID_DEVCLASS_SYSTEM, u"Bridge");
    bridge.text(SPDRP_LOCATION_INFORMATION, u"PCI bus 2, device 0, function 1");
    const DEVINST bus = machine.add(std::move(bridge), root).handle;
    const DEVINST controller =
        machine.add(device(u"PCIIDE\\CHANNEL\\4&2&0", GUID_DEVCLASS_HDC, u"Controller"), bus).handle;

    DeviceNode disk = device(u"SCSI\\DISK&VEN_NORD\\5&3&0", GUID_DEVCLASS_DISKDRIVE, u"Disk drive");
    disk.text(SPDRP_FRIENDLYNAME, u"Nordlicht 1000")
        .text(SPDRP_SERVICE, u"disk")
        .text(SPDRP_CLASS, u"DiskDrive");
    disk.text(SPDRP_CLASSGUID, u"{4d36e967-e325-11ce-bfc1-08002be10318}");
    disk.text(SPDRP_DRIVER, u"{4d36e967-e325-11ce-bfc1-08002be10318}\\0001");
    disk.text(SPDRP_LOCATION_INFORMATION, u"7").text(SPDRP_MFG, u"Nordlicht");
    disk.texts(SPDRP_HARDWAREID, {u"SCSI\\DiskNORD", u"GenDisk"}).texts(SPDRP_COMPATIBLEIDS, {u"SCSI\\Disk"});
    disk.properties[SPDRP_CAPABILITIES] = RegistryValue::number(0x10);
    disk.interfaces.push_back({GUID_DEVINTERFACE_DISK, u"\\\\?\\scsi#disk&ven_nord#5&3&0#{disk}"});
    disk.removalRelations = {u"STORAGE\\VOLUME\\1"};
    disk.ejectionRelations = {u"STORAGE\\VOLUME\\1", u"PCIIDE\\CHANNEL\\4&2&0"};
    disk.drivers.push_back(diskDriver());
    const DeviceNode& placed = machine.add(std::move(disk), controller);
    machine.deviceKey(placed).values[u"Parameter"] = RegistryValue::text(u"value");
    machine.deviceKey(placed).values[u"Block"] = RegistryValue::binary(simulation::Bytes(2000, 0x5A));
    machine.driverKey(placed).values[u"Driver"] = RegistryValue::text(u"driver value");

    DeviceNode volume = device(u"STORAGE\\VOLUME\\1", GUID_DEVCLASS_VOLUME, u"Volume");
    volume.status |= DN_NO_SHOW_IN_DM;
    volume.interfaces.push_back({GUID_DEVINTERFACE_VOLUME, u"\\\\?\\storage#volume#1#{volume}"});
    machine.add(std::move(volume), bus);

    DeviceNode absent = device(u"USB\\VID_1\\GONE", GUID_DEVCLASS_USB, u"Gone");
    absent.status = DN_HAS_PROBLEM;
    absent.problem = CM_PROB_DEVICE_NOT_THERE;
    machine.add(std::move(absent), bus);

    DeviceNode disabled = device(u"USBSTOR\\DISK\\STICK", GUID_DEVCLASS_DISKDRIVE, u"Stick");
    disabled.status = DN_HAS_PROBLEM;
    disabled.problem = CM_PROB_DISABLED;
    machine.add(std::move(disabled), bus);

    DeviceNode floppy = device(u"FDC\\GENERIC\\0", GUID_DEVCLASS_FLOPPYDISK, u"Floppy");
    floppy.interfaces.push_back({GUID_DEVINTERFACE_VOLUME, u"\\\\?\\fdc#generic#0#{volume}"});
    machine.add(std::move(floppy), bus);
}

}  // namespace sweep
