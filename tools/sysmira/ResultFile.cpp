#include "tools/sysmira/ResultFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Interruption.h"

namespace sysmira {

namespace fs = std::filesystem;

namespace {

// In a folder that several processes write to.
fs::path neighbourOf(const fs::path& target) {
    std::random_device random;
    fs::path path = target;
    path += "." + std::to_string(random()) + ".new";
    return path;
}

std::string lastReason() { return errno != 0 ? std::strerror(errno) : "unknown reason"; }

// Goes with the object unless it was renamed before.
struct PassingFile {
    explicit PassingFile(const fs::path& target) : path(neighbourOf(target)) {}
    ~PassingFile() {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;

    const fs::path path;
};

}  // namespace

ResultFile::ResultFile(const std::string& name)
    : m_name(name), m_target(std::u8string(name.begin(), name.end())) {
    std::error_code failure;
    const fs::file_status status = fs::status(m_target, failure);
    m_exists = fs::exists(status);
    m_direct = m_exists && !fs::is_regular_file(status);
    if (m_exists) {
        if (!m_direct) m_target = fs::canonical(m_target, failure);
        errno = 0;
        if (!std::ofstream(m_target, std::ios::binary | std::ios::app)) fail(lastReason());
    }
    if (m_direct) return;
    const PassingFile probe(m_target);
    errno = 0;
    if (!std::ofstream(probe.path, std::ios::binary)) fail(lastReason());
}

void ResultFile::write(std::string_view content) const {
    const InterruptionNoted interruption;
    if (m_direct) return writeTo(m_target, content);
    const PassingFile file(m_target);
    writeTo(file.path, content);
    std::error_code failure;
    if (m_exists) fs::permissions(file.path, fs::status(m_target).permissions(), failure);
    fs::rename(file.path, m_target, failure);
    if (failure) fail(failure.default_error_condition().message());
}

void ResultFile::writeTo(const fs::path& path, std::string_view content) const {
    errno = 0;
    std::ofstream file(path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) fail(lastReason());
}

void ResultFile::fail(const std::string& reason) const {
    throw CommandFailure(NotRead, "the file \"" + m_name + "\" cannot be written: " + reason);
}

}  // namespace sysmira
