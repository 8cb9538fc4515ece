// Reads one value of a registry path, for the two registry classes. Needs the Windows types; not exported.
#pragma once

#include "support/Buffer.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace zor {

/// An open registry key.
class RegistryKey {
public:
    /// Opens "HKEY_LOCAL_MACHINE\..." (or "HKLM\...") with KEY_READ; separators at the end are read over.
    explicit RegistryKey(const String& path);
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    /// Keeps the thread's last error.
    ~RegistryKey();

    /// Windows' code of opening; ERROR_INVALID_NAME for an unknown root.
    LSTATUS getCode() const noexcept { return m_code; }
    HKEY get() const noexcept { return m_key; }

private:
    HKEY m_key = nullptr;
    LSTATUS m_code = ERROR_INVALID_NAME;
    bool m_opened = false;
};

struct RegistryValue {
    LSTATUS code = ERROR_SUCCESS;
    DWORD type = REG_NONE;
    Buffer<unsigned char> bytes;
};

/// The value's type alone; the bytes stay empty.
RegistryValue readRegistryType(const String& keyPath, const String& valueName);
/// The whole value, however it grows meanwhile; no bytes on failure.
RegistryValue readRegistryValue(const String& keyPath, const String& valueName);

}  // namespace zor
