#include "libSysmira/enumeration/DeviceTypes.h"

namespace libSysmira {

#define NAMED(value) \
    case value:      \
        return #value

const char* getName(WinDeviceType type) {
    switch (type) {
        NAMED(WinDev_Any);
        NAMED(WinDev_ATA);
        NAMED(WinDev_SCSI);
        NAMED(WinDev_USBStorage);
        NAMED(WinDev_USB);
        NAMED(WinDev_PCI);
        NAMED(WinDev_PCIIDE);
        NAMED(WinDev_ACPI);
        NAMED(WinDev_SBP2);
        NAMED(WinDev_1394);
        NAMED(WinDev_SD);
        NAMED(WinDev_PCMCIA);
        NAMED(WinDev_Display);
        NAMED(WinDev_Other);
    }
    return "UNKNOWN";
}

const char* getName(WinInterfaceType type) {
    switch (type) {
        NAMED(WinInt_None);
        NAMED(WinInt_Disk);
        NAMED(WinInt_Optical);
        NAMED(WinInt_Floppy);
        NAMED(WinInt_Tape);
        NAMED(WinInt_Volume);
        NAMED(WinInt_Battery);
        NAMED(WinInt_USBController);
        NAMED(WinInt_USBHub);
        NAMED(WinInt_USBDevice);
        NAMED(WinInt_Display);
        NAMED(WinInt_DisplayAdapter);
        NAMED(WinInt_ParallelPort);
        NAMED(WinInt_ComPort);
    }
    return "UNKNOWN";
}

#undef NAMED

}  // namespace libSysmira
