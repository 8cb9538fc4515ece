#include "libSysmira/wmi/Wmi.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "support/AssertionFailure.h"
#include "support/ClassLogger.h"
#include "support/SprintfFormat.h"

#define WMI_ASSERT(expression) ZOR_ASSERT_AT("libSysmira/wmi/Wmi", expression)

namespace libSysmira {

namespace {

zor::ClassLogger theLog("libSysmira.Wmi");

// WMI's administrative locator; the ordinary one would do for all that is asked here, but not the reverse.
constexpr CLSID administrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};

thread_local HRESULT theLastResult = S_OK;

HRESULT noted(HRESULT result) { return theLastResult = result; }

// A text as COM wants it where it declares BSTR: with its length in front.
class Bstr {
public:
    explicit Bstr(const zor::String& text) : m_text(SysAllocStringLen(text.getUCS2Buffer(), text.size())) {
        if (m_text == nullptr) throw ComError(E_OUTOFMEMORY);
    }
    ~Bstr() { SysFreeString(m_text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    BSTR get() const { return m_text; }

private:
    BSTR m_text;
};

// A plain text that has its length in bytes in front as a BSTR does, for a server that measures what is
// declared BSTR.
class MeasuredText {
public:
    explicit MeasuredText(const zor::String& text) : m_units(Front + text.size() + 1) {
        const DWORD bytes = text.size() * DWORD{sizeof(WCHAR)};
        std::memcpy(m_units.data() + Front - sizeof bytes / sizeof(WCHAR), &bytes, sizeof bytes);
        std::copy_n(text.getUCS2Buffer(), text.size(), m_units.data() + Front);
    }
    BSTR get() { return m_units.data() + Front; }

private:
    static constexpr std::size_t Front = 4;  // in units; keeps the text aligned as a BSTR is

    std::vector<WCHAR> m_units;
};

// A text where WMI's declaration says BSTR but the text's own buffer is passed.
BSTR plainText(const zor::String& text) { return const_cast<BSTR>(text.getUCS2Buffer()); }

class Variant {
public:
    Variant() { VariantInit(&m_value); }
    ~Variant() { VariantClear(&m_value); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT& get() { return m_value; }
    const VARIANT* operator->() const { return &m_value; }

private:
    VARIANT m_value;
};

bool hasText(const Variant& value) { return value->vt == VT_BSTR && value->bstrVal != nullptr; }

// The length of a text that COM gave out, up to its first NUL: some systems count more units than there are.
UINT lengthOf(BSTR text) {
    const UINT allocated = SysStringLen(text);
    UINT length = 0;
    while (length < allocated && text[length] != 0) ++length;
    return length;
}

// The array of a property that is declared as bytes; null when it is no such array.
const SAFEARRAY* byteArrayOf(const Variant& value) {
    if (value->vt != (VT_ARRAY | VT_UI1) || value->parray == nullptr) return nullptr;
    const SAFEARRAY& array = *value->parray;
    if (array.cDims != 1 || array.cbElements != 1) return nullptr;
    if (array.pvData == nullptr && array.rgsabound[0].cElements != 0) return nullptr;
    return &array;
}

}  // namespace

ComError::ComError(HRESULT result)
    : Exception(zor::SprintfFormat("COM failed: 0x%08X", static_cast<DWORD>(result))), m_result(result) {}
ComError::~ComError() = default;

HRESULT getLastWmiResult() noexcept { return theLastResult; }

InitializationError::InitializationError(const zor::String& message) : Exception(message) {}
InitializationError::~InitializationError() = default;

WmiInit::WmiInit() {
    if (CoInitializeEx(nullptr, COINIT_MULTITHREADED) == RPC_E_CHANGED_MODE) {
        theLog.write(zor::Error, 99, [](zor::LoggerStream& line) {
            line << "Cannot initialize COM, thread model has changed.";
        });
        throw zor::Exception("COM concurrency model has changed.");
    }
    // All but the first in a process are told that it is too late.
    CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT, RPC_C_IMP_LEVEL_IMPERSONATE,
                         nullptr, EOAC_NONE, nullptr);
}

WmiInit::~WmiInit() { CoUninitialize(); }

WmiNamespace::WmiNamespace() {
    IUnknown* locator = nullptr;
    const HRESULT hr =
        noted(CoCreateInstance(administrativeLocator, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                               IID_IUnknown, reinterpret_cast<void**>(&locator)));
    // The administrative locator's IUnknown is its IWbemLocator.
    ComPointer<IWbemLocator> adopted(static_cast<IWbemLocator*>(locator));
    if (FAILED(hr)) throw InitializationError("CoCreateInstance failed");
    m_pLocator = std::move(adopted);
}

WmiNamespace::~WmiNamespace() = default;

bool WmiNamespace::connect(const zor::String& namespacePath) {
    const auto& pLocator = m_pLocator;
    WMI_ASSERT(pLocator.isValid());
    if (m_pServices.isValid()) m_pServices.get()->Release();
    IWbemServices* services = nullptr;
    const HRESULT hr = noted(m_pLocator.get()->ConnectServer(plainText(namespacePath), /*strUser=*/nullptr,
                                                             /*strPassword=*/nullptr, /*strLocale=*/nullptr,
                                                             /*lSecurityFlags=*/0, /*strAuthority=*/nullptr,
                                                             /*pCtx=*/nullptr, &services));
    ComPointer<IWbemServices> adopted(services);
    if (FAILED(hr)) return false;
    m_pServices = std::move(adopted);
    return true;
}

bool WmiNamespace::query(const zor::String& wql, WmiQueryResult& result) const {
    WMI_ASSERT(m_pServices.isValid());
    const Bstr language("WQL");
    const Bstr text(wql);
    IEnumWbemClassObject* pResultSet = nullptr;
    // Not forward-only, so that the result can be rewound.
    const HRESULT hr = noted(m_pServices.get()->ExecQuery(
        language.get(), text.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &pResultSet));
    const ComPointer<IEnumWbemClassObject> adopted(pResultSet);
    if (hr != S_OK) return false;
    WMI_ASSERT(pResultSet);
    result.set(adopted, m_pServices);
    return true;
}

bool WmiNamespace::queryForEvents(const zor::String& wql, WmiQueryResult& result) const {
    WMI_ASSERT(m_pServices.isValid());
    MeasuredText language("WQL");
    MeasuredText text(wql);
    IEnumWbemClassObject* pResultSet = nullptr;
    const HRESULT hr = noted(m_pServices.get()->ExecNotificationQuery(
        language.get(), text.get(), WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY, nullptr,
        &pResultSet));
    const ComPointer<IEnumWbemClassObject> adopted(pResultSet);
    if (hr != S_OK) {
        theLog.write(zor::Warning, 555,
                     [&](zor::LoggerStream& line) { line << "queryForEvents failed: " << hr; });
        return false;
    }
    WMI_ASSERT(pResultSet);
    result.set(adopted, m_pServices);
    return true;
}

WmiQueryResult::WmiQueryResult() = default;
WmiQueryResult::~WmiQueryResult() = default;

void WmiQueryResult::set(ComPointer<IEnumWbemClassObject> pEnumObject, ComPointer<IWbemServices> pServices) {
    WMI_ASSERT(pEnumObject.isValid());
    WMI_ASSERT(pServices.isValid());
    m_pQueryResult = std::move(pEnumObject);
    m_pServices = std::move(pServices);
}

bool WmiQueryResult::next(WmiObject& object, DWORD timeoutMs) const {
    WMI_ASSERT(m_pQueryResult.isValid());
    IWbemClassObject* found = nullptr;
    ULONG returned = 0;
    const HRESULT hr = noted(m_pQueryResult.get()->Next(static_cast<LONG>(timeoutMs), 1, &found, &returned));
    const ComPointer<IWbemClassObject> adopted(found);
    if (hr != WBEM_S_NO_ERROR && hr != WBEM_S_TIMEDOUT) {
        // The ordinary end of an enumeration (1) is logged as well.
        theLog.write(zor::Warning, 455,
                     [&](zor::LoggerStream& line) { line << "nextNoWait failed: " << hr; });
        return false;
    }
    if (returned != 1) return false;
    object.set(adopted, m_pServices);
    return true;
}

bool WmiQueryResult::reset() const {
    WMI_ASSERT(m_pQueryResult.isValid());
    return SUCCEEDED(noted(m_pQueryResult.get()->Reset()));
}

WmiCallResult::WmiCallResult() = default;
WmiCallResult::WmiCallResult(const WmiCallResult&) = default;
WmiCallResult& WmiCallResult::operator=(const WmiCallResult&) = default;
WmiCallResult::WmiCallResult(WmiCallResult&&) noexcept = default;
WmiCallResult& WmiCallResult::operator=(WmiCallResult&&) noexcept = default;
WmiCallResult::~WmiCallResult() = default;

void WmiCallResult::set(ComPointer<IWbemCallResult> pCallResult, ComPointer<IWbemServices> pServices) {
    m_pCallResult = std::move(pCallResult);
    m_pServices = std::move(pServices);
}

WmiCallResult::CallResult WmiCallResult::getCallResult(WmiObject& outParams, DWORD timeoutMs) const {
    WMI_ASSERT(m_pCallResult.isValid());
    IWbemClassObject* out = nullptr;
    const HRESULT hr = noted(m_pCallResult.get()->GetResultObject(static_cast<LONG>(timeoutMs), &out));
    const ComPointer<IWbemClassObject> adopted(out);
    if (hr == WBEM_S_TIMEDOUT) return CallPending;
    if (hr != WBEM_S_NO_ERROR) return CallFailed;
    outParams.set(adopted, m_pServices);
    return CallComplete;
}

WmiObject::WmiObject() = default;
WmiObject::WmiObject(const WmiObject& other) : WmiInit(other) { *this = other; }
WmiObject::~WmiObject() = default;

WmiObject& WmiObject::operator=(const WmiObject& other) {
    if (this != &other) {
        m_pObject = other.m_pObject;
        m_pServices = other.m_pServices;
    }
    return *this;
}

void WmiObject::set(ComPointer<IWbemClassObject> pObject, ComPointer<IWbemServices> pServices) {
    WMI_ASSERT(pObject.isValid());
    WMI_ASSERT(pServices.isValid());
    m_pObject = std::move(pObject);
    m_pServices = std::move(pServices);
}

// Fills `value` with a property that is of the required type and neither null nor empty.
bool WmiObject::read(const zor::String& name, CIMTYPE required, VARIANT& value) const {
    const auto& pObject = m_pObject;
    WMI_ASSERT(pObject.isValid());
    CIMTYPE type = CIM_EMPTY;
    const HRESULT hr = m_pObject.get()->Get(name.getUCS2Buffer(), 0, &value, &type, nullptr);
    if (FAILED(hr)) {
        noted(hr);
        return false;
    }
    return type == required && value.vt != VT_EMPTY && value.vt != VT_NULL;
}

// Numbers are taken by their CIM type alone: WMI sends 8- and 16-bit numbers in wider VARIANT fields.

bool WmiObject::getProperty(const zor::String& name, bool& value) const {
    Variant variant;
    if (!read(name, CIM_BOOLEAN, variant.get())) return false;
    value = variant->boolVal != 0;
    return true;
}

bool WmiObject::getProperty(const zor::String& name, unsigned char& value) const {
    Variant variant;
    if (!read(name, CIM_UINT8, variant.get())) return false;
    value = variant->bVal;
    return true;
}

bool WmiObject::getProperty(const zor::String& name, unsigned short& value) const {
    Variant variant;
    if (!read(name, CIM_UINT16, variant.get())) return false;
    value = variant->uiVal;
    return true;
}

bool WmiObject::getProperty(const zor::String& name, unsigned int& value) const {
    Variant variant;
    if (!read(name, CIM_UINT32, variant.get())) return false;
    value = variant->uintVal;
    return true;
}

bool WmiObject::getProperty(const zor::String& name, unsigned long long& value) const {
    Variant variant;
    if (!read(name, CIM_UINT64, variant.get()) || !hasText(variant)) return false;
    return zor::String(variant->bstrVal, lengthOf(variant->bstrVal)).toUint64(value, 0) ==
           zor::String::ParseSuccess;
}

bool WmiObject::getProperty(const zor::String& name, float& value) const {
    Variant variant;
    if (!read(name, CIM_REAL32, variant.get())) return false;
    value = variant->fltVal;
    return true;
}

bool WmiObject::getProperty(const zor::String& name, double& value) const {
    Variant variant;
    if (!read(name, CIM_REAL64, variant.get())) return false;
    value = variant->dblVal;
    return true;
}

bool WmiObject::getProperty(const zor::String& name, zor::String& value) const {
    return readText(name, value);
}

bool WmiObject::readText(const zor::String& name, zor::String& value) const {
    Variant variant;
    if (!read(name, CIM_STRING, variant.get()) || !hasText(variant)) return false;
    value.assign(variant->bstrVal, lengthOf(variant->bstrVal));
    return true;
}

bool WmiObject::getProperty(const zor::String& name, zor::Buffer<unsigned char>& value) const {
    Variant variant;
    if (!read(name, CIM_UINT8 | CIM_FLAG_ARRAY, variant.get())) return false;
    const SAFEARRAY* const array = byteArrayOf(variant);
    if (array == nullptr) return false;
    value.assign(static_cast<const unsigned char*>(array->pvData), array->rgsabound[0].cElements);
    return true;
}

bool WmiObject::getProperty(const zor::String& name, WmiObject& value) const {
    Variant variant;
    if (!read(name, CIM_OBJECT, variant.get())) return false;
    if (variant->vt != VT_UNKNOWN || variant->punkVal == nullptr) return false;
    IWbemClassObject* object = nullptr;
    const HRESULT hr =
        variant->punkVal->QueryInterface(IID_IWbemClassObject, reinterpret_cast<void**>(&object));
    const ComPointer<IWbemClassObject> adopted(object);
    if (hr == E_NOINTERFACE) return false;
    value.set(adopted, m_pServices);
    return true;
}

namespace {

void fill(VARIANT& variant, bool value) {
    variant.vt = VT_BOOL;
    variant.boolVal = value ? 1 : 0;
}
void fill(VARIANT& variant, unsigned char value) {
    variant.vt = VT_UI1;
    variant.bVal = value;
}
void fill(VARIANT& variant, unsigned short value) {
    variant.vt = VT_UI2;
    variant.uiVal = value;
}
void fill(VARIANT& variant, unsigned int value) {
    variant.vt = VT_UI4;
    variant.ulVal = value;
}
void fill(VARIANT& variant, float value) {
    variant.vt = VT_R4;
    variant.fltVal = value;
}
void fill(VARIANT& variant, double value) {
    variant.vt = VT_R8;
    variant.dblVal = value;
}

// Windows refuses 16- and 32-bit numbers without sign; VT_I4 with the same bits does for both.
bool asSigned(VARIANT& variant) {
    if (variant.vt != VT_UI2 && variant.vt != VT_UI4) return false;
    if (variant.vt == VT_UI2) variant.ulVal = variant.uiVal;
    variant.vt = VT_I4;
    return true;
}

}  // namespace

template <class T>
bool WmiObject::setProperty(const zor::String& name, T value) const {
    if (!m_pObject.isValid()) return false;
    Variant variant;
    fill(variant.get(), value);
    const auto put = [&] { return noted(m_pObject.get()->Put(name.getUCS2Buffer(), 0, &variant.get(), 0)); };
    HRESULT hr = put();
    if (hr == static_cast<HRESULT>(WBEM_E_TYPE_MISMATCH) && asSigned(variant.get())) hr = put();
    return SUCCEEDED(hr);
}

template bool WmiObject::setProperty(const zor::String&, bool) const;
template bool WmiObject::setProperty(const zor::String&, unsigned char) const;
template bool WmiObject::setProperty(const zor::String&, unsigned short) const;
template bool WmiObject::setProperty(const zor::String&, unsigned int) const;
template bool WmiObject::setProperty(const zor::String&, float) const;
template bool WmiObject::setProperty(const zor::String&, double) const;

bool WmiObject::getPath(zor::String& path) const { return readText("__PATH", path); }

bool WmiObject::getClassName(zor::String& name) const { return readText("__CLASS", name); }

bool WmiObject::getMethodInputParams(const zor::String& method, WmiObject& inParams) const {
    zor::String className;
    if (!getClassName(className)) return false;
    const auto& pServices = m_pServices;
    WMI_ASSERT(pServices.isValid());

    IWbemClassObject* found = nullptr;
    HRESULT hr = noted(m_pServices.get()->GetObject(Bstr(className).get(), 0, nullptr, &found, nullptr));
    const ComPointer<IWbemClassObject> classObject(found);
    if (FAILED(hr) || !classObject.isValid()) return false;

    IWbemClassObject* signature = nullptr;
    hr = noted(classObject.get()->GetMethod(method.getUCS2Buffer(), 0, &signature, nullptr));
    const ComPointer<IWbemClassObject> inSignature(signature);
    // A method that takes no parameters has no input signature.
    if (FAILED(hr) || !inSignature.isValid()) return false;

    IWbemClassObject* spawned = nullptr;
    hr = noted(inSignature.get()->SpawnInstance(0, &spawned));
    const ComPointer<IWbemClassObject> instance(spawned);
    if (FAILED(hr)) return false;
    inParams.set(instance, m_pServices);
    return true;
}

bool WmiObject::execMethod(const zor::String& method, WmiObject& outParams) const {
    return execMethod(method, nullptr, outParams);
}

bool WmiObject::execMethod(const zor::String& method, const WmiObject& inParams, WmiObject& outParams) const {
    return execMethod(method, inParams.m_pObject.get(), outParams);
}

bool WmiObject::execMethod(const zor::String& method, IWbemClassObject* inParams,
                           WmiObject& outParams) const {
    zor::String path;
    if (!getPath(path)) return false;
    const auto& pServices = m_pServices;
    WMI_ASSERT(pServices.isValid());
    const Bstr pathText(path);
    const Bstr methodText(method);
    IWbemClassObject* out = nullptr;
    const HRESULT hr = noted(
        m_pServices.get()->ExecMethod(pathText.get(), methodText.get(), 0, nullptr, inParams, &out, nullptr));
    const ComPointer<IWbemClassObject> adopted(out);
    if (hr != WBEM_S_NO_ERROR) return false;
    outParams.set(adopted, m_pServices);
    return true;
}

bool WmiObject::execMethodNonBlocking(const zor::String& method, WmiCallResult& callResult) const {
    zor::String path;
    if (!getPath(path)) return false;
    const auto& pServices = m_pServices;
    WMI_ASSERT(pServices.isValid());
    const Bstr pathText(path);
    const Bstr methodText(method);
    IWbemClassObject* out = nullptr;
    IWbemCallResult* call = nullptr;
    const HRESULT hr = noted(m_pServices.get()->ExecMethod(
        pathText.get(), methodText.get(), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, nullptr, &out, &call));
    const ComPointer<IWbemClassObject> adoptedOut(out);
    const ComPointer<IWbemCallResult> adoptedCall(call);
    if (hr != WBEM_S_NO_ERROR) return false;
    callResult.set(adoptedCall, m_pServices);
    return true;
}

zor::String WmiObject::toString() {
    if (!m_pObject.isValid()) return {};
    BSTR text = nullptr;
    const HRESULT hr = noted(m_pObject.get()->GetObjectText(0, &text));
    struct Freed {
        BSTR text;
        ~Freed() { SysFreeString(text); }
    } const freed{text};
    if (hr != WBEM_S_NO_ERROR || text == nullptr) return {};
    return {text, lengthOf(text)};
}

}  // namespace libSysmira
