// IWbemServices: a connection to a namespace.
#include <algorithm>

#include "simulation/api/ComObject.h"
#include "simulation/api/OleAutomation.h"
#include "simulation/api/Wql.h"
#include "simulation/api/WqlAssociations.h"
#include "simulation/control/Clock.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

COM_INTERFACE(servicesInterface, Resource::WmiServices, IWbemServices);

constexpr LONG KnownQueryFlags = WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY |
                                 WBEM_FLAG_ENSURE_LOCATABLE | WBEM_FLAG_USE_AMENDED_QUALIFIERS |
                                 WBEM_FLAG_DIRECT_READ;
// WBEMESS_E_REGISTRATION_TOO_PRECISE: a query for changes of instances must say how often to look for them.
constexpr long long LacksWithin = 0x80042002;

// What a method call is about, once its path and name are understood.
struct Target {
    const WmiMethod* method = nullptr;
    const WmiOutcome* outcome = nullptr;
};

bool equal(CIMTYPE type, const WmiValue& one, const WmiValue& other) {
    if (one.null || other.null) return one.null == other.null;
    return std::equal(
        one.items.begin(), one.items.end(), other.items.begin(), other.items.end(),
        [&](const WmiItem& a, const WmiItem& b) { return plainText(type, a) == plainText(type, b); });
}

// The outcome for these in-parameters: the first special case that fits, or the general one.
const WmiOutcome& choose(const WmiOutcome& outcome, const WmiObjectData& in) {
    const auto found =
        std::find_if(outcome.cases.begin(), outcome.cases.end(), [&](const WmiOutcome& special) {
            return std::all_of(special.when.begin(), special.when.end(), [&](const auto& wanted) {
                const auto* const given = in.find(wanted.first);
                return given != nullptr && equal(given->type, given->value, wanted.second);
            });
        });
    return found != outcome.cases.end() ? *found : outcome;
}

HRESULT success(const Call& call) { return call.distorted(Distortion::OtherSuccess) ? S_FALSE : S_OK; }

class Services final : public ComObject<IWbemServices> {
public:
    Services(const Text& nameSpace, const char* creator)
        : ComObject(servicesInterface, creator), m_nameSpace(nameSpace) {}

    HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext*, IWbemClassObject** object,
                                        IWbemCallResult** callResult) override {
        static const Function function{
            "IWbemServices::GetObject",
            Fails::WithCode,
            {WBEM_E_NOT_FOUND, WBEM_E_ACCESS_DENIED, WBEM_E_TRANSPORT_FAILURE, WBEM_E_OUT_OF_MEMORY},
            Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, path, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        const Text text = readBstr(call, path);
        if (text.empty() || object == nullptr || (flags & ~WBEM_FLAG_USE_AMENDED_QUALIFIERS) != 0 ||
            callResult != nullptr) {
            return ends(call, WBEM_E_INVALID_PARAMETER);
        }
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        *object = nullptr;
        std::optional<WmiObjectData> found;
        const long long result = find(text, found);
        if (result != WBEM_S_NO_ERROR) return ends(call, result);
        if (!call.distorted(Distortion::NullResult)) *object = newWmiObject(std::move(*found), call.name());
        return ends(call, WBEM_S_NO_ERROR);
    }

    // A call that returns immediately succeeds whatever the query's text is; that it is no WQL, that there is
    // no such class or property, or that a provider fails comes with the first Next.
    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR text, LONG flags, IWbemContext*,
                                        IEnumWbemClassObject** rows) override {
        static const Function function{"IWbemServices::ExecQuery",
                                       Fails::WithCode,
                                       {WBEM_E_INVALID_QUERY, WBEM_E_INVALID_CLASS, WBEM_E_TRANSPORT_FAILURE,
                                        WBEM_E_OUT_OF_MEMORY, HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE)},
                                       Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, language, text, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        const Text languageName = readBstr(call, language);
        const Text wql = readBstr(call, text);
        if (rows == nullptr || (flags & ~KnownQueryFlags) != 0) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        *rows = nullptr;
        if (languageName.empty() || wql.empty()) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!equalNoCase(languageName, u"WQL")) return ends(call, WBEM_E_INVALID_QUERY_TYPE);
        WmiRows found = run(wql, (flags & WBEM_FLAG_ENSURE_LOCATABLE) != 0);
        found.forwardOnly = (flags & WBEM_FLAG_FORWARD_ONLY) != 0;
        if (FAILED(found.failure) && (flags & WBEM_FLAG_RETURN_IMMEDIATELY) == 0) {
            return call.returns(found.failure);
        }
        if (!call.distorted(Distortion::NullResult)) *rows = newWmiEnumerator(std::move(found), call.name());
        return ends(call, WBEM_S_NO_ERROR);
    }

    // Unlike ExecQuery, this reads the query at once. Language and query need not come from COM, but have
    // their lengths in front.
    HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR language, const BSTR text, LONG flags,
                                                    IWbemContext*, IEnumWbemClassObject** events) override {
        static const Function function{
            "IWbemServices::ExecNotificationQuery",
            Fails::WithCode,
            {WBEM_E_INVALID_QUERY, WBEM_E_ACCESS_DENIED, WBEM_E_OUT_OF_MEMORY, WBEM_E_NOT_EVENT_CLASS,
             WBEM_E_TRANSPORT_FAILURE},
            Distortion::NullResult | Distortion::NothingWritten | Distortion::OtherSuccess};
        Call call(function, language, text, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        const Text languageName = readMeasured(call, language);
        const Text wql = readMeasured(call, text);
        // An event query cannot be waited for, nor rewound.
        constexpr LONG Required = WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY;
        if (language == nullptr || text == nullptr || events == nullptr || flags != Required) {
            return ends(call, WBEM_E_INVALID_PARAMETER);
        }
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        *events = nullptr;
        if (!equalNoCase(languageName, u"WQL")) return ends(call, WBEM_E_INVALID_QUERY_TYPE);
        auto query = parseWql(wql);
        if (!query) return ends(call, WBEM_E_UNPARSABLE_QUERY);
        const WmiNamespaceModel* const model = wmiNamespace(m_nameSpace);
        const WmiClass* const wmiClass = model != nullptr ? model->findClass(query->className) : nullptr;
        if (wmiClass == nullptr) return ends(call, WBEM_E_INVALID_CLASS);
        if (!model->isA(wmiClass->name, u"__Event")) return ends(call, WBEM_E_NOT_EVENT_CLASS);
        if (!query->fits(*model, *wmiClass)) return ends(call, WBEM_E_INVALID_QUERY);
        if (!query->within && model->isA(wmiClass->name, u"__InstanceOperationEvent")) {
            return ends(call, LacksWithin);
        }
        if (!call.distorted(Distortion::NullResult)) {
            *events = newWmiEventEnumerator(m_nameSpace, std::move(*query), call.name());
        }
        return ends(call, success(call));
    }

    // Waiting takes the method's time and gives the out-parameters; returning immediately gives the call
    // result, and leaves the out-parameters' pointer alone.
    HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR name, LONG flags, IWbemContext*,
                                         IWbemClassObject* in, IWbemClassObject** out,
                                         IWbemCallResult** callResult) override {
        static const Function function{
            "IWbemServices::ExecMethod",
            Fails::WithCode,
            {WBEM_E_FAILED, WBEM_E_NOT_FOUND, WBEM_E_ACCESS_DENIED, WBEM_E_INVALID_METHOD_PARAMETERS,
             WBEM_E_PROVIDER_FAILURE},
            Distortion::NullResult | Distortion::NothingWritten | Distortion::OtherSuccess};
        Call call(function, path, name, flags);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        const bool immediately = (flags & WBEM_FLAG_RETURN_IMMEDIATELY) != 0;
        const Text pathText = readBstr(call, path);
        const Text methodName = readBstr(call, name);
        const WmiObjectData* const given = dataOf(in);
        if (pathText.empty() || methodName.empty() || (flags & ~WBEM_FLAG_RETURN_IMMEDIATELY) != 0 ||
            (immediately && callResult == nullptr) || (in != nullptr && given == nullptr)) {
            return ends(call, WBEM_E_INVALID_PARAMETER);
        }
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        Target target;
        long long result = findMethod(pathText, methodName, target);
        if (result == WBEM_S_NO_ERROR && !accepts(*target.method, given))
            result = WBEM_E_INVALID_METHOD_PARAMETERS;
        // A call without waiting starts in any case; its result reports what was wrong.
        if (result != WBEM_S_NO_ERROR && !immediately) return ends(call, result);
        WmiCallEnd end;
        end.result = static_cast<HRESULT>(result);
        if (result == WBEM_S_NO_ERROR) end = run(target, given);
        const bool null = call.distorted(Distortion::NullResult);
        if (immediately) {
            *callResult = null ? nullptr : newWmiCallResult(end, call.name());
            return ends(call, success(call));
        }
        waitUntil(end.at, Infinite);
        if (FAILED(end.result)) return call.returns(end.result);
        if (out != nullptr) *out = end.out == nullptr || null ? nullptr : newWmiObject(end.out, call.name());
        return ends(call, success(call));
    }

    NOT_IMPLEMENTED(IWbemServices, OpenNamespace,
                    (const BSTR, LONG, IWbemContext*, IWbemServices**, IWbemCallResult**))
    NOT_IMPLEMENTED(IWbemServices, CancelAsyncCall, (IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, QueryObjectSink, (LONG, IWbemObjectSink**))
    NOT_IMPLEMENTED(IWbemServices, GetObjectAsync, (const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, PutClass, (IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**))
    NOT_IMPLEMENTED(IWbemServices, PutClassAsync, (IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, DeleteClass, (const BSTR, LONG, IWbemContext*, IWbemCallResult**))
    NOT_IMPLEMENTED(IWbemServices, DeleteClassAsync, (const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, CreateClassEnum, (const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**))
    NOT_IMPLEMENTED(IWbemServices, CreateClassEnumAsync, (const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, PutInstance, (IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**))
    NOT_IMPLEMENTED(IWbemServices, PutInstanceAsync,
                    (IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, DeleteInstance, (const BSTR, LONG, IWbemContext*, IWbemCallResult**))
    NOT_IMPLEMENTED(IWbemServices, DeleteInstanceAsync, (const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, CreateInstanceEnum,
                    (const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**))
    NOT_IMPLEMENTED(IWbemServices, CreateInstanceEnumAsync,
                    (const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, ExecQueryAsync,
                    (const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, ExecNotificationQueryAsync,
                    (const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*))
    NOT_IMPLEMENTED(IWbemServices, ExecMethodAsync,
                    (const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*, IWbemObjectSink*))

private:
    void drop() override {}

    // The namespace that a path means, which may be another than the connection's.
    const WmiNamespaceModel* modelOf(WmiPath& path) const {
        if (!path.server.empty() && !equalNoCase(path.server, machine().name)) return nullptr;
        if (path.nameSpace.empty()) path.nameSpace = m_nameSpace;
        return wmiNamespace(path.nameSpace);
    }

    long long find(const Text& text, std::optional<WmiObjectData>& found) const {
        auto path = parseWmiPath(text);
        if (!path) return WBEM_E_INVALID_OBJECT_PATH;
        const WmiNamespaceModel* const model = modelOf(*path);
        if (model == nullptr) return WBEM_E_INVALID_NAMESPACE;
        const WmiClass* const wmiClass = model->findClass(path->className);
        if (wmiClass == nullptr) return WBEM_E_NOT_FOUND;
        if (path->isClass) {
            found = dataOfClass(path->nameSpace, *model, *wmiClass);
            return WBEM_S_NO_ERROR;
        }
        const WmiInstance* const instance = findInstance(*model, *path);
        if (instance == nullptr) return WBEM_E_NOT_FOUND;
        found = dataOfInstance(path->nameSpace, *model, *instance);
        return WBEM_S_NO_ERROR;
    }

    WmiRows run(const Text& wql, bool locatable) const {
        const auto query = parseWql(wql);
        if (query && !query->within) return run(*query, locatable);
        if (const auto associations = parseAssociationQuery(wql)) return run(*associations);
        WmiRows none;
        none.failure = static_cast<HRESULT>(static_cast<long long>(WBEM_E_INVALID_QUERY));
        return none;
    }

    WmiRows run(const AssociationQuery& query) const {
        WmiRows found;
        auto path = parseWmiPath(query.path);
        const WmiNamespaceModel* const model = path ? modelOf(*path) : nullptr;
        const WmiInstance* const start = model != nullptr ? findInstance(*model, *path) : nullptr;
        const long long failure = !path ? WBEM_E_INVALID_OBJECT_PATH : WBEM_E_NOT_FOUND;
        if (start == nullptr) {
            found.failure = static_cast<HRESULT>(failure);
            return found;
        }
        for (const WmiInstance* const each : query.run(*model, *start)) {
            found.rows.push_back(
                std::make_shared<const WmiObjectData>(dataOfInstance(path->nameSpace, *model, *each)));
        }
        return found;
    }

    WmiRows run(const WqlQuery& query, bool locatable) const {
        WmiRows found;
        const WmiNamespaceModel* const model = wmiNamespace(m_nameSpace);
        const WmiClass* const wmiClass = model != nullptr ? model->findClass(query.className) : nullptr;
        if (wmiClass == nullptr) {
            found.failure = static_cast<HRESULT>(static_cast<long long>(WBEM_E_INVALID_CLASS));
            return found;
        }
        found.failure = model->queryResult;
        found.millisecondsEach = model->millisecondsPerRow;
        if (!query.fits(*model, *wmiClass)) {
            found.failure = static_cast<HRESULT>(static_cast<long long>(WBEM_E_INVALID_QUERY));
        }
        if (FAILED(found.failure)) return found;
        for (const WmiInstance& instance : model->instances) {
            if (!model->isA(instance.className, query.className)) continue;
            WmiObjectData data = dataOfInstance(m_nameSpace, *model, instance);
            if (!query.matches(*model, data)) continue;
            found.rows.push_back(
                std::make_shared<const WmiObjectData>(query.project(std::move(data), locatable)));
        }
        return found;
    }

    long long findMethod(const Text& text, const Text& name, Target& target) const {
        auto path = parseWmiPath(text);
        if (!path) return WBEM_E_INVALID_OBJECT_PATH;
        const WmiNamespaceModel* const model = modelOf(*path);
        if (model == nullptr) return WBEM_E_INVALID_NAMESPACE;
        const WmiInstance* const instance = path->isClass ? nullptr : findInstance(*model, *path);
        if (!path->isClass && instance == nullptr) return WBEM_E_NOT_FOUND;
        const WmiClass* const wmiClass =
            model->findClass(path->isClass ? path->className : instance->className);
        if (wmiClass == nullptr) return WBEM_E_NOT_FOUND;
        target.method = model->findMethod(*wmiClass, name);
        if (target.method == nullptr) return WBEM_E_INVALID_METHOD;
        if (path->isClass && !target.method->isStatic) return WBEM_E_INVALID_METHOD;
        target.outcome = &target.method->outcome;
        if (instance != nullptr) {
            const auto own = instance->outcomes.find(name);
            if (own != instance->outcomes.end()) target.outcome = &own->second;
        }
        return WBEM_S_NO_ERROR;
    }

    static bool accepts(const WmiMethod& method, const WmiObjectData* given) {
        if (given == nullptr) {
            return std::none_of(method.in.begin(), method.in.end(),
                                [](const WmiProperty& parameter) { return parameter.initial.null; });
        }
        return std::all_of(given->properties.begin(), given->properties.end(), [&](const auto& property) {
            return std::any_of(method.in.begin(), method.in.end(), [&](const WmiProperty& parameter) {
                return equalNoCase(parameter.name, property.name) && parameter.type == property.type;
            });
        });
    }

    WmiCallEnd run(const Target& target, const WmiObjectData* given) const {
        const WmiObjectData in =
            given != nullptr ? *given
                             : dataOfParameters(m_nameSpace, target.method->in, {}, /*isClass=*/false);
        const WmiOutcome& outcome = choose(*target.outcome, in);
        WmiCallEnd end;
        end.result = outcome.result;
        end.at = sleptMilliseconds() + outcome.milliseconds;
        if (SUCCEEDED(outcome.result) && !target.method->out.empty()) {
            WmiObjectData out =
                dataOfParameters(m_nameSpace, target.method->out, outcome.out, /*isClass=*/false);
            // WMI lists them by name, in whatever order they were declared.
            std::sort(out.properties.begin(), out.properties.end(),
                      [](const auto& one, const auto& other) { return upper(one.name) < upper(other.name); });
            end.out = std::make_shared<const WmiObjectData>(std::move(out));
        }
        return end;
    }

    Text m_nameSpace;
};

}  // namespace

IWbemServices* newWmiServices(const Text& nameSpace, const char* creator) {
    return new Services(nameSpace, creator);
}

}  // namespace simulation
