// Values on their way into VARIANTs and back, as WMI converts them.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "simulation/api/OleAutomation.h"
#include "simulation/api/WmiObjects.h"

namespace simulation {

namespace {

// What WMI sends: 8-bit numbers as VT_UI1 or, signed ones, VT_I2; 16-bit ones as VT_I2 or, unsigned ones,
// VT_I4; all 32-bit ones as VT_I4; 64-bit ones as decimal text.
VARTYPE variantType(CIMTYPE type) {
    switch (type) {
        case CIM_BOOLEAN:
            return VT_BOOL;
        case CIM_UINT8:
            return VT_UI1;
        case CIM_SINT8:
        case CIM_SINT16:
        case CIM_CHAR16:
            return VT_I2;
        case CIM_UINT16:
        case CIM_UINT32:
        case CIM_SINT32:
            return VT_I4;
        case CIM_REAL32:
            return VT_R4;
        case CIM_REAL64:
            return VT_R8;
        case CIM_OBJECT:
            return VT_UNKNOWN;
        default:
            return VT_BSTR;
    }
}

// `element` is the VARIANT's or the array element's own field.
void store(const Text& nameSpace, CIMTYPE type, const WmiItem& item, void* element, const char* creator) {
    const auto put = [&](auto value) { std::memcpy(element, &value, sizeof value); };
    switch (variantType(type)) {
        case VT_BOOL:
            return put(static_cast<VARIANT_BOOL>(item.number != 0 ? VARIANT_TRUE : VARIANT_FALSE));
        case VT_UI1:
            return put(static_cast<BYTE>(item.number));
        case VT_I2:
            return put(static_cast<SHORT>(item.number));
        case VT_I4:
            return put(static_cast<LONG>(item.number));
        case VT_R4:
            return put(static_cast<float>(item.real));
        case VT_R8:
            return put(item.real);
        case VT_UNKNOWN:
            return put(item.object == nullptr ? nullptr
                                              : static_cast<IUnknown*>(newWmiObject(
                                                    dataOfEmbedded(nameSpace, *item.object), creator)));
        default:
            return put(newBstr(plainText(type, item), creator));
    }
}

struct Range {
    long long least;
    unsigned long long most;
};

std::optional<Range> rangeOf(CIMTYPE type) {
    switch (type) {
        case CIM_SINT8:
            return Range{-0x80, 0x7F};
        case CIM_UINT8:
            return Range{0, 0xFF};
        case CIM_SINT16:
            return Range{-0x8000, 0x7FFF};
        case CIM_UINT16:
        case CIM_CHAR16:
            return Range{0, 0xFFFF};
        case CIM_SINT32:
            return Range{-0x80000000ll, 0x7FFFFFFF};
        case CIM_UINT32:
            return Range{0, 0xFFFFFFFF};
        case CIM_SINT64:
            return Range{LLONG_MIN, LLONG_MAX};
        case CIM_UINT64:
            return Range{0, ULLONG_MAX};
        default:
            return std::nullopt;
    }
}

struct Integer {
    bool negative = false;
    unsigned long long bits = 0;  // two's complement
};

template <class Signed>
Integer integer(Signed value) {
    return {value < 0, static_cast<unsigned long long>(value)};
}

std::optional<Integer> parseInteger(const Text& text) {
    const std::string narrow = toUtf8(text);
    if (narrow.empty() || narrow.find_first_not_of("-+0123456789abcdefABCDEFxX") != std::string::npos) {
        return std::nullopt;
    }
    char* end = nullptr;
    errno = 0;
    const bool negative = narrow[0] == '-';
    const unsigned long long bits =
        negative ? static_cast<unsigned long long>(std::strtoll(narrow.c_str(), &end, 0))
                 : std::strtoull(narrow.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || end == narrow.c_str()) return std::nullopt;
    return Integer{negative && bits != 0, bits};
}

// One number, text or object out of a VARIANT's or an array element's field.
struct Source {
    VARTYPE type;
    const void* field;

    template <class Value>
    Value get() const {
        Value value;
        std::memcpy(&value, field, sizeof value);
        return value;
    }
    Text text() const {
        const BSTR text = get<BSTR>();
        return text == nullptr ? Text() : fromWide(text, SysStringLen(text));
    }
    // WMI takes the fields that it sends and no others: VT_UI2, VT_UI4 and VT_I8 are refused, as are the rest
    // (Microsoft, IWbemClassObject::Put; programs that tried these on Windows).
    std::optional<Integer> integer() const {
        switch (type) {
            case VT_BOOL:
            case VT_I2:
                return simulation::integer(get<SHORT>());
            case VT_UI1:
                return simulation::integer(get<BYTE>());
            case VT_I4:
                return simulation::integer(get<LONG>());
            case VT_BSTR:
                return parseInteger(text());
            default:
                return std::nullopt;
        }
    }
    std::optional<double> real() const {
        if (type == VT_R4) return get<float>();
        if (type == VT_R8) return get<double>();
        if (type == VT_BSTR) {
            const std::string narrow = toUtf8(text());
            char* end = nullptr;
            const double value = std::strtod(narrow.c_str(), &end);
            return !narrow.empty() && *end == '\0' ? std::optional(value) : std::nullopt;
        }
        const auto whole = integer();
        if (!whole) return std::nullopt;
        return whole->negative ? static_cast<double>(static_cast<long long>(whole->bits))
                               : static_cast<double>(whole->bits);
    }
};

bool convert(const Source& source, CIMTYPE type, WmiItem& item) {
    switch (type) {
        case CIM_BOOLEAN: {
            if (source.type == VT_BSTR) {
                const Text text = source.text();
                item.number = equalNoCase(text, u"true") ? 1 : 0;
                return item.number != 0 || equalNoCase(text, u"false");
            }
            const auto whole = source.integer();
            if (!whole) return false;
            item.number = whole->bits != 0 ? 1 : 0;
            return true;
        }
        case CIM_REAL32:
        case CIM_REAL64: {
            const auto real = source.real();
            if (!real) return false;
            item.real = *real;
            return true;
        }
        case CIM_STRING:
        case CIM_DATETIME:
        case CIM_REFERENCE: {
            if (source.type == VT_BSTR) {
                item.text = source.text();
                return true;
            }
            const auto whole = source.integer();
            if (type != CIM_STRING || !whole) return false;
            WmiItem number;
            number.number = whole->bits;
            item.text = plainText(whole->negative ? CIM_SINT64 : CIM_UINT64, number);
            return true;
        }
        case CIM_OBJECT: {
            if (source.type != VT_UNKNOWN && source.type != VT_DISPATCH) return false;
            const auto* const data = dataOf(source.get<IUnknown*>());
            if (data == nullptr) return false;
            item.object = std::make_shared<const WmiInstance>(instanceOf(*data));
            return true;
        }
        default: {
            const auto range = rangeOf(type);
            const auto whole = source.integer();
            if (!range || !whole) return false;
            const bool fits = whole->negative ? static_cast<long long>(whole->bits) >= range->least
                                              : whole->bits <= range->most;
            if (!fits) {
                // A signed field of the property's own width may carry the unsigned number's bits.
                const bool sameWidth = (type == CIM_UINT32 && source.type == VT_I4) ||
                                       ((type == CIM_UINT16 || type == CIM_CHAR16) && source.type == VT_I2);
                if (!sameWidth) return false;
                item.number = whole->bits & range->most;
                return true;
            }
            item.number = whole->bits;
            return true;
        }
    }
}

}  // namespace

VARIANT toVariant(const Text& nameSpace, CIMTYPE type, const WmiValue& value, const char* creator) {
    VARIANT variant;
    std::memset(&variant, 0, sizeof variant);
    variant.vt = VT_NULL;
    if (value.null) return variant;
    const auto single = static_cast<CIMTYPE>(type & ~CIM_FLAG_ARRAY);
    if ((type & CIM_FLAG_ARRAY) == 0) {
        if (value.items.empty()) return variant;
        variant.vt = variantType(single);
        store(nameSpace, single, value.items[0], &variant.bVal, creator);
        return variant;
    }
    SAFEARRAY* const array =
        newSafeArray(variantType(single), static_cast<ULONG>(value.items.size()), creator);
    for (size_t i = 0; i < value.items.size(); ++i) {
        store(nameSpace, single, value.items[i],
              static_cast<unsigned char*>(array->pvData) + i * array->cbElements, creator);
    }
    variant.vt = static_cast<VARTYPE>(VT_ARRAY | variantType(single));
    variant.parray = array;
    return variant;
}

bool fromVariant(const VARIANT& variant, CIMTYPE type, WmiValue& value) {
    value = WmiValue();
    if (variant.vt == VT_NULL || variant.vt == VT_EMPTY) return true;
    const bool isArray = (variant.vt & VT_ARRAY) != 0;
    if (isArray != ((type & CIM_FLAG_ARRAY) != 0) || (variant.vt & VT_BYREF) != 0) return false;
    value.null = false;
    const auto single = static_cast<CIMTYPE>(type & ~CIM_FLAG_ARRAY);
    if (!isArray) return convert({variant.vt, &variant.bVal}, single, value.items.emplace_back());
    if (variant.parray == nullptr || variant.parray->cDims != 1) return false;
    const auto elements = static_cast<VARTYPE>(variant.vt & ~VT_ARRAY);
    for (ULONG i = 0; i < variant.parray->rgsabound[0].cElements; ++i) {
        const auto* const element = static_cast<const unsigned char*>(variant.parray->pvData) +
                                    size_t{i} * variant.parray->cbElements;
        if (elements == VT_VARIANT) {
            const VARIANT& inner = *reinterpret_cast<const VARIANT*>(element);
            if (!convert({inner.vt, &inner.bVal}, single, value.items.emplace_back())) return false;
        } else if (!convert({elements, element}, single, value.items.emplace_back())) {
            return false;
        }
    }
    return true;
}

}  // namespace simulation
