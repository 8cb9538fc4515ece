// COM of the simulated PC: apartments, security, WMI's locator, the shell's classes. Other classes are the
// system's own in a Windows program, and not registered on the host.
#include <atomic>
#include <vector>

#include "simulation/api/ComApartments.h"
#include "simulation/api/RealFunction.h"
#include "simulation/api/Shell.h"
#include "simulation/api/WmiObjects.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"

namespace simulation {

namespace {

// Counts the machines that there have been: what a thread remembers of an earlier one is void.
std::atomic<unsigned> theMachineNumber{0};
std::atomic<unsigned> theEntriesOfAll{0};
std::atomic<unsigned> theMultithreadedEntries{0};
std::atomic<bool> theSecurityIsSet{false};

const AtReset apartmentsAtReset([] {
    ++theMachineNumber;
    theEntriesOfAll = 0;
    theMultithreadedEntries = 0;
    theSecurityIsSet = false;
});

struct ThreadState {
    unsigned machineNumber = 0;
    bool multithreaded = false;
    bool hasLeft = false;
    // Failed initialisations whose CoUninitialize is still to come. A caller that leaves COM once for every
    // attempt to enter it breaks COM's rules but harms nobody else.
    unsigned failedSince = 0;
    std::vector<HANDLE> entries;  // in the ledger
};

ThreadState& thisThread() {
    static thread_local ThreadState state;
    if (state.machineNumber != theMachineNumber) {
        state = ThreadState();
        state.machineNumber = theMachineNumber;
    }
    return state;
}

constexpr CLSID administrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};

}  // namespace

unsigned comBalance() { return static_cast<unsigned>(thisThread().entries.size()); }
unsigned comBalanceOfAllThreads() { return theEntriesOfAll; }

bool isInCom() {
    const ThreadState& state = thisThread();
    return !state.entries.empty() || (!state.hasLeft && theMultithreadedEntries != 0);
}

void securityWasSet() { theSecurityIsSet = true; }

bool isExcusedFromCom() { return thisThread().failedSince != 0; }

}  // namespace simulation

using namespace simulation;

SIMULATED(HRESULT, WINAPI, CoInitializeEx, (LPVOID reserved, DWORD model)) {
    static const Function function{
        "CoInitializeEx", Fails::WithCode, {RPC_E_CHANGED_MODE, E_OUTOFMEMORY, E_UNEXPECTED}};
    Call call(function, model);
    ThreadState& state = thisThread();
    if (const auto fault = call.fault<HRESULT>()) {
        if (*fault != RPC_E_CHANGED_MODE) ++state.failedSince;
        return *fault;
    }
    if (reserved != nullptr) return call.returns(E_INVALIDARG);
    const bool multithreaded = (model & COINIT_APARTMENTTHREADED) == 0;
    const bool first = state.entries.empty();
    if (!first && state.multithreaded != multithreaded) return call.returns(RPC_E_CHANGED_MODE);
    if (const auto real = realFunction<decltype(CoInitializeEx)>(L"ole32.dll", "CoInitializeEx")) {
        real(nullptr, model);
    }
    state.multithreaded = multithreaded;
    state.entries.push_back(ledger().open(Resource::ComInitialization, call.name()));
    ++theEntriesOfAll;
    if (multithreaded) ++theMultithreadedEntries;
    return call.returns(first ? S_OK : S_FALSE);
}

SIMULATED(void, WINAPI, CoUninitialize, (void)) {
    static const Function function{"CoUninitialize", Fails::WithCode, {S_OK}};
    Call call(function);
    ThreadState& state = thisThread();
    if (state.entries.empty()) {
        if (state.failedSince != 0) {
            --state.failedSince;
        } else {
            ledger().violation("CoUninitialize was called on a thread that has not entered COM");
        }
        return;
    }
    ledger().close(Resource::ComInitialization, state.entries.back(), call.name());
    state.entries.pop_back();
    --theEntriesOfAll;
    if (state.multithreaded) --theMultithreadedEntries;
    state.hasLeft = state.entries.empty();
    if (const auto real = realFunction<decltype(CoUninitialize)>(L"ole32.dll", "CoUninitialize")) real();
}

// Memory of the shell's items is COM's; other memory is the system's own.
SIMULATED(void, WINAPI, CoTaskMemFree, (LPVOID memory)) {
    static const Function function{"CoTaskMemFree", Fails::WithCode, {S_OK}};
    Call call(function);
    if (memory == nullptr || freeItemIdentifier(memory, call.name())) return;
    if (const auto real = realFunction<decltype(CoTaskMemFree)>(L"ole32.dll", "CoTaskMemFree")) real(memory);
}

SIMULATED(HRESULT, WINAPI, CoInitializeSecurity,
          (PSECURITY_DESCRIPTOR, LONG services, SOLE_AUTHENTICATION_SERVICE*, void*, DWORD authentication,
           DWORD impersonation, void*, DWORD capabilities, void*)) {
    static const Function function{"CoInitializeSecurity",
                                   Fails::WithCode,
                                   {RPC_E_TOO_LATE, E_OUTOFMEMORY, RPC_E_NO_GOOD_SECURITY_PACKAGES}};
    Call call(function, services, authentication, impersonation, capabilities);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (!isInCom()) return call.returns(CO_E_NOTINITIALIZED);
    if (services < -1) return call.returns(E_INVALIDARG);
    if (theSecurityIsSet.exchange(true)) return call.returns(RPC_E_TOO_LATE);
    return call.returns(S_OK);
}

SIMULATED(HRESULT, WINAPI, CoCreateInstance,
          (REFCLSID wanted, LPUNKNOWN outer, DWORD context, REFIID interfaceId, LPVOID* object)) {
    static const Function function{"CoCreateInstance",
                                   Fails::WithCode,
                                   {REGDB_E_CLASSNOTREG, E_NOINTERFACE, CO_E_NOTINITIALIZED, E_OUTOFMEMORY,
                                    static_cast<HRESULT>(0x80080005)},  // CO_E_SERVER_EXEC_FAILURE
                                   static_cast<unsigned>(Distortion::NullResult)};
    Call call(function, &wanted, context, &interfaceId);
    if (const auto fault = call.fault<HRESULT>()) {
        if (object != nullptr) *object = nullptr;
        return *fault;
    }
    if (object == nullptr) return call.returns(E_POINTER);
    *object = nullptr;
    if (isShellClass(wanted)) {
        if (!isInCom()) return call.returns(CO_E_NOTINITIALIZED);
        if (outer != nullptr) return call.returns(CLASS_E_NOAGGREGATION);
        return createShellObject(call, wanted, context, interfaceId, object);
    }
    if (!sameGuid(wanted, administrativeLocator)) {
        const auto real = realFunction<decltype(CoCreateInstance)>(L"ole32.dll", "CoCreateInstance");
        if (real == nullptr) return call.returns(isInCom() ? REGDB_E_CLASSNOTREG : CO_E_NOTINITIALIZED);
        return call.returns(real(wanted, outer, context, interfaceId, object));
    }
    if (!isInCom()) return call.returns(CO_E_NOTINITIALIZED);
    if (outer != nullptr) return call.returns(CLASS_E_NOAGGREGATION);
    // WMI's locator is a DLL (wbemprox.dll) alone.
    if ((context & CLSCTX_INPROC_SERVER) == 0) return call.returns(REGDB_E_CLASSNOTREG);
    if (!sameGuid(interfaceId, IID_IUnknown) && !sameGuid(interfaceId, IID_IWbemLocator)) {
        return call.returns(E_NOINTERFACE);
    }
    if (call.distorted(Distortion::NullResult)) return call.returns(S_OK);
    // Its IUnknown and its IWbemLocator are one pointer.
    *object = newWmiLocator(call.name());
    return call.returns(S_OK);
}
