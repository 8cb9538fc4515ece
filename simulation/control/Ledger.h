// What the simulated PC has handed out and not got back: handles, lists, keys, modules, allocations.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "support/WindowsApi.h"

namespace simulation {

enum class Resource {
    DeviceInfoList,
    FileQueue,
    RegistryKey,
    Module,
    File,
    VolumeSearch,
    VolumeLock,
    LocalAllocation,
    CounterQuery,
    Counter,            ///< closed with its query
    ComInitialization,  ///< one for each successful CoInitializeEx
    WmiLocator,
    WmiServices,
    WmiEnumerator,
    WmiClassObject,
    WmiCallResult,
    Bstr,
    SafeArray,
    EventLog,
    EventQuery,
    Event,
    EventRenderContext,
    EventPublisherMetadata,
    ShellAllocator,
    ShellFolder,
    ItemIdentifier,
    ContextMenu,
    HelpPane,
    PropertyStore,
    ErrorInfo,
};
const char* toString(Resource resource);

/// Handle values are given out once and never again, so a closed handle stays recognisable. A violation
/// (closing twice, closing with the wrong function, using after closing) is reported at once to the handler
/// and kept. Values that were never given out are no violation: the function answers as Windows does.
///
/// Reached through simulation::ledger(); guarded by the lock that every Call holds.
class Ledger {
public:
    /// A handle that was never given out before. It points at nothing.
    HANDLE open(Resource resource, const char* function);
    /// Accounts for something that has an address of its own (an allocation).
    void opened(Resource resource, const void* address, const char* function);
    /// True when the handle was open and of this kind; it is closed then.
    bool close(Resource resource, const void* handle, const char* function);
    /// True when the handle is open and of this kind.
    bool uses(Resource resource, const void* handle, const char* function);

    /// The same without being a use: an unknown or closed one is no violation.
    bool isOpen(Resource resource, const void* handle) const {
        const auto found = m_open.find(handle);
        return found != m_open.end() && found->second.resource == resource;
    }

    bool empty() const { return m_open.empty(); }
    size_t count(Resource resource) const;
    /// One line for each open resource: its kind and the function that opened it.
    std::string describe() const;

    void violation(const std::string& text);
    const std::string& violations() const { return m_violations; }
    /// Called at each violation, besides its being kept; an empty function calls nothing.
    void setViolationHandler(std::function<void(const std::string&)> handler);

    /// Whether a value can be one of open()'s: those of the system never are.
    static bool wasGivenOut(const void* handle) {
        return reinterpret_cast<ULONG_PTR>(handle) >> 48 == HandleMark;
    }

    /// Forgets everything but the handler and the values given out.
    void clear();

private:
    static constexpr ULONG_PTR HandleMark = 0x5AFE;
    struct Entry {
        Resource resource;
        const char* function;
    };
    std::map<const void*, Entry> m_open;
    std::map<const void*, Entry> m_closed;
    std::string m_violations;
    std::function<void(const std::string&)> m_violationHandler;
    unsigned long long m_next = 1;
};

Ledger& ledger();

}  // namespace simulation
