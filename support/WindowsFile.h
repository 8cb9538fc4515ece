// A file by its path.
#pragma once

#include <utility>

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// A copyable value; the file need not exist.
class ZOR_API WindowsFile {
public:
    WindowsFile() noexcept = default;
    explicit WindowsFile(String path) noexcept : m_path(std::move(path)) {}

    /// The path as given.
    const String& getFileName() const noexcept { return m_path; }

    /// "10.0.19041.1", the binary file version of the version resource (GetFileVersionInfoSizeW,
    /// GetFileVersionInfoW, VerQueryValueW). False, with `version` cleared, when the file has none or its
    /// resource is damaged.
    bool getFileVersion(String& version) const;

private:
    String m_path;
};

}  // namespace zor
