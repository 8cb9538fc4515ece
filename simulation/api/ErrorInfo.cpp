// GetErrorInfo and the IErrorInfo that it hands out.
#include "simulation/api/ErrorInfo.h"

#include <optional>

#include "simulation/api/ComObject.h"
#include "simulation/api/OleAutomation.h"

namespace simulation {

namespace {

struct ErrorDescription {
    Text source, text;
};

// Each thread has its own.
std::optional<ErrorDescription>& theDescription() {
    static thread_local std::optional<ErrorDescription> description;
    return description;
}

COM_INTERFACE(errorInterface, Resource::ErrorInfo, IErrorInfo);

class ErrorInfo final : public ComObject<IErrorInfo> {
public:
    ErrorInfo(ErrorDescription about, const char* creator)
        : ComObject(errorInterface, creator), m_about(std::move(about)) {}

    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override {
        static const Function function{"IErrorInfo::GetDescription", Fails::WithCode, {E_OUTOFMEMORY}};
        return give(function, m_about.text, description);
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override {
        static const Function function{"IErrorInfo::GetSource", Fails::WithCode, {E_OUTOFMEMORY}};
        return give(function, m_about.source, source);
    }

    NOT_IMPLEMENTED(IErrorInfo, GetGUID, (GUID*))
    NOT_IMPLEMENTED(IErrorInfo, GetHelpFile, (BSTR*))
    NOT_IMPLEMENTED(IErrorInfo, GetHelpContext, (DWORD*))

private:
    HRESULT give(const Function& function, const Text& text, BSTR* place) {
        Call call(function);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        if (place == nullptr) return call.returns(E_INVALIDARG);
        *place = newBstr(text, call.name());
        return call.returns(S_OK);
    }
    void drop() override {}

    const ErrorDescription m_about;
};

}  // namespace

void setErrorDescription(const Text& source, const Text& description) {
    theDescription() = ErrorDescription{source, description};
}

}  // namespace simulation

using namespace simulation;

// Whoever asks takes the object away: the next call finds none (Microsoft, GetErrorInfo).
SIMULATED(HRESULT, WINAPI, GetErrorInfo, (ULONG reserved, IErrorInfo** error)) {
    static const Function function{
        "GetErrorInfo", Fails::WithCode, {S_FALSE}, static_cast<unsigned>(Distortion::NullResult)};
    Call call(function);
    if (error != nullptr) *error = nullptr;
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (reserved != 0 || error == nullptr) return call.returns(E_INVALIDARG);
    if (!theDescription()) return call.returns(S_FALSE);
    ErrorDescription about = std::move(*theDescription());
    theDescription().reset();
    if (!call.distorted(Distortion::NullResult)) *error = new ErrorInfo(std::move(about), call.name());
    return call.returns(S_OK);
}
