// The WMI of the simulated PC as plain data: namespaces with classes, instances, methods' outcomes and
// events.
//
//     WmiNamespaceModel& cim = machine().wmi[u"root\\cimv2"];
//     cim.add({u"Win32_Fan", u"", {{u"Id", CIM_STRING, {}, WmiKey}, {u"Rpm", CIM_UINT32}}});
//     cim.add({u"Win32_Fan", {{u"Id", u"CPU"}, {u"Rpm", 1200}}});
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

struct WmiInstance;

/// One number, text or object. The property's CIM type says which field counts.
struct WmiItem {
    ULONGLONG number = 0;  ///< integers (negative ones in two's complement), booleans, char16
    double real = 0;
    Text text;  ///< strings, date-times, references
    std::shared_ptr<const WmiInstance> object;
};

/// The value of a property: null, one item, or an array of them.
struct WmiValue {
    bool null = true;
    std::vector<WmiItem> items;

    WmiValue() = default;
    WmiValue(bool value) : WmiValue(static_cast<long long>(value)) {}
    WmiValue(int value) : WmiValue(static_cast<long long>(value)) {}
    WmiValue(unsigned value) : WmiValue(static_cast<unsigned long long>(value)) {}
    WmiValue(long long value);
    WmiValue(unsigned long long value);
    WmiValue(double value);
    WmiValue(const char16_t* value) : WmiValue(Text(value)) {}
    WmiValue(Text value);
    WmiValue(WmiInstance value);
    /// The first item of each.
    static WmiValue array(const std::vector<WmiValue>& values);
    static WmiValue bytes(const std::vector<unsigned char>& values);
};

using WmiValues = std::map<Text, WmiValue, LessNoCase>;

constexpr bool WmiKey = true;

/// A property of a class, or a parameter of a method.
struct WmiProperty {
    Text name;
    CIMTYPE type = CIM_STRING;  ///< with CIM_FLAG_ARRAY where it is one
    WmiValue initial = {};      ///< where an instance says nothing
    bool key = false;
};

/// What calling a method leads to.
struct WmiOutcome {
    HRESULT result = WBEM_S_NO_ERROR;     ///< a failure: there are no out-parameters
    unsigned long long milliseconds = 0;  ///< simulated time that the call takes
    WmiValues out = {};                   ///< u"ReturnValue" among them
    /// Other outcomes, for calls with in-parameters that equal those of `when`; the first that fits counts.
    std::vector<WmiOutcome> cases = {};
    WmiValues when = {};
};

/// A call must bring in-parameters unless each has an initial value.
/// Without in-parameters `in` is empty; a method that returns nothing has an empty `out`.
struct WmiMethod {
    Text name;
    std::vector<WmiProperty> in = {};
    std::vector<WmiProperty> out = {};
    WmiOutcome outcome = {};  ///< unless the instance has one of its own
    bool isStatic = false;    ///< can be called on the class
};

struct WmiClass {
    Text name;
    Text superclass = {};  ///< empty: none; properties and methods are inherited
    std::vector<WmiProperty> properties = {};
    std::vector<WmiMethod> methods = {};
};

/// An instance, also one that stands inside another's property.
struct WmiInstance {
    Text className;
    WmiValues values = {};
    std::map<Text, WmiOutcome, LessNoCase> outcomes = {};  ///< by method's name
};

/// An event to come. It is delivered to the notification queries that ask for it and were running when it
/// came.
struct WmiEvent {
    unsigned long long at = 0;  ///< when it reaches the queries: simulated milliseconds since reset()
    WmiInstance event;

    static WmiEvent created(unsigned long long at, WmiInstance target);
    static WmiEvent deleted(unsigned long long at, WmiInstance target);
    static WmiEvent modified(unsigned long long at, WmiInstance before, WmiInstance after);
};

struct WmiNamespaceModel {
    std::map<Text, WmiClass, LessNoCase> classes;
    std::deque<WmiInstance> instances;
    std::vector<WmiEvent> events;
    HRESULT connectResult = WBEM_S_NO_ERROR;  ///< a failure (WBEM_E_ACCESS_DENIED): nobody can connect
    HRESULT queryResult = WBEM_S_NO_ERROR;  ///< a failure (WBEM_E_PROVIDER_FAILURE): the first Next gives it

    unsigned long long millisecondsPerRow = 0;  ///< simulated time until each row of a query arrives

    WmiClass& add(WmiClass wmiClass);
    WmiInstance& add(WmiInstance instance);
    void add(WmiEvent event) { events.push_back(std::move(event)); }

    /// The class, the system's own (__InstanceCreationEvent and the like) included; null when there is none.
    const WmiClass* findClass(std::u16string_view name) const;
    /// Whether a class is another or derives from it.
    bool isA(std::u16string_view name, std::u16string_view ancestor) const;
    /// The superclasses, nearest first. A chain that is broken or comes back to itself ends there.
    std::vector<const WmiClass*> ancestry(const WmiClass& wmiClass) const;
    /// The properties, those of the topmost superclass first; a class may redefine one that it inherits.
    std::vector<WmiProperty> allProperties(const WmiClass& wmiClass) const;
    const WmiMethod* findMethod(const WmiClass& wmiClass, std::u16string_view name) const;
};

using WmiNamespaces = std::map<Text, WmiNamespaceModel, LessNoCase>;

/// "root\cimv2" of "\\.\root/cimv2": backslashes, without a machine's name.
Text normalNamespace(std::u16string_view path);
/// Null when there is none.
const WmiNamespaceModel* findNamespace(const WmiNamespaces& namespaces, std::u16string_view path);

}  // namespace simulation
