#include "support/DynamicLibrary.h"

#include "support/LastErrorKeeper.h"
#include "support/WindowsApi.h"

namespace zor {

DynamicLibrary::DynamicLibrary(const String& fileName) : m_fileName(fileName) {}

DynamicLibrary::~DynamicLibrary() {
    if (m_module == nullptr) return;
    const LastErrorKeeper keeper;
    FreeLibrary(static_cast<HMODULE>(m_module));
}

bool DynamicLibrary::load() noexcept {
    if (m_module == nullptr) m_module = LoadLibraryW(m_fileName.getUCS2Buffer());
    return m_module != nullptr;
}

DynamicLibrary::Symbol DynamicLibrary::getSymbol(const char* name) const noexcept {
    if (m_module == nullptr || name == nullptr) return nullptr;
    return reinterpret_cast<Symbol>(GetProcAddress(static_cast<HMODULE>(m_module), name));
}

DynamicLibrary::Symbol DynamicLibrary::getSymbol(unsigned short ordinal) const noexcept {
    // GetProcAddress takes pointers below 64 KiB for ordinals; 0 is none.
    return ordinal == 0 ? nullptr : getSymbol(reinterpret_cast<const char*>(static_cast<ULONG_PTR>(ordinal)));
}

}  // namespace zor
