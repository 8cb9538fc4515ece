#include "support/WindowsFile.h"

#include <cstdint>
#include <cstring>

#include "support/GrowingRead.h"
#include "support/SprintfFormat.h"
#include "support/WindowsApi.h"

namespace zor {

namespace {

constexpr DWORD FixedInfoSignature = 0xFEEF04BD;

// VerQueryValueW is not told how large the resource is and trusts the lengths in it. They are 16 bits wide:
// with this much behind the resource, none of them leads beyond the memory.
constexpr std::size_t Slack = 0x10000;

bool isWithin(const Buffer<unsigned char>& bytes, std::size_t size, const void* begin, std::size_t length) {
    const auto first = reinterpret_cast<std::uintptr_t>(bytes.data());
    const auto place = reinterpret_cast<std::uintptr_t>(begin);
    return place >= first && place - first <= size && length <= size - (place - first);
}

bool readFixedInfo(const String& path, VS_FIXEDFILEINFO& info) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.getUCS2Buffer(), &ignored);
    Buffer<unsigned char> resource;
    if (size == 0 || !tryResize(resource, size + Slack)) return false;
    if (!GetFileVersionInfoW(path.getUCS2Buffer(), /*handle=*/0, size, resource.data())) return false;
    void* found = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(resource.data(), L"\\", &found, &length)) return false;
    if (length < sizeof info || !isWithin(resource, size, found, sizeof info)) return false;
    std::memcpy(&info, found, sizeof info);
    return info.dwSignature == FixedInfoSignature;
}

}  // namespace

bool WindowsFile::getFileVersion(String& version) const {
    version.clear();
    VS_FIXEDFILEINFO info = {};
    if (!readFixedInfo(m_path, info)) return false;
    version = SprintfFormat("%u.%u.%u.%u", HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                            HIWORD(info.dwFileVersionLS), LOWORD(info.dwFileVersionLS));
    return true;
}

}  // namespace zor
