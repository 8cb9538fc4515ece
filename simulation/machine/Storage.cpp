#include "simulation/machine/Storage.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace simulation {

namespace {

// How Windows' name space knows a path: without "\\.\" or "\\?\", without the backslash at its end.
Text keyOf(std::u16string_view path) {
    if (path.substr(0, 4) == u"\\\\.\\" || path.substr(0, 4) == u"\\\\?\\") path.remove_prefix(4);
    if (!path.empty() && path.back() == u'\\') path.remove_suffix(1);
    return upper(path);
}

// Sets the bits [first, end), counted from the beginning of `out`.
void setBits(unsigned char* out, ULONGLONG first, ULONGLONG end) {
    for (; first < end && first % 8 != 0; ++first)
        out[first / 8] = static_cast<unsigned char>(out[first / 8] | 1u << first % 8);
    if (end > first) {
        std::memset(out + first / 8, 0xFF, static_cast<size_t>((end - first) / 8));
        first += (end - first) / 8 * 8;
    }
    for (; first < end; ++first)
        out[first / 8] = static_cast<unsigned char>(out[first / 8] | 1u << first % 8);
}

// Which stretches are used: more of them at the beginning, as on volumes that are filled from there, and
// `percent` of all.
bool isUsed(ULONGLONG stretch, ULONGLONG stretches, unsigned percent) {
    const auto all = static_cast<LONGLONG>(stretches);
    const LONGLONG slope = std::min(percent, 100 - percent);
    const LONGLONG share = percent + slope * (all - 1 - 2 * static_cast<LONGLONG>(stretch)) / all;
    const auto scattered = static_cast<LONGLONG>((stretch * 0x9E3779B97F4A7C15ull) >> 57);  // 0 to 127
    return scattered * 100 < share * 128;
}

// The bit of the letter that such a path as "C:\" stands for; 0 for other paths.
DWORD letterOf(std::u16string_view path) {
    if (path.size() != 3 || path.substr(1) != u":\\") return 0;
    const char16_t letter = upper(path[0]);
    return letter >= u'A' && letter <= u'Z' ? 1u << (letter - u'A') : 0;
}

}  // namespace

void fillBitmap(const Volume& volume, ULONGLONG first, unsigned char* out, size_t bytes) {
    constexpr ULONGLONG StretchClusters = 4096;
    const ULONGLONG stretches = (volume.clusters + StretchClusters - 1) / StretchClusters;
    const unsigned percent = std::min(volume.usedPercent, 100u);
    // Each byte is written once, as bitmaps are large.
    for (size_t done = 0; done < bytes;) {
        const ULONGLONG cluster = first + done * 8ull;
        const ULONGLONG stretch = cluster / StretchClusters;
        const ULONGLONG rest = percent == 0 ? bytes - done : ((stretch + 1) * StretchClusters - cluster) / 8;
        const auto size = static_cast<size_t>(std::min<ULONGLONG>(bytes - done, rest));
        const bool used = percent != 0 && stretch < stretches && isUsed(stretch, stretches, percent);
        std::memset(out + done, used ? 0xFF : 0, size);
        done += size;
    }
    const ULONGLONG end = std::max(first, std::min(volume.clusters, first + bytes * 8ull));
    for (const ClusterRun& run : volume.used) {
        const ULONGLONG from = std::max(run.first, first);
        const ULONGLONG to = std::min(run.first + std::min(run.count, ~0ull - run.first), end);
        if (from < to) setBits(out, from - first, to - first);
    }
    // The last cluster's byte ends with zeros.
    auto behind = static_cast<size_t>((end - first) / 8);
    if (end % 8 != 0 && behind < bytes) {
        out[behind] = static_cast<unsigned char>(out[behind] & ((1u << end % 8) - 1));
        ++behind;
    }
    std::memset(out + behind, 0, bytes - behind);
}

Disk& Storage::add(Disk disk) {
    const Place place{true, m_disks.size()};
    for (const Text& path : disk.paths) know(path, place);
    m_disks.push_back(std::move(disk));
    return m_disks.back();
}

Volume& Storage::add(Volume volume) {
    const Place place{false, m_volumes.size()};
    if (!volume.name.empty()) know(volume.name, place);
    for (const Text& path : volume.paths) know(path, place);
    for (const Text& path : volume.mountPoints) {
        know(path, place);
        m_volumeLetters |= letterOf(path);
    }
    m_volumes.push_back(std::move(volume));
    return m_volumes.back();
}

void Storage::know(const Text& path, Place place) {
    const auto [known, isNew] = m_places.emplace(keyOf(path), place);
    if (!isNew) throw std::invalid_argument("the path stands already: " + toUtf8(path));
}

const Storage::Place* Storage::find(std::u16string_view path) const {
    const auto found = m_places.find(keyOf(path));
    return found == m_places.end() ? nullptr : &found->second;
}

Disk* Storage::disk(std::u16string_view path) {
    const Place* const place = find(path);
    return place != nullptr && place->isDisk ? &m_disks[place->index] : nullptr;
}

Volume* Storage::volume(std::u16string_view path) {
    const Place* const place = find(path);
    return place != nullptr && !place->isDisk ? &m_volumes[place->index] : nullptr;
}

DWORD Storage::letters() const {
    DWORD letters = m_volumeLetters;
    for (const char letter : networkLetters + otherLetters)
        letters |= letterOf(Text(1, static_cast<char16_t>(letter)) + u":\\");
    return letters;
}

Volume* Storage::mounted(std::u16string_view mountPoint) {
    Volume* const found = volume(mountPoint);
    return found != nullptr && !found->name.empty() ? found : nullptr;
}

}  // namespace simulation
