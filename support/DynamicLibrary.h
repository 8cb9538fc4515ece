// A DLL that is loaded at run time.
#pragma once

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// Loaded by load() and given back with the object.
class ZOR_API DynamicLibrary {
public:
    /// To be cast to the function's real type.
    using Symbol = void (*)();

    /// Loads nothing yet.
    explicit DynamicLibrary(const String& fileName);
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;
    /// FreeLibrary, when it is loaded; keeps the thread's last error.
    ~DynamicLibrary();

    const String& getFileName() const noexcept { return m_fileName; }

    /// LoadLibraryW; true also when it is loaded already. On failure the thread's last error says why, and a
    /// later call tries again.
    bool load() noexcept;
    bool isLoaded() const noexcept { return m_module != nullptr; }

    /// GetProcAddress by name or by ordinal; null when the library is not loaded or has no such symbol.
    Symbol getSymbol(const char* name) const noexcept;
    Symbol getSymbol(unsigned short ordinal) const noexcept;

private:
    String m_fileName;
    void* m_module = nullptr;
};

}  // namespace zor
