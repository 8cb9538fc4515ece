// What the readers of an EDID's blocks have in common.
#pragma once

#include <cstdio>
#include <string>

#include "tools/sysmira/displays/Edid.h"

namespace sysmira {

constexpr std::size_t edidBlockBytes = 128;

/// Bytes whose end is known; those beyond it read as 0.
class EdidBytes {
public:
    EdidBytes(const unsigned char* data, std::size_t size) : m_data(data), m_size(size) {}

    std::size_t size() const { return m_size; }
    unsigned operator[](std::size_t index) const { return index < m_size ? m_data[index] : 0; }
    /// Two or more bytes, the least significant first.
    unsigned little(std::size_t index, std::size_t count) const {
        unsigned value = 0;
        for (std::size_t i = count; i-- > 0;) value = value << 8 | (*this)[index + i];
        return value;
    }
    /// As much of it as there is.
    EdidBytes part(std::size_t index, std::size_t count) const {
        const std::size_t start = index < m_size ? index : m_size;
        return {m_data + start, count < m_size - start ? count : m_size - start};
    }

private:
    const unsigned char* m_data;
    std::size_t m_size;
};

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[160];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// The timing of the 18 bytes of a detailed timing descriptor.
EdidTiming readDetailedTiming(const EdidBytes& bytes);
/// A mode by its width, height and nominal rate.
EdidTiming nominalTiming(unsigned width, unsigned height, unsigned refreshHz, bool interlaced = false);
/// The video format with that number.
EdidVideoFormat videoFormatOf(unsigned number);

/// Fill `block` from its 128 bytes; what does not fit joins `problems`, each sentence beginning with `place`.
void readCtaBlock(const EdidBytes& bytes, const std::string& place, EdidBlock& block,
                  std::vector<std::string>& problems);
void readDisplayIdBlock(const EdidBytes& bytes, const std::string& place, EdidBlock& block,
                        std::vector<std::string>& problems);

}  // namespace sysmira
