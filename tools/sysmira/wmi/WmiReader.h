// All properties of a WMI object, whatever their types.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/String.h"
#include "support/WindowsApi.h"

namespace sysmira {

struct WmiPropertyFacts {
    std::string name;
    std::string type;  ///< the CIM type as MOF writes it: "uint64", "string[]"
    /// Numbers of every width as numbers, date-times and references as texts, embedded objects as
    /// {"class", "properties"}; null when there is no value, or when it is not of the type that it claims.
    nlohmann::ordered_json value;
};

struct WmiObjectFacts {
    std::string className;                     ///< empty: unknown
    std::string path;                          ///< empty: the object has none
    std::vector<WmiPropertyFacts> properties;  ///< as WMI lists them, without the system's own ("__PATH")
};

/// Throws CommandFailure when WMI does not list the properties.
WmiObjectFacts readWmiObject(IWbemClassObject* object);

/// "uint32[]" of CIM_UINT32 | CIM_FLAG_ARRAY; "type 99" of what is none.
std::string cimTypeName(CIMTYPE type);

/// {"class", "path", "properties": {name: {"type", "value"}}}
nlohmann::ordered_json toJson(const WmiObjectFacts& facts);
/// A block of lines: the heading, then a property a line, aligned; embedded objects are indented under their
/// property.
std::string toText(const WmiObjectFacts& facts, const std::string& heading);

}  // namespace sysmira
