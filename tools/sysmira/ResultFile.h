// A file that holds a result.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace sysmira {

/// A file named by the user. What it held stays until the new content is written completely: the content is
/// written to a new file in the same folder, which then takes its name. A link keeps its place, and what is
/// no regular file (a device, a pipe) is written directly.
class ResultFile {
public:
    /// Checks that the file can be written, without changing it. `name` is UTF-8. Throws CommandFailure with
    /// the system's reason.
    explicit ResultFile(const std::string& name);

    /// Throws CommandFailure with the system's reason; the file is then as it was, unless it is no regular
    /// one. Ctrl+C is noted only after the writing.
    void write(std::string_view content) const;

private:
    [[noreturn]] void fail(const std::string& reason) const;
    void writeTo(const std::filesystem::path& path, std::string_view content) const;

    std::string m_name;
    std::filesystem::path m_target;
    bool m_exists = false;
    bool m_direct = false;
};

}  // namespace sysmira
