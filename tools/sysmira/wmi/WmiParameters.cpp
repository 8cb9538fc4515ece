#include "tools/sysmira/wmi/WmiParameters.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "libSysmira/wmi/Wmi.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/wmi/ComErrorNames.h"
#include "tools/sysmira/wmi/ComVariant.h"
#include "tools/sysmira/wmi/WmiReader.h"

namespace sysmira {

namespace {

// How WMI takes the integers of a CIM type, and what fits it.
struct IntegerForm {
    CIMTYPE type;
    VARTYPE vt;
    long long smallest;
    unsigned long long greatest;
};
constexpr IntegerForm integerForms[] = {
    {CIM_SINT8, VT_I2, -0x80, 0x7F},      {CIM_UINT8, VT_UI1, 0, 0xFF},
    {CIM_SINT16, VT_I2, -0x8000, 0x7FFF}, {CIM_UINT16, VT_I4, 0, 0xFFFF},
    {CIM_CHAR16, VT_I2, 0, 0xFFFF},       {CIM_SINT32, VT_I4, -0x80000000LL, 0x7FFFFFFF},
    {CIM_UINT32, VT_I4, 0, 0xFFFFFFFF},   {CIM_SINT64, VT_BSTR, INT64_MIN, INT64_MAX},
    {CIM_UINT64, VT_BSTR, 0, UINT64_MAX},
};

// The value of one parameter on its way to WMI; `failure` is the code that stands for why it cannot be.
struct Refused {
    HRESULT failure;
};
constexpr auto mismatch = static_cast<HRESULT>(WBEM_E_TYPE_MISMATCH);
constexpr auto outOfRange = static_cast<HRESULT>(WBEM_E_VALUE_OUT_OF_RANGE);

BSTR newText(const std::string& utf8) {
    const zor::String text = zor::String::fromUTF8(utf8);
    const BSTR result = SysAllocStringLen(text.getUCS2Buffer(), text.size());
    if (result == nullptr) throw libSysmira::ComError(E_OUTOFMEMORY);
    return result;
}

// Reads an integer that fits its type, as its 64 bits.
unsigned long long integerOf(const IntegerForm& form, const std::string& text) {
    const bool negative = !text.empty() && text.front() == '-';
    unsigned long long size = 0;
    const std::string digits = text.substr(negative ? 1 : 0);
    // A leading 0 is no octal mark here.
    const unsigned base = digits.size() > 1 && (digits[1] == 'x' || digits[1] == 'X') ? 16 : 10;
    const auto parsed = zor::String::fromUTF8(digits).toUint64(size, base);
    if (parsed == zor::String::ParseOverflow) throw Refused{outOfRange};
    if (parsed != zor::String::ParseSuccess) throw Refused{mismatch};
    unsigned long long limit = form.greatest;
    if (negative) {
        limit = 0 - static_cast<unsigned long long>(form.smallest);
    } else if (base == 16 && form.smallest != 0) {
        limit = form.greatest * 2 + 1;  // hexadecimal digits are the bits of a signed type, too
    }
    if (size > limit) throw Refused{outOfRange};
    return negative ? 0 - size : size;
}

double realOf(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != 0) throw Refused{mismatch};
    return value;
}

bool truthOf(const std::string& text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    throw Refused{mismatch};
}

// Fills a VARIANT that is no array; the union's fields begin at one place.
void setItem(VARIANT& variant, CIMTYPE type, const std::string& text) {
    for (const IntegerForm& form : integerForms) {
        if (form.type != type) continue;
        const unsigned long long bits = integerOf(form, text);
        if (form.vt == VT_BSTR) {
            variant.bstrVal = newText(type == CIM_SINT64 ? std::to_string(static_cast<long long>(bits))
                                                         : std::to_string(bits));
        } else {
            variant.llVal = static_cast<long long>(bits);
        }
        variant.vt = form.vt;
        return;
    }
    switch (type) {
        case CIM_BOOLEAN:
            variant.boolVal = truthOf(text) ? VARIANT_TRUE : VARIANT_FALSE;
            variant.vt = VT_BOOL;
            return;
        case CIM_REAL32:
            variant.fltVal = static_cast<float>(realOf(text));
            variant.vt = VT_R4;
            return;
        case CIM_REAL64:
            variant.dblVal = realOf(text);
            variant.vt = VT_R8;
            return;
        case CIM_STRING:
        case CIM_DATETIME:
        case CIM_REFERENCE:
            variant.bstrVal = newText(text);
            variant.vt = VT_BSTR;
            return;
        default:
            throw Refused{mismatch};
    }
}

// What a JSON item would be if it stood alone.
std::string alone(const nlohmann::json& item) {
    if (item.is_string()) return item.get<std::string>();
    if (item.is_structured() || item.is_null()) throw Refused{mismatch};
    return item.dump();
}

// The VARIANT type that setItem gives to a CIM type.
VARTYPE fieldOf(CIMTYPE type) {
    for (const IntegerForm& form : integerForms) {
        if (form.type == type) return form.vt;
    }
    switch (type) {
        case CIM_BOOLEAN:
            return VT_BOOL;
        case CIM_REAL32:
            return VT_R4;
        case CIM_REAL64:
            return VT_R8;
        default:
            return VT_BSTR;
    }
}

void setItems(VARIANT& variant, CIMTYPE type, const std::string& text) {
    const nlohmann::json items = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!items.is_array()) throw Refused{mismatch};
    variant.parray = SafeArrayCreateVector(fieldOf(type), 0, static_cast<ULONG>(items.size()));
    if (variant.parray == nullptr) throw libSysmira::ComError(E_OUTOFMEMORY);
    variant.vt = static_cast<VARTYPE>(VT_ARRAY | fieldOf(type));
    auto* place = static_cast<char*>(variant.parray->pvData);
    for (const nlohmann::json& entry : items) {
        ComVariant item;
        setItem(item.get(), type, alone(entry));
        std::memcpy(place, &item.get().byref, variant.parray->cbElements);
        place += variant.parray->cbElements;
        item.get().vt = VT_EMPTY;  // a text is the array's now
    }
}

void setValue(VARIANT& variant, CIMTYPE type, const std::string& text) {
    if (text == "null") {
        variant.vt = VT_NULL;
    } else if ((type & CIM_FLAG_ARRAY) != 0) {
        setItems(variant, type & ~CIM_FLAG_ARRAY, text);
    } else {
        setItem(variant, type, text == "\"null\"" ? "null" : text);
    }
}

void putParameter(IWbemClassObject* object, const std::string& method, const WmiParameter& parameter) {
    const zor::String name = zor::String::fromUTF8(parameter.name);
    CIMTYPE type = CIM_EMPTY;
    HRESULT hr = object->Get(name.getUCS2Buffer(), 0, nullptr, &type, nullptr);
    if (FAILED(hr)) {
        throw CommandFailure(NotRead, "the method \"" + method + "\" has no input parameter \"" +
                                          parameter.name + "\": " + describeResult(hr));
    }
    ComVariant value;
    try {
        setValue(value.get(), type, parameter.value);
        hr = object->Put(name.getUCS2Buffer(), 0, &value.get(), 0);
    } catch (const Refused& refused) {
        hr = refused.failure;
    }
    if (FAILED(hr)) {
        throw CommandFailure(NotRead, "\"" + parameter.value + "\" is no value for the " + cimTypeName(type) +
                                          " parameter \"" + parameter.name + "\" of the method \"" + method +
                                          "\": " + describeResult(hr));
    }
}

}  // namespace

std::vector<WmiParameter> parseParameters(const std::vector<std::string>& arguments) {
    std::vector<WmiParameter> parameters;
    for (const std::string& argument : arguments) {
        const std::size_t mark = argument.find('=');
        if (mark == 0 || mark == std::string::npos) {
            throw CommandFailure(WrongUsage, "\"" + argument + "\" is no parameter of the form NAME=VALUE");
        }
        parameters.push_back({argument.substr(0, mark), argument.substr(mark + 1)});
    }
    return parameters;
}

void putParameters(IWbemClassObject* object, const std::string& method,
                   const std::vector<WmiParameter>& parameters) {
    for (const WmiParameter& parameter : parameters) putParameter(object, method, parameter);
}

}  // namespace sysmira
