// Turns a function that a loaded DLL imports to one of the program's own.
#pragma once

#include <cstring>

#include "support/WindowsApi.h"

/// While it lives, the DLL calls `replacement` where it imports `function`.
class ReplacedImport {
public:
    ReplacedImport(HMODULE module, const char* function, void* replacement)
        : m_place(find(module, function)) {
        if (m_place == nullptr) return;
        m_before = *m_place;
        write(replacement);
    }
    ~ReplacedImport() {
        if (m_place != nullptr) write(m_before);
    }
    ReplacedImport(const ReplacedImport&) = delete;
    ReplacedImport& operator=(const ReplacedImport&) = delete;

    bool isThere() const { return m_place != nullptr; }

private:
    // The place in the import table where the function's address stands.
    static void** find(HMODULE module, const char* function) {
        auto* const base = reinterpret_cast<unsigned char*>(module);
        const auto& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos.e_lfanew);
        const auto& imports = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
        for (; dll->Name != 0; ++dll) {
            const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + dll->OriginalFirstThunk);
            auto* place = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + dll->FirstThunk);
            for (; name->u1.AddressOfData != 0; ++name, ++place) {
                if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
                const auto* const text = base + name->u1.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name);
                if (std::strcmp(reinterpret_cast<const char*>(text), function) == 0) {
                    return reinterpret_cast<void**>(&place->u1.Function);
                }
            }
        }
        return nullptr;
    }

    void write(void* value) {
        DWORD protection = 0;
        VirtualProtect(m_place, sizeof *m_place, PAGE_READWRITE, &protection);
        *m_place = value;
        VirtualProtect(m_place, sizeof *m_place, protection, &protection);
    }

    void** m_place;
    void* m_before = nullptr;
};
