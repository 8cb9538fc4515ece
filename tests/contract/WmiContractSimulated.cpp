#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/contract/WmiContractMachine.h"

using namespace simulation;

void prepareWmiContractMachine() {
    reset();
    machine().name = u"PC";
    WmiNamespaceModel& cim = machine().wmi[u"root\\cimv2"];
    machine().wmi[u"root\\wmi"];
    cim.add(WmiClass{u"Win32_DiskDrive",
                     u"",
                     {{u"DeviceID", CIM_STRING, {}, WmiKey},
                      {u"Index", CIM_UINT32},
                      {u"InterfaceType", CIM_STRING},
                      {u"Size", CIM_UINT64}},
                     {}});
    cim.add(WmiInstance{u"Win32_DiskDrive",
                        {{u"DeviceID", u"\\\\.\\PHYSICALDRIVE0"},
                         {u"Index", 0},
                         {u"InterfaceType", u"IDE"},
                         {u"Size", 82252800000ull}}});

    cim.add(WmiClass{u"Win32_Processor",
                     u"",
                     {{u"DeviceID", CIM_STRING, {}, WmiKey},
                      {u"AddressWidth", CIM_UINT16},
                      {u"NumberOfCores", CIM_UINT32},
                      {u"UniqueId", CIM_STRING}},
                     {}});
    cim.add(WmiInstance{u"Win32_Processor",
                        {{u"DeviceID", u"CPU0"}, {u"AddressWidth", 64}, {u"NumberOfCores", 4}}});

    WmiMethod enumKey;
    enumKey.name = u"EnumKey";
    enumKey.in = {{u"hDefKey", CIM_UINT32, 0x80000002u}, {u"sSubKeyName", CIM_STRING}};
    enumKey.out = {{u"ReturnValue", CIM_UINT32}, {u"sNames", CIM_STRING | CIM_FLAG_ARRAY}};
    enumKey.outcome.out = {{u"ReturnValue", 2}};
    enumKey.isStatic = true;
    WmiOutcome software;
    software.when = {{u"sSubKeyName", u"Software"}};
    software.out = {{u"ReturnValue", 0}, {u"sNames", WmiValue::array({u"Classes", u"Microsoft"})}};
    enumKey.outcome.cases = {software};
    cim.add(WmiClass{u"StdRegProv", u"", {}, {enumKey}});
}
