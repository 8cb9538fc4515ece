#include "support/HexDumpFormat.h"

#include <algorithm>

#include "support/SprintfFormat.h"

namespace zor {

namespace {

constexpr char HexDigits[] = "0123456789abcdef";

void appendLine(String& dump, const unsigned char* bytes, std::size_t count, std::size_t columns) {
    for (std::size_t i = 0; i < columns; ++i) {
        if (i < count) {
            dump.append(' ').append(HexDigits[bytes[i] >> 4]).append(HexDigits[bytes[i] & 15]);
        } else {
            dump.append("   ");
        }
    }
    dump.append("  ");
    for (std::size_t i = 0; i < count; ++i) {
        dump.append(bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<Char16>(bytes[i]) : Char16('.'));
    }
    dump.append("\n");
}

}  // namespace

HexDumpFormat::HexDumpFormat(const void* bytes, std::size_t length, unsigned int bytesPerLine,
                             unsigned long long startAddress, unsigned int indent) noexcept
    : m_bytes(static_cast<const unsigned char*>(bytes)),
      m_length(bytes == nullptr ? 0 : length),
      m_bytesPerLine(bytesPerLine == 0 ? DefaultBytesPerLine : bytesPerLine),
      m_indent(indent),
      m_startAddress(startAddress) {}

HexDumpFormat::HexDumpFormat(const Buffer<unsigned char>& bytes, unsigned int indent) noexcept
    : HexDumpFormat(bytes.data(), bytes.size(), DefaultBytesPerLine, /*startAddress=*/0, indent) {}

String HexDumpFormat::toString() const {
    const String margin = String::repeat(' ', m_indent);
    // A single short line is not filled up.
    const std::size_t columns =
        std::min<std::size_t>(m_bytesPerLine, std::max<std::size_t>(m_length, DefaultBytesPerLine));
    String dump;
    for (std::size_t done = 0; done < m_length;) {
        const std::size_t count = std::min<std::size_t>(m_bytesPerLine, m_length - done);
        dump += margin + SprintfFormat("%08x:", m_startAddress + done);
        appendLine(dump, m_bytes + done, count, columns);
        done += count;
    }
    return dump;
}

}  // namespace zor
