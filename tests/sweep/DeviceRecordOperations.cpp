#include "libSysmira/enumeration/WindowsDevice.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::WindowsDevice;

template <bool (WindowsDevice::*Read)(zor::String&) const>
Result text() {
    zor::String value(before);
    const bool success = (WindowsDevice(diskId).*Read)(value);
    return {success, plain(value)};
}

template <bool (WindowsDevice::*Read)(zor::Array<zor::String>&) const>
Result texts() {
    zor::Array<zor::String> values;
    values.append(before);
    const bool success = (WindowsDevice(diskId).*Read)(values);
    return {success, plain(values)};
}

Result relations(unsigned selectors) {
    zor::Array<zor::String> ids;
    const bool success = WindowsDevice(diskId).getRelations(selectors, ids);
    return {success, plain(ids)};
}

Result registryString(libSysmira::RegKeyType key, const char* name) {
    zor::String value(before);
    const bool success = WindowsDevice(diskId).getRegistryString(key, name, value);
    return {success, plain(value)};
}

// A value of another type is a failure, too, but the bytes are handed over: so a deceiving registry may leave
// some.
Check bytesOfAnotherType() {
    return [cleared = clearedOnFailure()](const Result& result, const Result& clean, Failure failure) {
        return failure == Failure::Deception ? std::string() : cleared(result, clean, failure);
    };
}

}  // namespace

std::vector<Operation> deviceRecordOperations() {
    return {
        {"RecordConstruction", smallPc,
         [] {
             return Result{true, plain(WindowsDevice(diskId).toString(0))};
         },
         linesMayLose({"WinDev_Other"})},
        {"RecordLocation", smallPc, text<&WindowsDevice::getLocation>, clearedOnFailure()},
        {"RecordServiceName", smallPc, text<&WindowsDevice::getServiceName>, clearedOnFailure()},
        {"RecordDriverKey", smallPc, text<&WindowsDevice::getDriverKey>, clearedOnFailure()},
        {"RecordHardwareIds", smallPc, texts<&WindowsDevice::getHardwareIds>, clearedOnFailure()},
        {"RecordCompatibleIds", smallPc, texts<&WindowsDevice::getCompatibleIds>, clearedOnFailure()},
        {"RecordDeviceId", smallPc, text<&WindowsDevice::getDeviceId>, clearedOnFailure()},
        {"RecordClassProperty", smallPc,
         [] {
             zor::String value(before);
             const bool success = WindowsDevice(diskId).getStringRegistryProperty(SPCRP_SECURITY_SDS, value,
                                                                                  libSysmira::RegProp_Class);
             return Result{success, plain(value)};
         },
         clearedOnFailure()},
        {"RecordMultiStringProperty", smallPc,
         [] {
             zor::Array<zor::String> values;
             const bool success = WindowsDevice(diskId).getMultiStringRegistryProperty(
                 SPDRP_HARDWAREID, values, libSysmira::RegProp_Device);
             return Result{success, plain(values)};
         },
         clearedOnFailure()},
        {"RecordNumberProperty", smallPc,
         [] {
             DWORD number = 4711;
             const bool success = WindowsDevice(diskId).getDWORDRegistryProperty(SPDRP_CAPABILITIES, number,
                                                                                 libSysmira::RegProp_Device);
             return Result{success, std::to_string(number)};
         },
         keptOnFailure("4711")},
        {"RecordRegistryKey", smallPc,
         [] {
             const HKEY key = WindowsDevice(diskId).openRegistryKey(libSysmira::RegKey_Device);
             const bool success = key != static_cast<HKEY>(INVALID_HANDLE_VALUE);
             if (success) RegCloseKey(key);
             return Result{success, ""};
         },
         anyOf({""})},
        {"RecordDeviceKeyString", smallPc,
         [] { return registryString(libSysmira::RegKey_Device, "Parameter"); }, clearedOnFailure()},
        {"RecordDriverKeyString", smallPc, [] { return registryString(libSysmira::RegKey_Driver, "Driver"); },
         clearedOnFailure()},
        {"RecordBinaryData", smallPc,
         [] {
             zor::Buffer<unsigned char> bytes;
             bytes.resize(3);
             const bool success =
                 WindowsDevice(diskId).getRegistryBinaryData(libSysmira::RegKey_Device, "Block", bytes);
             return Result{success, plain(bytes)};
         },
         bytesOfAnotherType()},
        {"RecordParentId", smallPc,
         [] {
             return Result{true, plain(WindowsDevice(diskId).getParentDeviceInstanceId())};
         },
         anyOf({""})},
        {"RecordIsHidden", smallPc,
         [] {
             return Result{true, std::to_string(WindowsDevice("STORAGE\\VOLUME\\1").isHidden())};
         },
         anyOf({"0"})},
        {"RecordHasDriverProblem", smallPc,
         [] {
             unsigned problem = 4711;
             const bool success = WindowsDevice("USBSTOR\\DISK\\STICK").hasDriverProblem(&problem);
             return Result{success, std::to_string(problem)};
         },
         keptOnFailure("4711")},
        {"RecordIsDescendant", smallPc,
         [] {
             unsigned depth = 4711;
             const bool success = WindowsDevice(diskId).isDecendentOf(WindowsDevice(busId), &depth);
             return Result{success, std::to_string(depth)};
         },
         keptOnFailure("4711")},
        {"RecordIsChild", smallPc,
         [] {
             return Result{
                 true,
                 std::to_string(WindowsDevice("PCIIDE\\CHANNEL\\4&2&0").isChildOf(WindowsDevice(busId)))};
         },
         anyOf({"0"})},
        {"RecordIsParent", smallPc,
         [] {
             return Result{
                 true, std::to_string(WindowsDevice(busId).isParentOf(WindowsDevice("STORAGE\\VOLUME\\1")))};
         },
         anyOf({"0"})},
        {"RecordIsAncestor", smallPc,
         [] {
             return Result{true,
                           std::to_string(WindowsDevice(busId).isAncestorOf(WindowsDevice(diskId), nullptr))};
         },
         anyOf({"0"})},
        {"RecordRelations", smallPc,
         [] {
             return relations(libSysmira::Relations_Removal | libSysmira::Relations_Bus |
                              libSysmira::Relations_Ejection | libSysmira::Relations_Self);
         },
         someOfTheDevices()},
        {"RecordNumberLocation", smallPc,
         [] {
             unsigned location = 4711;
             const bool success = WindowsDevice(diskId).getUint32Location(location);
             return Result{success, std::to_string(location)};
         },
         keptOnFailure("4711")},
        {"RecordPciAddress", smallPc,
         [] {
             unsigned char bus = 9, device = 9, function = 9;
             const bool success = WindowsDevice(busId).getPciAddressFromLocation(bus, device, function);
             return Result{success, std::to_string(bus) + "." + std::to_string(device) + "." +
                                        std::to_string(function)};
         },
         keptOnFailure("9.9.9")},
    };
}

}  // namespace sweep
