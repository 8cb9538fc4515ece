// IEnumWbemClassObject: rows of a query, or events as they come.
#include <algorithm>
#include <set>

#include "simulation/api/ComObject.h"
#include "simulation/api/Wql.h"
#include "simulation/control/Clock.h"

namespace simulation {

namespace {

COM_INTERFACE(enumeratorInterface, Resource::WmiEnumerator, IEnumWbemClassObject);

const Function& nextFunction() {
    static const Function function{"IEnumWbemClassObject::Next",
                                   Fails::WithCode,
                                   {WBEM_E_INVALID_CLASS, WBEM_E_PROVIDER_FAILURE, WBEM_E_TRANSPORT_FAILURE,
                                    WBEM_E_CALL_CANCELLED, WBEM_S_FALSE, WBEM_S_TIMEDOUT},
                                   Distortion::NullResult | Distortion::NothingWritten};
    return function;
}
const Function& resetFunction() {
    static const Function function{
        "IEnumWbemClassObject::Reset",
        Fails::WithCode,
        {WBEM_E_INVALID_OPERATION, WBEM_E_TRANSPORT_FAILURE, WBEM_E_OUT_OF_MEMORY}};
    return function;
}

/// What both kinds have in common: handing out one object after the other within the caller's time-out.
class Enumerator : public ComObject<IEnumWbemClassObject> {
public:
    explicit Enumerator(const char* creator) : ComObject(enumeratorInterface, creator) {}

    // Fewer than were asked for are WBEM_S_FALSE at the end and WBEM_S_TIMEDOUT before it; those that there
    // are come along with either.
    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects,
                                   ULONG* returned) override {
        Call call(nextFunction(), timeout, count);
        if (const auto fault = call.fault<HRESULT>()) {
            if (returned != nullptr) *returned = 0;
            return *fault;
        }
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        if (timeout < Infinite || count == 0 || objects == nullptr || returned == nullptr) {
            return ends(call, WBEM_E_INVALID_PARAMETER);
        }
        if (call.distorted(Distortion::NothingWritten)) return ends(call, WBEM_S_NO_ERROR);
        if (call.distorted(Distortion::NullResult)) {
            std::fill(objects, objects + count, nullptr);
            *returned = count;
            return ends(call, WBEM_S_NO_ERROR);
        }
        *returned = 0;
        const unsigned long long begin = sleptMilliseconds();
        while (*returned < count) {
            const LONG waited = static_cast<LONG>(sleptMilliseconds() - begin);
            std::shared_ptr<const WmiObjectData> object;
            const HRESULT result =
                next(timeout == Infinite ? timeout : std::max<LONG>(timeout - waited, 0), object);
            if (result != WBEM_S_NO_ERROR) return call.returns(result);
            objects[(*returned)++] = newWmiObject(std::move(object), call.name());
        }
        return ends(call, WBEM_S_NO_ERROR);
    }

    HRESULT STDMETHODCALLTYPE Reset() override {
        Call call(resetFunction());
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return ends(call, RPC_E_DISCONNECTED);
        return ends(call, rewind() ? WBEM_S_NO_ERROR : WBEM_E_INVALID_OPERATION);
    }

    NOT_IMPLEMENTED(IEnumWbemClassObject, NextAsync, (ULONG, IWbemObjectSink*))
    NOT_IMPLEMENTED(IEnumWbemClassObject, Clone, (IEnumWbemClassObject**))
    NOT_IMPLEMENTED(IEnumWbemClassObject, Skip, (LONG, ULONG))

protected:
    virtual HRESULT next(LONG timeout, std::shared_ptr<const WmiObjectData>& object) = 0;
    virtual bool rewind() = 0;
};

class RowEnumerator final : public Enumerator {
public:
    RowEnumerator(WmiRows rows, const char* creator)
        : Enumerator(creator), m_rows(std::move(rows)), m_begin(sleptMilliseconds()) {}

private:
    HRESULT next(LONG timeout, std::shared_ptr<const WmiObjectData>& object) override {
        if (FAILED(m_rows.failure)) return m_rows.failure;
        if (m_at == m_rows.rows.size()) return WBEM_S_FALSE;
        if (m_at >= m_arrived) {
            if (!waitUntil(m_begin + (m_at + 1) * m_rows.millisecondsEach, timeout)) return WBEM_S_TIMEDOUT;
            m_arrived = m_at + 1;
        }
        object = m_rows.rows[m_at++];
        return WBEM_S_NO_ERROR;
    }
    bool rewind() override {
        if (m_rows.forwardOnly) return false;
        m_at = 0;
        return true;
    }
    void drop() override { m_rows.rows.clear(); }

    WmiRows m_rows;
    unsigned long long m_begin;
    size_t m_at = 0;
    size_t m_arrived = 0;
};

class EventEnumerator final : public Enumerator {
public:
    EventEnumerator(const Text& nameSpace, WqlQuery query, const char* creator)
        : Enumerator(creator),
          m_nameSpace(nameSpace),
          m_query(std::move(query)),
          m_begin(sleptMilliseconds()) {}

private:
    HRESULT next(LONG timeout, std::shared_ptr<const WmiObjectData>& object) override {
        const WmiNamespaceModel* const model = wmiNamespace(m_nameSpace);
        if (model == nullptr) return HRESULT(WBEM_E_SHUTTING_DOWN);
        const size_t found = earliest(*model);
        if (found == model->events.size()) {
            // Nothing will ever come: who waits without end is sent home, since simulated time knows no
            // other.
            if (timeout == Infinite) return HRESULT(WBEM_E_CALL_CANCELLED);
            waitUntil(sleptMilliseconds() + static_cast<ULONG>(timeout), timeout);
            return WBEM_S_TIMEDOUT;
        }
        if (!waitUntil(model->events[found].at, timeout)) return WBEM_S_TIMEDOUT;
        m_delivered.insert(found);
        object = std::make_shared<const WmiObjectData>(m_query.project(
            dataOfInstance(m_nameSpace, *model, model->events[found].event), /*locatable=*/false));
        return WBEM_S_NO_ERROR;
    }

    // The next event that is asked for; the number of events when there is none.
    size_t earliest(const WmiNamespaceModel& model) const {
        size_t best = model.events.size();
        for (size_t i = 0; i < model.events.size(); ++i) {
            const WmiEvent& event = model.events[i];
            if (event.at < m_begin || m_delivered.count(i) != 0) continue;
            if (best != model.events.size() && model.events[best].at <= event.at) continue;
            if (!model.isA(event.event.className, m_query.className)) continue;
            if (m_query.matches(model, dataOfInstance(m_nameSpace, model, event.event))) best = i;
        }
        return best;
    }

    bool rewind() override { return false; }
    void drop() override { m_query = WqlQuery(); }

    Text m_nameSpace;
    WqlQuery m_query;
    unsigned long long m_begin;
    std::set<size_t> m_delivered;
};

}  // namespace

IEnumWbemClassObject* newWmiEnumerator(WmiRows rows, const char* creator) {
    return new RowEnumerator(std::move(rows), creator);
}

IEnumWbemClassObject* newWmiEventEnumerator(const Text& nameSpace, WqlQuery query, const char* creator) {
    return new EventEnumerator(nameSpace, std::move(query), creator);
}

bool waitUntil(unsigned long long due, LONG timeout) {
    const unsigned long long now = sleptMilliseconds();
    if (due <= now) return true;
    const bool enough = timeout == Infinite || static_cast<ULONG>(timeout) >= due - now;
    passMilliseconds(enough ? due - now : static_cast<ULONG>(timeout));
    return enough;
}

}  // namespace simulation
