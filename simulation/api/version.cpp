// Version resources: blocks as Windows lays them out (length, value length, type, key, padding, value).
#include <algorithm>
#include <cstring>
#include <map>

#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

constexpr char16_t rootKey[] = u"VS_VERSION_INFO";
constexpr size_t headerBytes = 3 * sizeof(WORD);
// The value begins at the next multiple of four behind the key.
constexpr size_t valueOffset = (headerBytes + sizeof rootKey + 3) / 4 * 4;

Bytes versionBlock(ULONGLONG version) {
    VS_FIXEDFILEINFO info = {};
    info.dwSignature = VS_FFI_SIGNATURE;
    info.dwStrucVersion = VS_FFI_STRUCVERSION;
    info.dwFileVersionMS = static_cast<DWORD>(version >> 32);
    info.dwFileVersionLS = static_cast<DWORD>(version);
    info.dwProductVersionMS = info.dwFileVersionMS;
    info.dwProductVersionLS = info.dwFileVersionLS;
    Bytes block(valueOffset + sizeof info);
    const WORD header[3] = {static_cast<WORD>(block.size()), sizeof info, 0};
    std::memcpy(block.data(), header, sizeof header);
    std::memcpy(block.data() + headerBytes, rootKey, sizeof rootKey);
    std::memcpy(block.data() + valueOffset, &info, sizeof info);
    // Windows adds room for converted texts (Wine's test of GetFileVersionInfoSize, run on Windows).
    block.resize(block.size() * 2 + 4);
    return block;
}

// How many bytes stand at an address that GetFileVersionInfoW filled: VerQueryValueW is told an address
// alone.
std::map<const void*, size_t>& filledBlocks() {
    static std::map<const void*, size_t> blocks;
    static const AtReset atReset([] { blocks.clear(); });
    return blocks;
}

// Empty when the file has no version resource.
Bytes blockOf(LPCWSTR path) {
    const auto found = machine().files.find(fromWide(path));
    if (found == machine().files.end()) return {};
    if (found->second.versionBlock) return *found->second.versionBlock;
    return found->second.version ? versionBlock(*found->second.version) : Bytes();
}

const std::vector<long long> versionCodes = {ERROR_FILE_NOT_FOUND, ERROR_RESOURCE_TYPE_NOT_FOUND,
                                             ERROR_RESOURCE_DATA_NOT_FOUND, ERROR_ACCESS_DENIED};

// A file that is no image has no resources at all.
DWORD missing(LPCWSTR path) {
    const auto found = machine().files.find(fromWide(path));
    if (found == machine().files.end()) return ERROR_FILE_NOT_FOUND;
    return found->second.image ? ERROR_RESOURCE_TYPE_NOT_FOUND : ERROR_RESOURCE_DATA_NOT_FOUND;
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED_PLAIN(DWORD, WINAPI, GetFileVersionInfoSizeW, (LPCWSTR path, LPDWORD unused)) {
    static const Function function{"GetFileVersionInfoSizeW", Fails::WithZero, versionCodes,
                                   0u | Distortion::SizeTooLarge};
    Call call(function, path);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    if (unused != nullptr) *unused = 0;
    const Bytes block = blockOf(path);
    if (block.empty()) return call.fails<DWORD>(missing(path));
    SetLastError(ERROR_SUCCESS);
    if (call.distorted(Distortion::SizeTooLarge)) return call.returns<DWORD>(0xFFFFFFF0u);
    return call.returns(static_cast<DWORD>(block.size()));
}

SIMULATED_PLAIN(BOOL, WINAPI, GetFileVersionInfoW, (LPCWSTR path, DWORD, DWORD size, LPVOID data)) {
    static const Function function{"GetFileVersionInfoW", Fails::WithZero, versionCodes,
                                   0u | Distortion::NothingWritten};
    Call call(function, path, size);
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const Bytes block = blockOf(path);
    if (block.empty()) return call.fails<BOOL>(missing(path));
    if (data == nullptr) return call.fails<BOOL>(ERROR_INVALID_DATA);
    filledBlocks()[data] = size;
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    // What does not fit is cut off without a word.
    std::memcpy(data, block.data(), std::min<size_t>(size, block.size()));
    return call.returns<BOOL>(TRUE);
}

SIMULATED_PLAIN(BOOL, WINAPI, VerQueryValueW, (LPCVOID data, LPCWSTR name, LPVOID* value, PUINT length)) {
    static const Function function{
        "VerQueryValueW",
        Fails::WithZero,
        {ERROR_RESOURCE_TYPE_NOT_FOUND},
        Distortion::NothingWritten | Distortion::SizeZero | Distortion::NullResult};
    Call call(function, name);
    // A value that is not there has no length.
    if (length != nullptr && !call.distorted(Distortion::NothingWritten)) *length = 0;
    if (const auto fault = call.fault<BOOL>()) return *fault;
    const Text wanted = fromWide(name);
    if (data == nullptr || value == nullptr || length == nullptr || (!wanted.empty() && wanted != u"\\")) {
        return call.fails<BOOL>(ERROR_RESOURCE_TYPE_NOT_FOUND);
    }
    if (call.distorted(Distortion::NothingWritten)) return call.returns<BOOL>(TRUE);
    // A block may end before its header says, or have none; one from elsewhere is taken at its word.
    const auto* const block = static_cast<const unsigned char*>(data);
    const auto filled = filledBlocks().find(data);
    const size_t room = filled == filledBlocks().end() ? 0xFFFF : filled->second;
    WORD header[3] = {};
    if (room >= sizeof header) std::memcpy(header, block, sizeof header);
    const size_t end = std::min<size_t>(header[0], room);
    if (end < valueOffset || end - valueOffset < header[1]) {
        return call.fails<BOOL>(ERROR_RESOURCE_TYPE_NOT_FOUND);
    }
    *value =
        call.distorted(Distortion::NullResult) ? nullptr : const_cast<unsigned char*>(block + valueOffset);
    *length = call.distorted(Distortion::SizeZero) ? 0 : header[1];
    return call.returns<BOOL>(TRUE);
}
