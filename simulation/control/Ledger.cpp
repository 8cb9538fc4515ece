#include "simulation/control/Ledger.h"

#include <algorithm>

namespace simulation {

const char* toString(Resource resource) {
    switch (resource) {
        case Resource::DeviceInfoList:
            return "device information list";
        case Resource::FileQueue:
            return "file queue";
        case Resource::RegistryKey:
            return "registry key";
        case Resource::Module:
            return "module";
        case Resource::File:
            return "file";
        case Resource::VolumeSearch:
            return "search for volumes";
        case Resource::VolumeLock:
            return "volume lock";
        case Resource::LocalAllocation:
            return "local allocation";
        case Resource::CounterQuery:
            return "counter query";
        case Resource::Counter:
            return "counter";
        case Resource::ComInitialization:
            return "COM initialisation";
        case Resource::WmiLocator:
            return "IWbemLocator";
        case Resource::WmiServices:
            return "IWbemServices";
        case Resource::WmiEnumerator:
            return "IEnumWbemClassObject";
        case Resource::WmiClassObject:
            return "IWbemClassObject";
        case Resource::WmiCallResult:
            return "IWbemCallResult";
        case Resource::Bstr:
            return "BSTR";
        case Resource::SafeArray:
            return "SAFEARRAY";
        case Resource::EventLog:
            return "event log";
        case Resource::EventQuery:
            return "event query";
        case Resource::Event:
            return "event";
        case Resource::EventRenderContext:
            return "event render context";
        case Resource::EventPublisherMetadata:
            return "event publisher metadata";
        case Resource::ShellAllocator:
            return "shell allocator";
        case Resource::ShellFolder:
            return "shell folder";
        case Resource::ItemIdentifier:
            return "item identifier";
        case Resource::ContextMenu:
            return "context menu";
        case Resource::HelpPane:
            return "help pane";
        case Resource::PropertyStore:
            return "property store";
        case Resource::ErrorInfo:
            return "error object";
    }
    return "unknown resource";
}

Ledger& ledger() {
    static Ledger theLedger;
    return theLedger;
}

HANDLE Ledger::open(Resource resource, const char* function) {
    // High enough to be nobody's address or system handle; a multiple of four, as handles are.
    const auto handle = reinterpret_cast<HANDLE>(HandleMark << 48 | static_cast<ULONG_PTR>(4 * m_next++));
    m_open[handle] = {resource, function};
    return handle;
}

void Ledger::opened(Resource resource, const void* address, const char* function) {
    m_closed.erase(address);
    m_open[address] = {resource, function};
}

bool Ledger::close(Resource resource, const void* handle, const char* function) {
    if (!uses(resource, handle, function)) return false;
    m_closed[handle] = m_open[handle];
    m_open.erase(handle);
    return true;
}

bool Ledger::uses(Resource resource, const void* handle, const char* function) {
    if (const auto found = m_open.find(handle); found != m_open.end()) {
        if (found->second.resource == resource) return true;
        violation(std::string(function) + " was given a " + toString(found->second.resource) + " of " +
                  found->second.function + " where it takes a " + toString(resource));
        return false;
    }
    if (const auto found = m_closed.find(handle); found != m_closed.end()) {
        violation(std::string(function) + " was given a closed " + toString(found->second.resource) + " of " +
                  found->second.function);
    }
    return false;
}

size_t Ledger::count(Resource resource) const {
    return static_cast<size_t>(std::count_if(
        m_open.begin(), m_open.end(), [&](const auto& entry) { return entry.second.resource == resource; }));
}

std::string Ledger::describe() const {
    std::string text;
    for (const auto& [handle, entry] : m_open) {
        text += std::string(toString(entry.resource)) + " of " + entry.function + "\n";
    }
    return text;
}

void Ledger::violation(const std::string& text) {
    m_violations += text + "\n";
    if (m_violationHandler) m_violationHandler(text);
}

void Ledger::setViolationHandler(std::function<void(const std::string&)> handler) {
    m_violationHandler = std::move(handler);
}

void Ledger::clear() {
    m_open.clear();
    m_closed.clear();
    m_violations.clear();
}

}  // namespace simulation
