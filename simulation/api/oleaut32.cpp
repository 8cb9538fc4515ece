// OLE automation's texts, arrays and variants, for both targets, so that each is accounted for. Those that a
// Windows program got from the real system are given back to it.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "simulation/api/OleAutomation.h"
#include "simulation/api/RealFunction.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"

namespace simulation {

namespace {

// In front of a BSTR, the last four bytes being its length in bytes; in front of a SAFEARRAY, the last four
// being its elements' type. As long as malloc's alignment.
constexpr size_t PrefixSize = 16;

DWORD& prefixOf(void* content) { return static_cast<DWORD*>(content)[-1]; }

void* allocate(size_t size, DWORD prefix) {
    auto* const memory = static_cast<unsigned char*>(std::calloc(1, PrefixSize + size));
    if (memory == nullptr) return nullptr;
    prefixOf(memory + PrefixSize) = prefix;
    return memory + PrefixSize;
}

void release(void* content) { std::free(static_cast<unsigned char*>(content) - PrefixSize); }

BSTR allocateBstr(const void* bytes, size_t size, const char* creator) {
    if (size > 0x7FFFFFF0) return nullptr;
    const auto text = static_cast<BSTR>(allocate(size + sizeof(WCHAR), static_cast<DWORD>(size)));
    if (text == nullptr) return nullptr;
    if (bytes != nullptr && size != 0) std::memcpy(text, bytes, size);
    ledger().opened(Resource::Bstr, text, creator);
    return text;
}

size_t elementSize(VARTYPE type) {
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
        case VT_R4:
        case VT_INT:
        case VT_UINT:
        case VT_ERROR:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_DATE:
        case VT_CY:
            return 8;
        case VT_BSTR:
        case VT_UNKNOWN:
        case VT_DISPATCH:
            return sizeof(void*);
        case VT_VARIANT:
            return sizeof(VARIANT);
        default:
            return 0;
    }
}

SAFEARRAY* allocateArray(VARTYPE type, UINT dimensions, const SAFEARRAYBOUND* bounds, const char* creator) {
    const size_t size = elementSize(type);
    if (size == 0 || dimensions == 0 || dimensions > 60) return nullptr;
    size_t count = 1;
    for (UINT i = 0; i < dimensions; ++i) {
        count *= bounds[i].cElements;
        if (count > 0x10000000) return nullptr;
    }
    const size_t header = sizeof(SAFEARRAY) + (dimensions - 1) * sizeof(SAFEARRAYBOUND);
    auto* const array = static_cast<SAFEARRAY*>(allocate(header, type));
    if (array == nullptr) return nullptr;
    array->cDims = static_cast<USHORT>(dimensions);
    array->cbElements = static_cast<ULONG>(size);
    array->fFeatures = FADF_HAVEVARTYPE;
    if (type == VT_BSTR) array->fFeatures = static_cast<USHORT>(array->fFeatures | FADF_BSTR);
    if (type == VT_UNKNOWN) array->fFeatures = static_cast<USHORT>(array->fFeatures | FADF_UNKNOWN);
    if (type == VT_VARIANT) array->fFeatures = static_cast<USHORT>(array->fFeatures | FADF_VARIANT);
    array->pvData = std::calloc(1, count * size + 1);
    // The bounds stand in reverse: the rightmost dimension first.
    for (UINT i = 0; i < dimensions; ++i) array->rgsabound[i] = bounds[dimensions - 1 - i];
    ledger().opened(Resource::SafeArray, array, creator);
    return array;
}

size_t elementCount(const SAFEARRAY& array) {
    size_t count = 1;
    for (USHORT i = 0; i < array.cDims; ++i) count *= array.rgsabound[i].cElements;
    return count;
}

// Where an element stands; null when an index is out of bounds. Indices come leftmost dimension first.
unsigned char* elementAt(const SAFEARRAY& array, const LONG* indices) {
    // The leftmost index runs fastest (Wine's tests of arrays, run on Windows).
    size_t position = 0;
    for (USHORT i = 0; i < array.cDims; ++i) {
        const SAFEARRAYBOUND& bound = array.rgsabound[i];
        const LONGLONG index = LONGLONG{indices[array.cDims - 1 - i]} - bound.lLbound;
        if (index < 0 || index >= bound.cElements) return nullptr;
        position = position * bound.cElements + static_cast<size_t>(index);
    }
    return static_cast<unsigned char*>(array.pvData) + position * array.cbElements;
}

bool isOurs(const SAFEARRAY* array, const Call& call) {
    return array != nullptr && ledger().uses(Resource::SafeArray, array, call.name());
}

HRESULT copyContent(VARIANT& target, const VARIANT& source, const char* function);

// Gives the copy of an element a text, object or variant of its own.
HRESULT copyElement(VARTYPE type, void* target, const void* source, const char* function) {
    if (type == VT_VARIANT) {
        return copyContent(*static_cast<VARIANT*>(target), *static_cast<const VARIANT*>(source), function);
    }
    if (type == VT_BSTR) {
        const BSTR text = *static_cast<const BSTR*>(source);
        const BSTR copy = text == nullptr ? nullptr : allocateBstr(text, prefixOf(text), function);
        *static_cast<BSTR*>(target) = copy;
        return text != nullptr && copy == nullptr ? E_OUTOFMEMORY : S_OK;
    }
    std::memcpy(target, source, elementSize(type));
    if (type == VT_UNKNOWN || type == VT_DISPATCH) {
        IUnknown* const object = *static_cast<IUnknown**>(target);
        if (object != nullptr) object->AddRef();
    }
    return S_OK;
}

HRESULT copyContent(VARIANT& target, const VARIANT& source, const char* function) {
    VARIANT copy = source;
    HRESULT result = S_OK;
    if ((source.vt & VT_BYREF) != 0) {
        // The variant owns nothing.
    } else if ((source.vt & VT_ARRAY) != 0 && source.parray != nullptr) {
        const SAFEARRAY& array = *source.parray;
        std::vector<SAFEARRAYBOUND> bounds(array.rgsabound, array.rgsabound + array.cDims);
        std::reverse(bounds.begin(), bounds.end());
        const VARTYPE type = elementType(&array);
        copy.parray = allocateArray(type, array.cDims, bounds.data(), function);
        if (copy.parray == nullptr) return E_OUTOFMEMORY;
        for (size_t i = 0; i < elementCount(array) && SUCCEEDED(result); ++i) {
            const size_t offset = i * array.cbElements;
            result = copyElement(type, static_cast<unsigned char*>(copy.parray->pvData) + offset,
                                 static_cast<unsigned char*>(array.pvData) + offset, function);
        }
    } else if (source.vt == VT_BSTR && source.bstrVal == nullptr) {
        // A null text becomes an empty one (Wine's tests of variants, run on Windows).
        copy.bstrVal = allocateBstr(nullptr, 0, function);
        if (copy.bstrVal == nullptr) return E_OUTOFMEMORY;
    } else if (source.vt == VT_BSTR || source.vt == VT_UNKNOWN || source.vt == VT_DISPATCH) {
        result = copyElement(source.vt, &copy.bstrVal, &source.bstrVal, function);
    }
    target = copy;
    return result;
}

}  // namespace

BSTR newBstr(const Text& text, const char* creator) {
    return allocateBstr(text.data(), text.size() * sizeof(char16_t), creator);
}

void freeBstr(BSTR text, const char* function) {
    if (text == nullptr) return;
    if (ledger().close(Resource::Bstr, text, function)) {
        release(text);
        return;
    }
    if (const auto real = realFunction<decltype(SysFreeString)>(L"oleaut32.dll", "SysFreeString")) {
        real(text);
    } else {
        ledger().violation(std::string(function) + " was given a BSTR to free that is none");
    }
}

Text readBstr(const Call& call, const WCHAR* text) {
    if (text == nullptr) return {};
    if (!ledger().isOpen(Resource::Bstr, text)) {
        ledger().violation(std::string(call.name()) + " was given a text that is no BSTR");
        return fromWide(text);
    }
    return fromWide(text, prefixOf(const_cast<WCHAR*>(text)) / sizeof(WCHAR));
}

Text readMeasured(const Call& call, const WCHAR* text) {
    if (text == nullptr) return {};
    const Text plain = fromWide(text);
    if (prefixOf(const_cast<WCHAR*>(text)) != plain.size() * sizeof(WCHAR))
        ledger().violation(std::string(call.name()) + " was given a text without its length in front");
    return plain;
}

SAFEARRAY* newSafeArray(VARTYPE type, ULONG count, const char* creator, bool twoDimensions) {
    const SAFEARRAYBOUND bounds[] = {{count, 0}, {1, 0}};
    return allocateArray(type, twoDimensions ? 2 : 1, bounds, creator);
}

void destroySafeArray(SAFEARRAY* array, const char* function) {
    if (array == nullptr || !ledger().close(Resource::SafeArray, array, function)) return;
    const VARTYPE type = elementType(array);
    for (size_t i = 0; i < elementCount(*array); ++i) {
        void* const element = static_cast<unsigned char*>(array->pvData) + i * array->cbElements;
        if (type == VT_BSTR) freeBstr(*static_cast<BSTR*>(element), function);
        if (type == VT_VARIANT) clearVariant(*static_cast<VARIANT*>(element), function);
        if (type == VT_UNKNOWN || type == VT_DISPATCH) {
            if (IUnknown* const object = *static_cast<IUnknown**>(element)) object->Release();
        }
    }
    std::free(array->pvData);
    release(array);
}

VARTYPE elementType(const SAFEARRAY* array) {
    return static_cast<VARTYPE>(prefixOf(const_cast<SAFEARRAY*>(array)));
}

HRESULT clearVariant(VARIANT& variant, const char* function) {
    const VARTYPE type = variant.vt;
    const bool byReference = (type & VT_BYREF) != 0;
    if (elementSize(static_cast<VARTYPE>(type & ~(VT_ARRAY | VT_BYREF))) == 0 && type != VT_EMPTY &&
        type != VT_NULL) {
        return DISP_E_BADVARTYPE;
    }
    // Empty before anything is given back: that may lead to code of the caller's.
    const VARIANT content = variant;
    variant.vt = VT_EMPTY;
    if (byReference) return S_OK;
    if ((type & VT_ARRAY) != 0) {
        destroySafeArray(content.parray, function);
    } else if (type == VT_BSTR) {
        freeBstr(content.bstrVal, function);
    } else if ((type == VT_UNKNOWN || type == VT_DISPATCH) && content.punkVal != nullptr) {
        content.punkVal->Release();
    }
    return S_OK;
}

}  // namespace simulation

using namespace simulation;

SIMULATED(BSTR, WINAPI, SysAllocStringLen, (const OLECHAR* text, UINT length)) {
    static const Function function{"SysAllocStringLen", Fails::WithZero, {ERROR_NOT_ENOUGH_MEMORY}};
    Call call(function, length);
    if (const auto fault = call.fault<BSTR>()) return *fault;
    return call.returns(allocateBstr(text, size_t{length} * sizeof(OLECHAR), call.name()));
}

SIMULATED(BSTR, WINAPI, SysAllocString, (const OLECHAR* text)) {
    static const Function function{"SysAllocString", Fails::WithZero, {ERROR_NOT_ENOUGH_MEMORY}};
    Call call(function, text);
    if (const auto fault = call.fault<BSTR>()) return *fault;
    if (text == nullptr) return call.returns<BSTR>(nullptr);
    return call.returns(newBstr(fromWide(text), call.name()));
}

SIMULATED(void, WINAPI, SysFreeString, (BSTR text)) {
    static const Function function{"SysFreeString", Fails::WithZero, {ERROR_SUCCESS}};
    const Call call(function);
    freeBstr(text, call.name());
}

// Plain reads of memory, as in Windows: neither journalled nor ever failing.
SIMULATED(UINT, WINAPI, SysStringByteLen, (BSTR text)) { return text == nullptr ? 0 : prefixOf(text); }
SIMULATED(UINT, WINAPI, SysStringLen, (BSTR text)) {
    return text == nullptr ? 0 : prefixOf(text) / static_cast<UINT>(sizeof(WCHAR));
}
SIMULATED(void, WINAPI, VariantInit, (VARIANTARG * variant)) {
    std::memset(variant, 0, sizeof *variant);
    variant->vt = VT_EMPTY;
}

SIMULATED(HRESULT, WINAPI, VariantClear, (VARIANTARG * variant)) {
    static const Function function{"VariantClear", Fails::WithCode, {S_OK}};
    Call call(function, variant->vt);
    return call.returns(clearVariant(*variant, call.name()));
}

SIMULATED(HRESULT, WINAPI, VariantCopy, (VARIANTARG * target, VARIANTARG* source)) {
    static const Function function{"VariantCopy", Fails::WithCode, {E_OUTOFMEMORY, DISP_E_BADVARTYPE}};
    Call call(function, source->vt);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (target == source) return call.returns(S_OK);
    VARIANT copy;
    const HRESULT result = copyContent(copy, *source, call.name());
    if (FAILED(result)) return call.returns(result);
    const HRESULT cleared = clearVariant(*target, call.name());
    if (FAILED(cleared)) {
        clearVariant(copy, call.name());
        return call.returns(cleared);
    }
    *target = copy;
    return call.returns(S_OK);
}

SIMULATED(SAFEARRAY*, WINAPI, SafeArrayCreate, (VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds)) {
    static const Function function{"SafeArrayCreate", Fails::WithZero, {ERROR_NOT_ENOUGH_MEMORY}};
    Call call(function, type, dimensions);
    if (const auto fault = call.fault<SAFEARRAY*>()) return *fault;
    if (bounds == nullptr) return call.returns<SAFEARRAY*>(nullptr);
    return call.returns(allocateArray(type, dimensions, bounds, call.name()));
}

SIMULATED(SAFEARRAY*, WINAPI, SafeArrayCreateVector, (VARTYPE type, LONG lowest, ULONG count)) {
    static const Function function{"SafeArrayCreateVector", Fails::WithZero, {ERROR_NOT_ENOUGH_MEMORY}};
    Call call(function, type, lowest, count);
    if (const auto fault = call.fault<SAFEARRAY*>()) return *fault;
    const SAFEARRAYBOUND bound = {count, lowest};
    return call.returns(allocateArray(type, 1, &bound, call.name()));
}

SIMULATED(HRESULT, WINAPI, SafeArrayDestroy, (SAFEARRAY * array)) {
    static const Function function{"SafeArrayDestroy", Fails::WithCode, {S_OK}};
    Call call(function);
    if (array == nullptr) return call.returns(S_OK);
    if (!isOurs(array, call)) return call.returns(E_INVALIDARG);
    if (array->cLocks != 0) return call.returns(DISP_E_ARRAYISLOCKED);
    destroySafeArray(array, call.name());
    return call.returns(S_OK);
}

// Bounds and sizes are plain reads, too. Dimensions count from 1, leftmost first.
SIMULATED(UINT, WINAPI, SafeArrayGetDim, (SAFEARRAY * array)) { return array == nullptr ? 0 : array->cDims; }
SIMULATED(UINT, WINAPI, SafeArrayGetElemsize, (SAFEARRAY * array)) {
    return array == nullptr ? 0 : array->cbElements;
}
SIMULATED(HRESULT, WINAPI, SafeArrayGetLBound, (SAFEARRAY * array, UINT dimension, LONG* bound)) {
    if (array == nullptr || bound == nullptr) return E_INVALIDARG;
    if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
    *bound = array->rgsabound[array->cDims - dimension].lLbound;
    return S_OK;
}
SIMULATED(HRESULT, WINAPI, SafeArrayGetUBound, (SAFEARRAY * array, UINT dimension, LONG* bound)) {
    if (array == nullptr || bound == nullptr) return E_INVALIDARG;
    if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
    const SAFEARRAYBOUND& found = array->rgsabound[array->cDims - dimension];
    *bound = found.lLbound + static_cast<LONG>(found.cElements) - 1;
    return S_OK;
}
SIMULATED(HRESULT, WINAPI, SafeArrayGetVartype, (SAFEARRAY * array, VARTYPE* type)) {
    if (array == nullptr || type == nullptr) return E_INVALIDARG;
    *type = elementType(array);
    return S_OK;
}

SIMULATED(HRESULT, WINAPI, SafeArrayAccessData, (SAFEARRAY * array, void** data)) {
    static const Function function{"SafeArrayAccessData", Fails::WithCode, {E_INVALIDARG, E_UNEXPECTED}};
    Call call(function);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (!isOurs(array, call) || data == nullptr) return call.returns(E_INVALIDARG);
    ++array->cLocks;
    *data = array->pvData;
    return call.returns(S_OK);
}

SIMULATED(HRESULT, WINAPI, SafeArrayUnaccessData, (SAFEARRAY * array)) {
    static const Function function{"SafeArrayUnaccessData", Fails::WithCode, {S_OK}};
    Call call(function);
    if (!isOurs(array, call)) return call.returns(E_INVALIDARG);
    if (array->cLocks == 0) return call.returns(E_UNEXPECTED);
    --array->cLocks;
    return call.returns(S_OK);
}

SIMULATED(HRESULT, WINAPI, SafeArrayGetElement, (SAFEARRAY * array, LONG* indices, void* element)) {
    static const Function function{"SafeArrayGetElement", Fails::WithCode, {E_OUTOFMEMORY, DISP_E_BADINDEX}};
    Call call(function);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (!isOurs(array, call) || indices == nullptr || element == nullptr) return call.returns(E_INVALIDARG);
    const unsigned char* const found = elementAt(*array, indices);
    if (found == nullptr) return call.returns(DISP_E_BADINDEX);
    return call.returns(copyElement(elementType(array), element, found, call.name()));
}

// A text is copied and an object referenced; the element's pointer itself is what is passed for both.
SIMULATED(HRESULT, WINAPI, SafeArrayPutElement, (SAFEARRAY * array, LONG* indices, void* element)) {
    static const Function function{"SafeArrayPutElement", Fails::WithCode, {E_OUTOFMEMORY, DISP_E_BADINDEX}};
    Call call(function);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (!isOurs(array, call) || indices == nullptr || element == nullptr) return call.returns(E_INVALIDARG);
    unsigned char* const place = elementAt(*array, indices);
    if (place == nullptr) return call.returns(DISP_E_BADINDEX);
    const VARTYPE type = elementType(array);
    const bool byPointer = type == VT_BSTR || type == VT_UNKNOWN || type == VT_DISPATCH;
    if (type == VT_BSTR) freeBstr(*reinterpret_cast<BSTR*>(place), call.name());
    if (type == VT_UNKNOWN || type == VT_DISPATCH) {
        if (IUnknown* const old = *reinterpret_cast<IUnknown**>(place)) old->Release();
    }
    return call.returns(
        copyElement(type, place, byPointer ? static_cast<void*>(&element) : element, call.name()));
}
