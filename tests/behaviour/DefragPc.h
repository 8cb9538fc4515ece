// A PC with two fixed volumes whose fragmentation can be analysed.
#pragma once

#include "simulation/machine/Machine.h"

/// C: takes a second and a half and has figures; D: answers with nothing but a code.
inline void addDefragVolumes(simulation::Machine& machine) {
    using namespace simulation;
    machine.name = u"PC";
    WmiNamespaceModel& cim = machine.wmi[u"root\\cimv2"];
    WmiMethod analysis;
    analysis.name = u"DefragAnalysis";
    analysis.out = {
        {u"DefragRecommended", CIM_BOOLEAN}, {u"DefragAnalysis", CIM_OBJECT}, {u"ReturnValue", CIM_UINT32}};
    analysis.outcome.out = {{u"ReturnValue", 11}};
    cim.add(WmiClass{u"Win32_DefragAnalysis",
                     u"",
                     {{u"TotalPercentFragmentation", CIM_UINT32},
                      {u"FilePercentFragmentation", CIM_UINT32},
                      {u"FreeSpacePercentFragmentation", CIM_UINT32}}});
    cim.add(WmiClass{
        u"Win32_Volume",
        u"",
        {{u"DeviceID", CIM_STRING, {}, WmiKey}, {u"DriveLetter", CIM_STRING}, {u"DriveType", CIM_UINT32}},
        {analysis}});
    WmiInstance figures{u"Win32_DefragAnalysis",
                        {{u"TotalPercentFragmentation", 18},
                         {u"FilePercentFragmentation", 31},
                         {u"FreeSpacePercentFragmentation", 5}}};
    WmiInstance system{u"Win32_Volume", {{u"DeviceID", u"1"}, {u"DriveLetter", u"C:"}, {u"DriveType", 3}}};
    WmiOutcome outcome;
    outcome.milliseconds = 1500;
    outcome.out = {{u"ReturnValue", 0}, {u"DefragRecommended", true}, {u"DefragAnalysis", figures}};
    system.outcomes[u"DefragAnalysis"] = outcome;
    cim.add(system);
    cim.add(WmiInstance{u"Win32_Volume", {{u"DeviceID", u"2"}, {u"DriveLetter", u"D:"}, {u"DriveType", 3}}});
}
