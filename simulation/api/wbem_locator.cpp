// IWbemLocator: where connections to namespaces are made.
#include "simulation/api/ComObject.h"
#include "simulation/api/WmiObjects.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

COM_INTERFACE(locatorInterface, Resource::WmiLocator, IWbemLocator);

// The server that a namespace path names: "\\SERVER\root\cimv2". Empty: this one.
Text serverOf(const Text& path) {
    const auto isSlash = [](char16_t unit) { return unit == u'\\' || unit == u'/'; };
    if (path.size() < 3 || !isSlash(path[0]) || !isSlash(path[1])) return {};
    const Text name = path.substr(2, path.find_first_of(u"\\/", 2) - 2);
    return name == u"." || equalNoCase(name, u"localhost") || equalNoCase(name, machine().name) ? Text()
                                                                                                : name;
}

class Locator final : public ComObject<IWbemLocator> {
public:
    explicit Locator(const char* creator) : ComObject(locatorInterface, creator) {}

    // The network resource is declared BSTR, but any text will do: it is read up to its NUL and no length is
    // looked for in front of it.
    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR user, const BSTR password,
                                            const BSTR locale, LONG flags, const BSTR authority,
                                            IWbemContext*, IWbemServices** services) override {
        static const Function function{
            "IWbemLocator::ConnectServer",
            Fails::WithCode,
            {WBEM_E_ACCESS_DENIED, WBEM_E_INVALID_NAMESPACE, WBEM_E_TRANSPORT_FAILURE, WBEM_E_OUT_OF_MEMORY,
             HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE)},
            Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, resource, user, password, locale, flags, authority);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (resource == nullptr || services == nullptr) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        *services = nullptr;
        const Text path = fromWide(resource);
        if (!serverOf(path).empty()) {
            return ends(call, HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE));
        }
        // Nobody may name another user for the machine's own WMI.
        if (user != nullptr || password != nullptr) return ends(call, WBEM_E_LOCAL_CREDENTIALS);
        const WmiNamespaceModel* const found = wmiNamespace(path);
        if (found == nullptr) return ends(call, WBEM_E_INVALID_NAMESPACE);
        if (FAILED(found->connectResult)) return call.returns(found->connectResult);
        if (call.distorted(Distortion::NullResult)) return ends(call, WBEM_S_NO_ERROR);
        securityWasSet();
        *services = newWmiServices(normalNamespace(path), call.name());
        return ends(call, WBEM_S_NO_ERROR);
    }

private:
    void drop() override {}
};

}  // namespace

IWbemLocator* newWmiLocator(const char* creator) { return new Locator(creator); }

}  // namespace simulation
