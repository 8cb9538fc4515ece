// The open handles of one kind and what stands behind each, in step with the ledger.
#pragma once

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "simulation/control/Ledger.h"

namespace simulation {

template <class Value>
class HandleTable {
public:
    explicit HandleTable(Resource resource) : m_resource(resource) {}

    HANDLE add(std::unique_ptr<Value> value, const char* function) {
        const HANDLE handle = ledger().open(m_resource, function);
        m_values[handle] = std::move(value);
        return handle;
    }

    /// Null when the handle is not open (a violation when it was once, or is of another kind).
    Value* find(const void* handle, const char* function) {
        const auto found = m_values.find(handle);
        if (found != m_values.end()) return found->second.get();
        ledger().uses(m_resource, handle, function);
        return nullptr;
    }

    bool close(const void* handle, const char* function) {
        if (!ledger().close(m_resource, handle, function)) return false;
        m_values.erase(handle);
        return true;
    }

    /// Calls visit(handle, value) for each open handle until one call returns true; whether one did.
    template <class Visit>
    bool any(Visit&& visit) const {
        for (const auto& [handle, value] : m_values) {
            if (visit(handle, *value)) return true;
        }
        return false;
    }

    bool holds(const void* handle) const { return m_values.count(handle) != 0; }
    template <class Test>
    bool anyOf(Test&& test) const {
        return std::any_of(m_values.begin(), m_values.end(),
                           [&](const auto& one) { return test(*one.second); });
    }
    void clear() { m_values.clear(); }

private:
    Resource m_resource;
    std::unordered_map<const void*, std::unique_ptr<Value>> m_values;
};

}  // namespace simulation
