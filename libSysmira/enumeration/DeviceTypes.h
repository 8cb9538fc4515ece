// What kinds of devices there are, and where their properties are read. Shared by records, sets, drives and
// displays.
#pragma once

#include "libSysmira/Export.h"
#include "support/String.h"

namespace libSysmira {

/// The bus or enumerator that a device hangs on; bits, so that a mask can name several.
enum WinDeviceType : unsigned int {
    WinDev_Any = 0,
    WinDev_ATA = 0x1,
    WinDev_SCSI = 0x2,
    WinDev_USBStorage = 0x4,
    WinDev_USB = 0x8,
    WinDev_PCI = 0x10,
    WinDev_PCIIDE = 0x20,
    WinDev_ACPI = 0x100,
    WinDev_SBP2 = 0x200,
    WinDev_1394 = 0x400,
    WinDev_SD = 0x800,
    WinDev_PCMCIA = 0x1000,
    WinDev_Display = 0x2000,
    WinDev_Other = 0x4000,  ///< every enumerator that has no bit of its own
};

/// The enumeration that found a device; bits, so that a mask can name several.
enum WinInterfaceType : unsigned int {
    WinInt_None = 0,
    WinInt_Disk = 0x1,
    WinInt_Optical = 0x2,
    WinInt_Floppy = 0x4,
    WinInt_Tape = 0x8,
    WinInt_Volume = 0x10,
    WinInt_Battery = 0x20,
    WinInt_USBController = 0x40,
    WinInt_USBHub = 0x80,
    WinInt_USBDevice = 0x100,
    WinInt_Display = 0x200,
    WinInt_DisplayAdapter = 0x400,
    WinInt_ParallelPort = 0x800,
    WinInt_ComPort = 0x1000,
};

/// Where a registry property is read.
enum RegPropType : unsigned int {
    RegProp_Device = 0,  ///< of the device (SetupDiGetDeviceRegistryPropertyW)
    RegProp_Class = 1,   ///< of its setup class (SetupDiGetClassRegistryPropertyW)
};

/// Which of a device's registry keys; every value but RegKey_Driver means RegKey_Device.
enum RegKeyType : unsigned int {
    RegKey_Driver = 0,  ///< the software key
    RegKey_Device = 1,  ///< the hardware key
};

/// What WindowsDevice::getRelations collects; bits.
enum RelationSelector : unsigned int {
    Relations_Removal = 0x1,
    Relations_Bus = 0x2,
    Relations_Ejection = 0x4,
    Relations_Self = 0x8,
};

/// The identifier of a value ("WinDev_USBStorage"); "UNKNOWN" for a value that is none of the above.
SYSMIRA_API const char* getName(WinDeviceType type);
SYSMIRA_API const char* getName(WinInterfaceType type);

}  // namespace libSysmira
