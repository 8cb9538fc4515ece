#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/contract/ContractMachine.h"

using namespace simulation;

std::string prepareContractMachine() {
    reset();
    const GUID disks = {0x4d36e967, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
    const GUID diskInterface = {0x53f56307, 0xb6bf, 0x11d0, {0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e, 0xfb, 0x8b}};
    machine().setupClasses[disks].name = u"DiskDrive";
    DeviceNode root;
    root.instanceId = u"HTREE\\ROOT\\0";
    machine().add(root);

    DeviceNode disk;
    disk.instanceId = u"SCSI\\Disk&Ven_ACME&Prod_ROCKET\\4&1A2B3C4D&0&000000";
    disk.classGuid = disks;
    disk.status = DN_DRIVER_LOADED | DN_STARTED;
    disk.text(SPDRP_DEVICEDESC, u"Disk drive")
        .text(SPDRP_FRIENDLYNAME, u"ACME ROCKET 1000 SSD")
        .texts(SPDRP_HARDWAREID, {u"SCSI\\DiskACME____ROCKET__________1.0_", u"SCSI\\DiskACME"})
        .texts(SPDRP_COMPATIBLEIDS, {u"SCSI\\Disk", u"GenDisk"})
        .text(SPDRP_DRIVER, u"{4d36e967-e325-11ce-bfc1-08002be10318}\\0007")
        .text(SPDRP_MFG, u"(Standard disk drives)")
        .text(SPDRP_SERVICE, u"disk")
        .text(SPDRP_LOCATION_INFORMATION, u"Bus Number 0, Target Id 0, LUN 0");
    disk.properties[SPDRP_CONFIGFLAGS] = RegistryValue::number(0);
    disk.properties[SPDRP_CAPABILITIES] = RegistryValue::number(0x10);
    disk.interfaces = {{diskInterface,
                        u"\\\\?\\scsi#disk&ven_acme&prod_rocket#4&1a2b3c4d&0&000000"
                        u"#{53f56307-b6bf-11d0-94f2-00a0c91efb8b}"}};
    const DeviceNode& added = machine().add(disk, machine().root());
    machine().deviceKey(added).values[u"ProbeParam"] = RegistryValue::text(u"hello");
    RegistryKey& driver = machine().driverKey(added);
    driver.values[u"DriverDesc"] = RegistryValue::text(u"ACME disk driver");
    driver.values[u"DriverVersion"] = RegistryValue::text(u"1.2.3.4");

    DeviceNode ghost;
    ghost.instanceId = u"SCSI\\Disk&Ven_ACME&Prod_GHOST\\1";
    ghost.classGuid = disks;
    ghost.phantom = true;
    ghost.text(SPDRP_DEVICEDESC, u"Ghost");
    machine().add(ghost);
    return {};
}
