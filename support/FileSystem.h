// Paths and whether they exist.
#pragma once

#include "support/Export.h"
#include "support/String.h"

namespace zor {

class ZOR_API FileSystem {
public:
    FileSystem() = delete;

    /// Whether a file or folder of that path can be seen (GetFileAttributesW).
    static bool exists(const String& path) noexcept;

    /// `path` below the folder `base`, by their texts alone.
    ///
    /// A path with a drive ("C:\x", also "C:x") or of a server or device ("\\server\share") stays as it is;
    /// one that begins with a single separator takes the drive or share of `base`. With `normalise`,
    /// separators become one backslash each, "." and ".." are resolved (".." never climbs above the root),
    /// and a separator at the end goes, except behind a drive; paths that begin with "\\?\" are taken
    /// literally.
    static String getAbsolutePath(const String& path, const String& base, bool normalise);
};

}  // namespace zor
