// IWbemCallResult: a method call that was started without waiting for its end.
#include "simulation/api/ComObject.h"
#include "simulation/api/WmiObjects.h"

namespace simulation {

namespace {

COM_INTERFACE(callResultInterface, Resource::WmiCallResult, IWbemCallResult);

class CallResult final : public ComObject<IWbemCallResult> {
public:
    CallResult(WmiCallEnd end, const char* creator)
        : ComObject(callResultInterface, creator), m_end(std::move(end)) {}

    HRESULT STDMETHODCALLTYPE GetResultObject(LONG timeout, IWbemClassObject** object) override {
        static const Function function{
            "IWbemCallResult::GetResultObject",
            Fails::WithCode,
            {WBEM_E_FAILED, WBEM_E_TRANSPORT_FAILURE, WBEM_E_OUT_OF_MEMORY, WBEM_S_TIMEDOUT},
            Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, timeout);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (timeout < Infinite || object == nullptr) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        *object = nullptr;
        if (!waitUntil(m_end.at, timeout)) return ends(call, WBEM_S_TIMEDOUT);
        if (FAILED(m_end.result)) return call.returns(m_end.result);
        if (m_end.out != nullptr && !call.distorted(Distortion::NullResult)) {
            *object = newWmiObject(m_end.out, call.name());
        }
        return ends(call, WBEM_S_NO_ERROR);
    }

    // The call's own result is the status; the function's result says whether there is one yet.
    HRESULT STDMETHODCALLTYPE GetCallStatus(LONG timeout, LONG* status) override {
        static const Function function{
            "IWbemCallResult::GetCallStatus", Fails::WithCode, {WBEM_E_FAILED, WBEM_E_TRANSPORT_FAILURE}};
        Call call(function, timeout);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (timeout < Infinite || status == nullptr) return ends(call, WBEM_E_INVALID_PARAMETER);
        if (!waitUntil(m_end.at, timeout)) return ends(call, WBEM_S_TIMEDOUT);
        *status = m_end.result;
        return ends(call, WBEM_S_NO_ERROR);
    }

    NOT_IMPLEMENTED(IWbemCallResult, GetResultString, (LONG, BSTR*))
    NOT_IMPLEMENTED(IWbemCallResult, GetResultServices, (LONG, IWbemServices**))

private:
    void drop() override { m_end.out.reset(); }

    WmiCallEnd m_end;
};

}  // namespace

IWbemCallResult* newWmiCallResult(WmiCallEnd end, const char* creator) {
    return new CallResult(std::move(end), creator);
}

}  // namespace simulation
