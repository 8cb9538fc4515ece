// WMI's COM objects as they make each other.
#pragma once

#include <memory>
#include <vector>

#include "simulation/control/Text.h"
#include "simulation/machine/Wmi.h"
#include "support/WindowsApi.h"

namespace simulation {

/// What an IWbemClassObject holds: a class or an instance, complete in itself.
struct WmiObjectData {
    struct Property {
        Text name;
        CIMTYPE type = CIM_EMPTY;
        WmiValue value;
        bool key = false;
    };
    Text server;     ///< empty for parameters of methods
    Text nameSpace;  ///< where the classes of embedded objects are found
    Text className;
    std::vector<Text> ancestors;  ///< nearest first
    bool isClass = false;
    /// Relative, as in Win32_Disk.Id="1". None: the object cannot be addressed, e.g. a row without its keys.
    std::optional<Text> path;
    std::vector<Property> properties;
    std::vector<WmiMethod> methods;  ///< of a class

    Property* find(std::u16string_view name);
    const Property* find(std::u16string_view name) const {
        return const_cast<WmiObjectData*>(this)->find(name);
    }
};

/// A namespace as a connection sees it; the machine's own, asked anew at each call. Null: it is gone.
const WmiNamespaceModel* wmiNamespace(const Text& nameSpace);

WmiObjectData dataOfClass(const Text& nameSpace, const WmiNamespaceModel& model, const WmiClass& wmiClass);
/// An instance of a class that the namespace lacks has its own values as string properties.
WmiObjectData dataOfInstance(const Text& nameSpace, const WmiNamespaceModel& model,
                             const WmiInstance& instance);
/// The in- or out-parameters of a method (class __PARAMETERS); with their values when `isClass` is false.
WmiObjectData dataOfParameters(const Text& nameSpace, const std::vector<WmiProperty>& parameters,
                               const WmiValues& values, bool isClass);
/// An object as it stands in another's property.
WmiObjectData dataOfEmbedded(const Text& nameSpace, const WmiInstance& instance);
/// The other way round.
WmiInstance instanceOf(const WmiObjectData& data);

/// "\\SERVER\root\cimv2:Win32_Disk.Id="1"" taken apart.
struct WmiPath {
    Text server;     ///< empty: this one
    Text nameSpace;  ///< empty: the connection's
    Text className;
    bool isClass = true;
    bool isSingleton = false;                 ///< "Class=@"
    std::vector<std::pair<Text, Text>> keys;  ///< values as texts; a lone key may lack its name
};
std::optional<WmiPath> parseWmiPath(std::u16string_view text);
/// The relative path of an instance, none when a key is null.
std::optional<Text> relativePath(const Text& className,
                                 const std::vector<WmiObjectData::Property>& properties);
/// The instance that a path names; null when there is none.
const WmiInstance* findInstance(const WmiNamespaceModel& model, const WmiPath& path);

/// A value as text, the way WMI shows it: "1200", "TRUE", "3.5", the text itself.
Text plainText(CIMTYPE type, const WmiItem& item);
/// The VARIANT that WMI sends for a value.
VARIANT toVariant(const Text& nameSpace, CIMTYPE type, const WmiValue& value, const char* creator);
/// WMI's conversion to a property's type; false when there is none (WBEM_E_TYPE_MISMATCH).
bool fromVariant(const VARIANT& variant, CIMTYPE type, WmiValue& value);
/// The object as MOF text.
Text toMof(const WmiObjectData& data);

// Each with one reference, the caller's.
IWbemLocator* newWmiLocator(const char* creator);
IWbemServices* newWmiServices(const Text& nameSpace, const char* creator);
IWbemClassObject* newWmiObject(std::shared_ptr<const WmiObjectData> data, const char* creator);
inline IWbemClassObject* newWmiObject(WmiObjectData data, const char* creator) {
    return newWmiObject(std::make_shared<const WmiObjectData>(std::move(data)), creator);
}

/// What a method call came to. A failure has no out-parameters, a success perhaps none.
struct WmiCallEnd {
    HRESULT result = WBEM_S_NO_ERROR;
    unsigned long long at = 0;  ///< simulated time at which it ends
    std::shared_ptr<const WmiObjectData> out;
};
IWbemCallResult* newWmiCallResult(WmiCallEnd end, const char* creator);

/// The rows that a query found.
struct WmiRows {
    std::vector<std::shared_ptr<const WmiObjectData>> rows;
    HRESULT failure = WBEM_S_NO_ERROR;        ///< a failure: the first Next gives it
    unsigned long long millisecondsEach = 0;  ///< simulated time until each arrives
    bool forwardOnly = false;
};
IEnumWbemClassObject* newWmiEnumerator(WmiRows rows, const char* creator);
struct WqlQuery;
/// The events that come from now on.
IEnumWbemClassObject* newWmiEventEnumerator(const Text& nameSpace, WqlQuery query, const char* creator);

constexpr LONG Infinite = static_cast<LONG>(WBEM_INFINITE);
/// Lets simulated time pass until `due`, at most the caller's time-out (Infinite: without end). False
/// when that is too short.
bool waitUntil(unsigned long long due, LONG timeout);

/// The data of an object of ours, for one that comes back as a parameter; null for another's.
const WmiObjectData* dataOf(IUnknown* object);

}  // namespace simulation
