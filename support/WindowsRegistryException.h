// A registry value could not be read.
#pragma once

#include "support/Exception.h"
#include "support/Export.h"
#include "support/Types.h"

namespace zor {

/// The message names key and value, what was expected and found, and the code.
class ZOR_API WindowsRegistryException : public Exception {
public:
    WindowsRegistryException(const String& message, Uint32 code) : Exception(message), m_code(code) {}
    WindowsRegistryException(const WindowsRegistryException&) noexcept = default;
    WindowsRegistryException& operator=(const WindowsRegistryException&) noexcept = default;
    ~WindowsRegistryException() override;

    /// Windows' code.
    Uint32 getCode() const noexcept { return m_code; }

private:
    Uint32 m_code;
};

}  // namespace zor
