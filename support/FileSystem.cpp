#include "support/FileSystem.h"

#include "support/WindowsApi.h"

namespace zor {

namespace {

bool isSeparator(Char16 unit) noexcept { return unit == '\\' || unit == '/'; }

bool hasDrive(const String& path) noexcept {
    return path.size() >= 2 && path[1] == ':' && ((path[0] | 0x20) >= 'a' && (path[0] | 0x20) <= 'z');
}

bool isShareOrDevice(const String& path) noexcept {
    return path.size() >= 2 && isSeparator(path[0]) && isSeparator(path[1]);
}

unsigned int nextSeparator(const String& path, unsigned int from) noexcept {
    while (from < path.size() && !isSeparator(path[from])) ++from;
    return from;
}

// How much of a path names its drive ("C:") or its server and share ("\\server\share").
unsigned int rootLength(const String& path) noexcept {
    if (hasDrive(path)) return 2;
    if (!isShareOrDevice(path)) return 0;
    const unsigned int server = nextSeparator(path, 2);
    return server == path.size() ? server : nextSeparator(path, server + 1);
}

String joined(const String& path, const String& base) {
    if (hasDrive(path) || isShareOrDevice(path)) return path;
    if (path.empty()) return base;
    if (isSeparator(path[0])) return base.subString(0, rootLength(base)) + path;
    if (base.empty() || isSeparator(base[base.size() - 1])) return base + path;
    return base + "\\" + path;
}

bool isLiteral(const String& path) { return path.find("\\\\?\\") == 0; }

String normalised(const String& path) {
    if (isLiteral(path)) return path;
    const unsigned int length = rootLength(path);
    const bool rooted = length < path.size() && isSeparator(path[length]);
    Array<String> kept;
    for (const String& part : path.subString(length).tokenize("\\/")) {
        if (part == ".") continue;
        if (part != "..") {
            kept.append(part);
        } else if (!kept.empty() && !(kept[kept.size() - 1] == "..")) {
            kept.remove(kept.size() - 1);
        } else if (!rooted) {
            kept.append(part);
        }
    }
    String result = path.subString(0, length);
    for (unsigned int i = 0; i < result.size(); ++i) {
        if (isSeparator(result[i])) result[i] = '\\';
    }
    if (rooted) result += "\\";
    for (unsigned int i = 0; i < kept.size(); ++i) {
        if (i != 0) result += "\\";
        result += kept[i];
    }
    return result;
}

}  // namespace

bool FileSystem::exists(const String& path) noexcept {
    return GetFileAttributesW(path.getUCS2Buffer()) != INVALID_FILE_ATTRIBUTES;
}

String FileSystem::getAbsolutePath(const String& path, const String& base, bool normalise) {
    const String whole = joined(path, base);
    return normalise ? normalised(whole) : whole;
}

}  // namespace zor
