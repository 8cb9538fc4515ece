// Reads lists of texts of the registry.
#pragma once

#include "support/Array.h"
#include "support/Export.h"
#include "support/String.h"
#include "support/WindowsRegistryException.h"

namespace zor {

/// Keys are named as for WindowsRegistryReader.
class ZOR_API WindowsRegistry {
public:
    WindowsRegistry() = delete;

    static bool keyExists(const String& key) noexcept;
    /// Whether the value is a list of texts (REG_MULTI_SZ).
    static bool multiStringValueExists(const String& key, const String& value) noexcept;
    /// The texts of a REG_MULTI_SZ, with their environment references replaced when `expandReferences` is
    /// set. Throws WindowsRegistryException when there is no such key or value, when it cannot be read or
    /// when it is of another type.
    static Array<String> getMultiStringValue(const String& key, const String& value,
                                             bool expandReferences = false);
};

}  // namespace zor
