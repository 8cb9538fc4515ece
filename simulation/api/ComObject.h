// What all COM objects of the simulated PC share: references that are counted, journalled and held against
// the ledger, and a body that outlives the last Release, so that a stray call finds a tombstone and not free
// memory.
#pragma once

#include "simulation/api/ComApartments.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"

namespace simulation {

/// An interface's names and the like; one for each, in static memory.
struct ComInterface {
    Resource resource;
    const IID& id;
    Function queryInterface;
    Function addReference;
    Function release;
};

inline ComInterface describeInterface(Resource resource, const IID& id, const char* queryInterface,
                                      const char* addReference, const char* release) {
    const auto distortions = static_cast<unsigned>(Distortion::NullResult);
    return {resource,
            id,
            {queryInterface, Fails::WithCode, {E_NOINTERFACE, E_OUTOFMEMORY}, distortions},
            {addReference, Fails::WithCode, {S_OK}},
            {release, Fails::WithCode, {S_OK}}};
}

/// Keeps an object that is dead until reset().
struct Tombstone {
    Tombstone() = default;
    Tombstone(const Tombstone&) = delete;
    Tombstone& operator=(const Tombstone&) = delete;
    virtual ~Tombstone() = default;
};
void bury(Tombstone* dead);

/// Notes a WBEM_ code, whose type is not HRESULT, as a call's result.
inline HRESULT ends(Call& call, long long code) { return call.returns(static_cast<HRESULT>(code)); }

// COM's interfaces have no destructors; objects are deleted as tombstones only.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The first reference is the creator's to hand out.
template <class Interface>
class ComObject : public Interface, public Tombstone {
public:
    ComObject(const ComInterface& about, const char* creator) : m_interface(about), m_creator(creator) {
        ledger().opened(about.resource, static_cast<Interface*>(this), creator);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID wanted, void** object) override {
        Call call(m_interface.queryInterface, &wanted);
        if (const auto fault = call.fault<HRESULT>()) {
            if (object != nullptr) *object = nullptr;
            return *fault;
        }
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        if (object == nullptr) return call.returns(E_POINTER);
        *object = nullptr;
        if (!sameGuid(wanted, IID_IUnknown) && !sameGuid(wanted, m_interface.id)) {
            return call.returns(E_NOINTERFACE);
        }
        if (call.distorted(Distortion::NullResult)) return call.returns(S_OK);
        ++m_references;
        *object = static_cast<Interface*>(this);
        return call.returns(S_OK);
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        Call call(m_interface.addReference);
        if (!isAlive(call)) return call.returns(ULONG{0});
        isUsable(call);
        return call.returns(++m_references);
    }

    ULONG STDMETHODCALLTYPE Release() override {
        Call call(m_interface.release);
        // Without COM the reference is gone all the same.
        if (!isAlive(call)) return call.returns(ULONG{0});
        isUsable(call);
        if (--m_references != 0) return call.returns(m_references);
        ledger().close(m_interface.resource, static_cast<Interface*>(this), call.name());
        drop();
        bury(this);
        return call.returns(ULONG{0});
    }

protected:
    /// Lets go of everything that the object holds; called once, at the last Release.
    virtual void drop() = 0;

    /// False, and a violation, for an object that is dead.
    bool isAlive(const Call& call) const {
        if (m_references != 0) return true;
        ledger().violation(std::string(call.name()) + " was called on a released " +
                           toString(m_interface.resource) + " of " + m_creator);
        return false;
    }
    /// False, and a violation, for an object that is dead or a thread that has left COM.
    bool isUsable(const Call& call) const {
        if (!isAlive(call)) return false;
        if (isInCom()) return true;
        if (!isExcusedFromCom()) {
            ledger().violation(std::string(call.name()) + " was called on a thread that is not in COM");
        }
        return false;
    }

private:
    const ComInterface& m_interface;
    const char* m_creator;
    ULONG m_references = 1;
};

#pragma GCC diagnostic pop

}  // namespace simulation

/// Defines the ComInterface of IWbemSomething as NAME.
#define COM_INTERFACE(variable, resource, type)                                                     \
    const ComInterface variable = describeInterface(resource, IID_##type, #type "::QueryInterface", \
                                                    #type "::AddRef", #type "::Release")

/// Defines a method that nobody calls: it is journalled and answers E_NOTIMPL.
#define NOT_IMPLEMENTED(type, method, parameters)                                         \
    HRESULT STDMETHODCALLTYPE method parameters override {                                \
        static const Function function{#type "::" #method, Fails::WithCode, {E_NOTIMPL}}; \
        Call call(function);                                                              \
        return call.returns(E_NOTIMPL);                                                   \
    }
