// IWbemClassObject: a class, an instance, or the parameters of a method.
#include <algorithm>
#include <cstring>

#include "simulation/api/ComObject.h"
#include "simulation/api/OleAutomation.h"
#include "simulation/api/WmiObjects.h"

namespace simulation {

namespace {

COM_INTERFACE(objectInterface, Resource::WmiClassObject, IWbemClassObject);

constexpr unsigned ValueDistortions = Distortion::NothingWritten | Distortion::WrongType |
                                      Distortion::EmptyValue | Distortion::NullContent |
                                      Distortion::TwoDimensions | Distortion::WideElements;
constexpr long long Success = WBEM_S_NO_ERROR;

WmiValue orNull(const Text& text) { return text.empty() ? WmiValue() : WmiValue(text); }

// What every object has besides its own, in the order in which WMI lists them.
std::vector<WmiObjectData::Property> systemProperties(const WmiObjectData& data) {
    const bool addressable = data.path.has_value() && !data.server.empty();
    const Text space = data.server.empty() ? Text() : data.nameSpace;
    const Text root = u"\\\\" + data.server + u"\\" + space + u":";
    std::vector<WmiValue> ancestors;
    for (const Text& each : data.ancestors) ancestors.emplace_back(each);
    return {
        {u"__GENUS", CIM_SINT32, data.isClass ? WBEM_GENUS_CLASS : WBEM_GENUS_INSTANCE, false},
        {u"__CLASS", CIM_STRING, data.className, false},
        {u"__SUPERCLASS", CIM_STRING, orNull(data.ancestors.empty() ? Text() : data.ancestors.front()),
         false},
        {u"__DYNASTY", CIM_STRING, data.ancestors.empty() ? data.className : data.ancestors.back(), false},
        {u"__RELPATH", CIM_STRING, addressable ? WmiValue(*data.path) : WmiValue(), false},
        {u"__PROPERTY_COUNT", CIM_SINT32, static_cast<int>(data.properties.size()), false},
        {u"__DERIVATION", CIM_STRING | CIM_FLAG_ARRAY, WmiValue::array(ancestors), false},
        {u"__SERVER", CIM_STRING, orNull(data.server), false},
        {u"__NAMESPACE", CIM_STRING, orNull(space), false},
        {u"__PATH", CIM_STRING, addressable ? WmiValue(root + *data.path) : WmiValue(), false},
    };
}

// A value that is not what its CIM type announces.
VARIANT distort(const Call& call, VARIANT value) {
    const bool isArray = (value.vt & VT_ARRAY) != 0;
    const auto replace = [&](VARTYPE type) {
        clearVariant(value, call.name());
        std::memset(&value, 0, sizeof value);
        value.vt = type;
    };
    if (call.distorted(Distortion::EmptyValue)) replace(VT_EMPTY);
    if (call.distorted(Distortion::WrongType)) {
        const bool toText = value.vt != VT_BSTR;
        replace(toText ? VT_BSTR : VT_I4);
        if (toText) {
            value.bstrVal = newBstr(u"of another type", call.name());
        } else {
            value.lVal = 1200;  // no pointer to follow
        }
    }
    if (call.distorted(Distortion::NullContent) &&
        (isArray || value.vt == VT_BSTR || value.vt == VT_UNKNOWN)) {
        replace(value.vt);
    }
    if (isArray && call.distorted(Distortion::TwoDimensions)) {
        const VARTYPE type = value.vt;
        replace(type);
        value.parray =
            newSafeArray(static_cast<VARTYPE>(type & ~VT_ARRAY), 3, call.name(), /*twoDimensions=*/true);
    }
    if (isArray && call.distorted(Distortion::WideElements)) {
        const VARTYPE type = value.vt;
        replace(type);
        value.parray = newSafeArray(VT_I4, 3, call.name());
    }
    return value;
}

class Object final : public ComObject<IWbemClassObject> {
public:
    Object(std::shared_ptr<const WmiObjectData> data, const char* creator)
        : ComObject(objectInterface, creator), m_data(std::move(data)) {}

    const WmiObjectData& data() const { return *m_data; }

    // On failure the VARIANT is as it was.
    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                  LONG* flavor) override {
        static const Function function{"IWbemClassObject::Get",
                                       Fails::WithCode,
                                       {WBEM_E_NOT_FOUND, WBEM_E_OUT_OF_MEMORY, WBEM_E_INVALID_OBJECT},
                                       ValueDistortions};
        Call call(function, name);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (name == nullptr || flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        const Text wanted = fromWide(name);
        const bool isSystem = wanted.compare(0, 2, u"__") == 0;
        if (!isSystem) {
            const auto* const property = m_data->find(wanted);
            if (property == nullptr) return ends(call, WBEM_E_NOT_FOUND);
            give(call, *property, /*isSystem=*/false, value, type, flavor);
            return ends(call, Success);
        }
        for (const auto& property : systemProperties(*m_data)) {
            if (!equalNoCase(property.name, wanted)) continue;
            give(call, property, /*isSystem=*/true, value, type, flavor);
            return ends(call, Success);
        }
        return ends(call, WBEM_E_NOT_FOUND);
    }

    HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) override {
        static const Function function{
            "IWbemClassObject::Put",
            Fails::WithCode,
            {WBEM_E_TYPE_MISMATCH, WBEM_E_OUT_OF_MEMORY, WBEM_E_INVALID_OBJECT, WBEM_E_READ_ONLY}};
        const bool isTruth = value != nullptr && value->vt == VT_BOOL;
        Call call(function, name, value == nullptr ? VARTYPE{VT_NULL} : value->vt, type,
                  isTruth ? value->boolVal : VARIANT_BOOL{0});
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (name == nullptr || flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        const Text wanted = fromWide(name);
        if (wanted.compare(0, 2, u"__") == 0) return ends(call, WBEM_E_SYSTEM_PROPERTY);
        const auto* const known = m_data->find(wanted);
        if (known == nullptr) return ends(call, WBEM_E_NOT_FOUND);
        // Another type than the property's own makes sense for a class only, and then it is a redefinition.
        if (type != 0 && type != known->type) return ends(call, WBEM_E_TYPE_MISMATCH);
        WmiValue converted;
        if (value != nullptr && !fromVariant(*value, known->type, converted)) {
            return ends(call, WBEM_E_TYPE_MISMATCH);
        }
        // Other objects may share what this one held until now.
        auto changed = std::make_shared<WmiObjectData>(*m_data);
        changed->find(wanted)->value = std::move(converted);
        if (!changed->isClass && known->key) {
            changed->path = relativePath(changed->className, changed->properties);
        }
        m_data = std::move(changed);
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR qualifier, LONG flags, VARIANT*, SAFEARRAY** names) override {
        static const Function function{"IWbemClassObject::GetNames",
                                       Fails::WithCode,
                                       {WBEM_E_OUT_OF_MEMORY, WBEM_E_FAILED},
                                       static_cast<unsigned>(Distortion::NullResult)};
        Call call(function, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        std::vector<WmiObjectData::Property> found;
        // Properties by their qualifiers cannot be asked for.
        if (names == nullptr || qualifier != nullptr || !select(flags, found)) {
            return ends(call, WBEM_E_INVALID_PARAMETER);
        }
        *names = nullptr;
        if (call.distorted(Distortion::NullResult)) return ends(call, Success);
        *names = newSafeArray(VT_BSTR, static_cast<ULONG>(found.size()), call.name());
        auto* next = static_cast<BSTR*>((*names)->pvData);
        for (const auto& property : found) *next++ = newBstr(property.name, call.name());
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG flags) override {
        static const Function function{
            "IWbemClassObject::BeginEnumeration", Fails::WithCode, {WBEM_E_OUT_OF_MEMORY, WBEM_E_FAILED}};
        Call call(function, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        std::vector<WmiObjectData::Property> found;
        if (!select(flags, found)) return ends(call, WBEM_E_INVALID_PARAMETER);
        m_listed = std::move(found);
        m_nextListed = 0;
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE Next(LONG flags, BSTR* name, VARIANT* value, CIMTYPE* type,
                                   LONG* flavor) override {
        static const Function function{"IWbemClassObject::Next",
                                       Fails::WithCode,
                                       {WBEM_E_OUT_OF_MEMORY, WBEM_E_FAILED},
                                       ValueDistortions};
        Call call(function);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!m_listed) return ends(call, WBEM_E_UNEXPECTED);
        if (m_nextListed == m_listed->size()) return ends(call, WBEM_S_NO_MORE_DATA);
        const auto& property = (*m_listed)[m_nextListed++];
        if (name != nullptr && !call.distorted(Distortion::NothingWritten)) {
            *name = newBstr(property.name, call.name());
        }
        give(call, property, property.name.compare(0, 2, u"__") == 0, value, type, flavor);
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE EndEnumeration() override {
        static const Function function{"IWbemClassObject::EndEnumeration", Fails::WithCode, {WBEM_E_FAILED}};
        Call call(function);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        m_listed.reset();
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject** copy) override {
        static const Function function{"IWbemClassObject::Clone",
                                       Fails::WithCode,
                                       {WBEM_E_OUT_OF_MEMORY, WBEM_E_FAILED},
                                       static_cast<unsigned>(Distortion::NullResult)};
        Call call(function);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (copy == nullptr) return ends(call, WBEM_E_INVALID_PARAMETER);
        *copy = call.distorted(Distortion::NullResult) ? nullptr : newWmiObject(m_data, call.name());
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE GetObjectText(LONG flags, BSTR* text) override {
        static const Function function{
            "IWbemClassObject::GetObjectText",
            Fails::WithCode,
            {WBEM_E_OUT_OF_MEMORY, WBEM_E_FAILED},
            Distortion::NullResult | Distortion::NothingWritten | Distortion::OtherSuccess};
        Call call(function, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (text == nullptr || (flags & ~WBEM_FLAG_NO_FLAVORS) != 0)
            return ends(call, WBEM_E_INVALID_PARAMETER);
        if (call.distorted(Distortion::NothingWritten)) return ends(call, Success);
        *text = call.distorted(Distortion::NullResult) ? nullptr : newBstr(toMof(*m_data), call.name());
        return ends(call, call.distorted(Distortion::OtherSuccess) ? S_FALSE : S_OK);
    }

    HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, IWbemClassObject** instance) override {
        static const Function function{"IWbemClassObject::SpawnInstance",
                                       Fails::WithCode,
                                       {WBEM_E_OUT_OF_MEMORY, WBEM_E_INCOMPLETE_CLASS},
                                       Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (instance == nullptr || flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!m_data->isClass) return ends(call, WBEM_E_INVALID_OPERATION);
        if (call.distorted(Distortion::NothingWritten)) return ends(call, Success);
        *instance = nullptr;
        if (call.distorted(Distortion::NullResult)) return ends(call, Success);
        WmiObjectData spawned = *m_data;
        spawned.isClass = false;
        spawned.methods.clear();
        spawned.path = relativePath(spawned.className, spawned.properties);
        *instance = newWmiObject(std::move(spawned), call.name());
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR ancestor) override {
        static const Function function{"IWbemClassObject::InheritsFrom", Fails::WithCode, {WBEM_E_FAILED}};
        Call call(function, ancestor);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (ancestor == nullptr) return ends(call, WBEM_E_INVALID_PARAMETER);
        const Text wanted = fromWide(ancestor);
        const bool inherits = equalNoCase(wanted, m_data->className) ||
                              std::any_of(m_data->ancestors.begin(), m_data->ancestors.end(),
                                          [&](const Text& each) { return equalNoCase(each, wanted); });
        return ends(call, inherits ? WBEM_S_NO_ERROR : WBEM_S_FALSE);
    }

    // Only a class tells of its methods. Without parameters there is no signature.
    HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG flags, IWbemClassObject** in,
                                        IWbemClassObject** out) override {
        static const Function function{"IWbemClassObject::GetMethod",
                                       Fails::WithCode,
                                       {WBEM_E_NOT_FOUND, WBEM_E_OUT_OF_MEMORY, WBEM_E_ILLEGAL_OPERATION},
                                       Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, name);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (name == nullptr || flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!m_data->isClass) return ends(call, WBEM_E_ILLEGAL_OPERATION);
        const Text wanted = fromWide(name);
        const auto found =
            std::find_if(m_data->methods.begin(), m_data->methods.end(),
                         [&](const WmiMethod& each) { return equalNoCase(each.name, wanted); });
        if (found == m_data->methods.end()) return ends(call, WBEM_E_NOT_FOUND);
        if (call.distorted(Distortion::NothingWritten)) return ends(call, Success);
        const bool null = call.distorted(Distortion::NullResult);
        giveSignature(call, null ? std::vector<WmiProperty>() : found->in, in);
        giveSignature(call, null ? std::vector<WmiProperty>() : found->out, out);
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG flags) override {
        static const Function function{
            "IWbemClassObject::BeginMethodEnumeration", Fails::WithCode, {WBEM_E_OUT_OF_MEMORY}};
        Call call(function, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!m_data->isClass) return ends(call, WBEM_E_ILLEGAL_OPERATION);
        m_nextMethod = 0;
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE NextMethod(LONG flags, BSTR* name, IWbemClassObject** in,
                                         IWbemClassObject** out) override {
        static const Function function{
            "IWbemClassObject::NextMethod", Fails::WithCode, {WBEM_E_OUT_OF_MEMORY}};
        Call call(function);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (flags != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!m_nextMethod) return ends(call, WBEM_E_UNEXPECTED);
        if (*m_nextMethod == m_data->methods.size()) return ends(call, WBEM_S_NO_MORE_DATA);
        const WmiMethod& method = m_data->methods[(*m_nextMethod)++];
        if (name != nullptr) *name = newBstr(method.name, call.name());
        giveSignature(call, method.in, in);
        giveSignature(call, method.out, out);
        return ends(call, Success);
    }

    HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override {
        static const Function function{
            "IWbemClassObject::EndMethodEnumeration", Fails::WithCode, {WBEM_E_FAILED}};
        Call call(function);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        m_nextMethod.reset();
        return ends(call, Success);
    }

    NOT_IMPLEMENTED(IWbemClassObject, GetQualifierSet, (IWbemQualifierSet**))
    NOT_IMPLEMENTED(IWbemClassObject, Delete, (LPCWSTR))
    NOT_IMPLEMENTED(IWbemClassObject, GetPropertyQualifierSet, (LPCWSTR, IWbemQualifierSet**))
    NOT_IMPLEMENTED(IWbemClassObject, SpawnDerivedClass, (LONG, IWbemClassObject**))
    NOT_IMPLEMENTED(IWbemClassObject, CompareTo, (LONG, IWbemClassObject*))
    NOT_IMPLEMENTED(IWbemClassObject, GetPropertyOrigin, (LPCWSTR, BSTR*))
    NOT_IMPLEMENTED(IWbemClassObject, PutMethod, (LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*))
    NOT_IMPLEMENTED(IWbemClassObject, DeleteMethod, (LPCWSTR))
    NOT_IMPLEMENTED(IWbemClassObject, GetMethodQualifierSet, (LPCWSTR, IWbemQualifierSet**))
    NOT_IMPLEMENTED(IWbemClassObject, GetMethodOrigin, (LPCWSTR, BSTR*))

private:
    void drop() override {
        m_data = std::make_shared<const WmiObjectData>();
        m_listed.reset();
    }

    void give(const Call& call, const WmiObjectData::Property& property, bool isSystem, VARIANT* value,
              CIMTYPE* type, LONG* flavor) const {
        if (call.distorted(Distortion::NothingWritten)) return;
        if (value != nullptr) {
            *value = distort(call, toVariant(m_data->nameSpace, property.type, property.value, call.name()));
        }
        if (type != nullptr) *type = property.type;
        if (flavor != nullptr) *flavor = isSystem ? WBEM_FLAVOR_ORIGIN_SYSTEM : WBEM_FLAVOR_ORIGIN_LOCAL;
    }

    void giveSignature(const Call& call, const std::vector<WmiProperty>& parameters,
                       IWbemClassObject** signature) const {
        if (signature == nullptr) return;
        *signature = nullptr;
        if (parameters.empty()) return;
        *signature =
            newWmiObject(dataOfParameters(m_data->nameSpace, parameters, {}, /*isClass=*/true), call.name());
    }

    // The properties that an enumeration is about; false for flags that make no sense.
    bool select(LONG flags, std::vector<WmiObjectData::Property>& found) const {
        const LONG origin = flags & WBEM_MASK_CONDITION_ORIGIN;
        const bool keysOnly = (flags & WBEM_FLAG_KEYS_ONLY) != 0;
        if ((flags & ~(WBEM_MASK_CONDITION_ORIGIN | WBEM_FLAG_KEYS_ONLY)) != 0) return false;
        const bool any = origin == WBEM_FLAG_ALWAYS && !keysOnly;
        if (any || origin == WBEM_FLAG_SYSTEM_ONLY) found = systemProperties(*m_data);
        if (origin == WBEM_FLAG_SYSTEM_ONLY || origin == WBEM_FLAG_PROPAGATED_ONLY) return true;
        std::copy_if(m_data->properties.begin(), m_data->properties.end(), std::back_inserter(found),
                     [&](const auto& property) { return property.key || !keysOnly; });
        return true;
    }

    std::shared_ptr<const WmiObjectData> m_data;
    std::optional<std::vector<WmiObjectData::Property>> m_listed;
    size_t m_nextListed = 0;
    std::optional<size_t> m_nextMethod;
};

}  // namespace

IWbemClassObject* newWmiObject(std::shared_ptr<const WmiObjectData> data, const char* creator) {
    return new Object(std::move(data), creator);
}

const WmiObjectData* dataOf(IUnknown* object) {
    if (object == nullptr || !ledger().isOpen(Resource::WmiClassObject, object)) return nullptr;
    return &static_cast<Object*>(static_cast<IWbemClassObject*>(object))->data();
}

}  // namespace simulation
