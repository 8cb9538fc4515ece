// A function of a DLL that is loaded when the function is first wanted.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "support/DynamicLibrary.h"
#include "support/String.h"

namespace libSysmira {

/// Finds the function once and keeps its DLL loaded. Threads that look for it at the same time load the DLL
/// once each, and all but one of these loads are given back: the DLL stays where it is.
template <class Function>
class LoadedFunction {
public:
    /// Null before it was found.
    Function get() const noexcept { return m_function; }

    /// Loads the DLL and looks the function up, by name (const char*) or ordinal (unsigned short). Null when
    /// there is no such DLL or function; nothing stays loaded then.
    template <class Symbol>
    Function find(const zor::String& file, Symbol symbol) {
        auto library = std::make_unique<zor::DynamicLibrary>(file);
        if (!library->load()) return nullptr;
        const auto found = reinterpret_cast<Function>(library->getSymbol(symbol));
        if (found == nullptr) return nullptr;
        keep(std::move(library));
        m_function = found;
        return found;
    }

    /// Unloads the DLL, when nobody calls the function any more.
    void forget() {
        m_function = nullptr;
        keep(nullptr);
    }

private:
    void keep(std::unique_ptr<zor::DynamicLibrary> library) {
        const std::unique_ptr<zor::DynamicLibrary> before(m_library.exchange(library.release()));
    }

    // Not unloaded at the process's end, when other DLLs may have gone already.
    std::atomic<zor::DynamicLibrary*> m_library{nullptr};
    std::atomic<Function> m_function{nullptr};
};

}  // namespace libSysmira
