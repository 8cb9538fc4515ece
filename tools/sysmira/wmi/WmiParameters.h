// The input parameters of a WMI method, as the user writes them: NAME=VALUE.
#pragma once

#include <string>
#include <vector>

#include "support/WindowsApi.h"

namespace sysmira {

struct WmiParameter {
    std::string name;
    std::string value;
};

/// Splits "NAME=VALUE" at the first "=". Throws CommandFailure (wrong usage).
std::vector<WmiParameter> parseParameters(const std::vector<std::string>& arguments);

/// Writes the values to a method's parameter object, each as its parameter's own type: numbers decimal or,
/// after "0x", hexadecimal; true and false; arrays in brackets, as JSON; everything else is the text itself;
/// "null" is no value, and as a text it is written "\"null\"".
///
/// Throws CommandFailure: the method has no such parameter, or the value does not fit it.
void putParameters(IWbemClassObject* object, const std::string& method,
                   const std::vector<WmiParameter>& parameters);

}  // namespace sysmira
