#include "tools/sysmira/wmi/WmiReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>

#include "libSysmira/wmi/Wmi.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/wmi/ComErrorNames.h"
#include "tools/sysmira/wmi/ComVariant.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

namespace {

// Objects in objects in objects: nobody reads further.
constexpr unsigned deepestEmbedding = 16;

struct TypeName {
    CIMTYPE type;
    const char* name;
};
constexpr std::array<TypeName, 16> typeNames = {{
    {CIM_SINT8, "sint8"},
    {CIM_UINT8, "uint8"},
    {CIM_SINT16, "sint16"},
    {CIM_UINT16, "uint16"},
    {CIM_SINT32, "sint32"},
    {CIM_UINT32, "uint32"},
    {CIM_SINT64, "sint64"},
    {CIM_UINT64, "uint64"},
    {CIM_REAL32, "real32"},
    {CIM_REAL64, "real64"},
    {CIM_BOOLEAN, "boolean"},
    {CIM_STRING, "string"},
    {CIM_DATETIME, "datetime"},
    {CIM_REFERENCE, "ref"},
    {CIM_CHAR16, "char16"},
    {CIM_OBJECT, "object"},
}};

// Up to the first NUL: some systems count more units than the text has.
zor::String textOf(BSTR text) {
    const zor::String whole(text, SysStringLen(text));
    unsigned length = 0;
    while (length < whole.size() && whole[length] != 0) ++length;
    return whole.subString(0, length);
}

std::string utf8(BSTR text) { return toUtf8(textOf(text)); }

WmiObjectFacts readObject(IWbemClassObject* object, unsigned depth);

Json embedded(IUnknown* unknown, unsigned depth) {
    if (unknown == nullptr || depth == 0) return nullptr;
    IWbemClassObject* object = nullptr;
    const HRESULT hr = unknown->QueryInterface(IID_IWbemClassObject, reinterpret_cast<void**>(&object));
    const libSysmira::ComPointer<IWbemClassObject> adopted(object);
    if (FAILED(hr) || object == nullptr) return nullptr;
    return toJson(readObject(object, depth - 1));
}

// WMI sends small numbers in wider fields, with or without a sign: the bits that the type has are what
// counts.
Json integer(CIMTYPE type, unsigned long long bits) {
    switch (type) {
        case CIM_SINT8:
            return static_cast<signed char>(bits);
        case CIM_UINT8:
            return static_cast<unsigned char>(bits);
        case CIM_SINT16:
            return static_cast<short>(bits);
        case CIM_UINT16:
        case CIM_CHAR16:
            return static_cast<unsigned short>(bits);
        case CIM_SINT32:
            return static_cast<int>(bits);
        case CIM_UINT32:
            return static_cast<unsigned>(bits);
        case CIM_SINT64:
            return static_cast<long long>(bits);
        default:
            return bits;
    }
}

// 64-bit numbers come as texts.
Json integerOf(CIMTYPE type, const std::string& text) {
    const bool negative = !text.empty() && text.front() == '-';
    unsigned long long bits = 0;
    const zor::String digits = zor::String::fromUTF8(std::string_view(text).substr(negative ? 1 : 0));
    if (digits.toUint64(bits, 0) != zor::String::ParseSuccess) return nullptr;
    return integer(type, negative ? 0 - bits : bits);
}

template <class T>
T valueAt(const void* place) {
    T value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

// The width in bytes of an item in a field of that VARIANT type; 0 for types that WMI does not send.
unsigned widthOf(VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_BSTR:
        case VT_UNKNOWN:
            return 8;
        default:
            return 0;
    }
}

std::optional<unsigned long long> bitsAt(const void* place, VARTYPE vt) {
    switch (vt) {
        case VT_R4:
        case VT_R8:
        case VT_BSTR:
        case VT_UNKNOWN:
            return std::nullopt;
        default:
            break;
    }
    switch (widthOf(vt)) {
        case 1:
            return valueAt<unsigned char>(place);
        case 2:
            return valueAt<unsigned short>(place);
        case 4:
            return valueAt<unsigned>(place);
        default:
            return valueAt<unsigned long long>(place);
    }
}

Json realAt(CIMTYPE type, const void* place, VARTYPE vt) {
    // As many digits as the type has: 0.1 in 32 bits is 0.1, not 0.10000000149011612.
    if (type == CIM_REAL32 && vt == VT_R4) {
        const float value = valueAt<float>(place);
        if (!std::isfinite(value)) return nullptr;
        char digits[32];
        std::snprintf(digits, sizeof digits, "%.7g", static_cast<double>(value));
        if (std::strtof(digits, nullptr) != value) {
            std::snprintf(digits, sizeof digits, "%.9g", static_cast<double>(value));
        }
        return std::strtod(digits, nullptr);
    }
    const double value = vt == VT_R4   ? static_cast<double>(valueAt<float>(place))
                         : vt == VT_R8 ? valueAt<double>(place)
                                       : std::nan("");
    if (!std::isfinite(value)) return nullptr;
    return value;
}

// One item of CIM type `type`, in a field of VARIANT type `vt`.
Json itemAt(CIMTYPE type, const void* place, VARTYPE vt, unsigned depth) {
    switch (type) {
        case CIM_STRING:
        case CIM_DATETIME:
        case CIM_REFERENCE: {
            if (vt != VT_BSTR) return nullptr;
            const BSTR text = valueAt<BSTR>(place);
            return text == nullptr ? Json(nullptr) : Json(utf8(text));
        }
        case CIM_OBJECT:
            return vt == VT_UNKNOWN ? embedded(valueAt<IUnknown*>(place), depth) : Json(nullptr);
        case CIM_REAL32:
        case CIM_REAL64:
            return realAt(type, place, vt);
        default:
            break;
    }
    if (vt == VT_BSTR) return integerOf(type, utf8(valueAt<BSTR>(place)));
    const auto bits = bitsAt(place, vt);
    if (!bits) return nullptr;
    if (type == CIM_BOOLEAN) return *bits != 0;
    // What came with a sign keeps it when the type is wider than the field.
    if (vt == VT_I1) return integer(type, static_cast<unsigned long long>(static_cast<signed char>(*bits)));
    if (vt == VT_I2) return integer(type, static_cast<unsigned long long>(static_cast<short>(*bits)));
    if (vt == VT_I4 || vt == VT_INT) {
        return integer(type, static_cast<unsigned long long>(static_cast<int>(*bits)));
    }
    return integer(type, *bits);
}

Json itemsOf(CIMTYPE type, SAFEARRAY* array, VARTYPE vt, unsigned depth) {
    const unsigned width = widthOf(vt);
    if (array == nullptr || array->cDims != 1 || width == 0 || array->cbElements != width) return nullptr;
    const ULONG count = array->rgsabound[0].cElements;
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(array, &data))) return nullptr;
    Json items = Json::array();
    for (ULONG i = 0; data != nullptr && i < count; ++i) {
        items.push_back(itemAt(type, static_cast<const char*>(data) + std::size_t{i} * width, vt, depth));
    }
    SafeArrayUnaccessData(array);
    return items;
}

Json valueOf(const VARIANT& variant, CIMTYPE type, unsigned depth) {
    const bool isArray = (variant.vt & VT_ARRAY) != 0;
    if (isArray != ((type & CIM_FLAG_ARRAY) != 0)) return nullptr;
    const CIMTYPE item = type & ~CIM_FLAG_ARRAY;
    const auto vt = static_cast<VARTYPE>(variant.vt & ~VT_ARRAY);
    if (isArray) return itemsOf(item, variant.parray, vt, depth);
    if (widthOf(vt) == 0) return nullptr;
    return itemAt(item, &variant.byref, vt, depth);
}

std::string systemText(IWbemClassObject* object, const WCHAR* name) {
    ComVariant value;
    CIMTYPE type = CIM_EMPTY;
    if (FAILED(object->Get(name, 0, &value.get(), &type, nullptr)) || value.get().vt != VT_BSTR) return {};
    return utf8(value.get().bstrVal);
}

std::vector<zor::String> propertyNames(IWbemClassObject* object) {
    SAFEARRAY* array = nullptr;
    const HRESULT hr =
        object->GetNames(nullptr, WBEM_FLAG_ALWAYS | WBEM_FLAG_NONSYSTEM_ONLY, nullptr, &array);
    struct Destroyed {
        SAFEARRAY* array;
        ~Destroyed() {
            if (array != nullptr) SafeArrayDestroy(array);
        }
    } const destroyed{array};
    if (FAILED(hr) || array == nullptr || array->cDims != 1 || array->cbElements != sizeof(BSTR)) {
        throw CommandFailure(NotRead, "the properties of an object cannot be listed: " + describeResult(hr));
    }
    std::vector<zor::String> names;
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(array, &data))) return names;
    for (ULONG i = 0; data != nullptr && i < array->rgsabound[0].cElements; ++i) {
        const BSTR name = static_cast<BSTR*>(data)[i];
        if (name != nullptr) names.push_back(textOf(name));
    }
    SafeArrayUnaccessData(array);
    return names;
}

WmiObjectFacts readObject(IWbemClassObject* object, unsigned depth) {
    WmiObjectFacts facts;
    facts.className = systemText(object, L"__CLASS");
    facts.path = systemText(object, L"__PATH");
    for (const zor::String& name : propertyNames(object)) {
        ComVariant value;
        CIMTYPE type = CIM_EMPTY;
        if (FAILED(object->Get(name.getUCS2Buffer(), 0, &value.get(), &type, nullptr))) continue;
        facts.properties.push_back({toUtf8(name), cimTypeName(type), valueOf(value.get(), type, depth)});
    }
    return facts;
}

// A value on one line. Embedded objects stand on lines of their own, see appendBlock.
std::string lineOf(const Json& value) {
    if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        return text.empty() ? "\"\"" : printable(text);
    }
    if (value.is_array()) {
        std::string items;
        for (const Json& item : value) items += (items.empty() ? "" : ", ") + lineOf(item);
        return "[" + items + "]";
    }
    return value.dump(-1, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace);
}

bool isObject(const Json& value) {
    if (value.is_array()) return !value.empty() && std::all_of(value.begin(), value.end(), isObject);
    return value.is_object();
}

void appendBlock(std::string& text, const std::string& heading, const Json& properties,
                 const std::string& indent);

void appendObjects(std::string& text, const Json& value, const std::string& indent) {
    if (value.is_array()) {
        for (const Json& item : value) appendObjects(text, item, indent);
        return;
    }
    appendBlock(text, printable(value["class"].get_ref<const std::string&>()), value["properties"], indent);
}

void appendBlock(std::string& text, const std::string& heading, const Json& properties,
                 const std::string& indent) {
    text += indent + heading + "\n";
    std::size_t width = 0;
    for (const auto& [name, property] : properties.items()) {
        if (!isObject(property["value"])) width = std::max(width, displayWidth(printable(name)));
    }
    for (const auto& [name, property] : properties.items()) {
        const Json& value = property["value"];
        text += indent + "  ";
        if (isObject(value)) {
            text += printable(name) + ":\n";
            appendObjects(text, value, indent + "    ");
        } else {
            text += padded(printable(name) + ":", width + 2) + lineOf(value) + "\n";
        }
    }
}

}  // namespace

std::string cimTypeName(CIMTYPE type) {
    const std::string array = (type & CIM_FLAG_ARRAY) != 0 ? "[]" : "";
    for (const TypeName& entry : typeNames) {
        if (entry.type == (type & ~CIM_FLAG_ARRAY)) return entry.name + array;
    }
    return "type " + std::to_string(type & ~CIM_FLAG_ARRAY) + array;
}

WmiObjectFacts readWmiObject(IWbemClassObject* object) { return readObject(object, deepestEmbedding); }

Json toJson(const WmiObjectFacts& facts) {
    Json properties = Json::object();
    for (const WmiPropertyFacts& property : facts.properties) {
        properties[property.name] = {{"type", property.type}, {"value", property.value}};
    }
    Json object;
    object["class"] = facts.className;
    object["path"] = facts.path.empty() ? Json(nullptr) : Json(facts.path);
    object["properties"] = std::move(properties);
    return object;
}

std::string toText(const WmiObjectFacts& facts, const std::string& heading) {
    std::string text;
    appendBlock(text, printable(heading), toJson(facts)["properties"], "");
    return text;
}

}  // namespace sysmira
