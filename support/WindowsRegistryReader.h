// Reads single texts of the registry.
#pragma once

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// Keys are full paths that begin with the root's name, long or short ("HKEY_LOCAL_MACHINE\..." or
/// "HKLM\..."), in any letter case; they are opened for reading only, and for one call. Nothing here reports
/// a failure other than by "no" or an empty text.
class ZOR_API WindowsRegistryReader {
public:
    bool keyExists(const String& key) const noexcept;

    /// Whether the value is a plain text (REG_SZ).
    bool stringValueExists(const String& key, const String& value) const noexcept;
    /// A REG_SZ up to its NUL; empty when it cannot be read or is of another type.
    String getStringValue(const String& key, const String& value) const;

    /// Whether the value is a text with environment references (REG_EXPAND_SZ).
    bool toExpandStringValueExists(const String& key, const String& value) const noexcept;
    /// A REG_EXPAND_SZ with its references replaced; empty when it cannot be read or is of another type.
    String getExpandedStringValue(const String& key, const String& value) const;
};

}  // namespace zor
