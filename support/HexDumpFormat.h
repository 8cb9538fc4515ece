// A hexadecimal dump for log lines and reports.
#pragma once

#include <cstddef>

#include "support/Buffer.h"
#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// Lines of address, bytes in hexadecimal and bytes as text. The bytes are not copied: they must outlive this
/// object.
class ZOR_API HexDumpFormat {
public:
    static constexpr unsigned int DefaultBytesPerLine = 16;

    /// `startAddress` is the address printed for the first byte; `indent` the blanks before each line. 0
    /// bytes per line mean the default; a null pointer means no bytes.
    HexDumpFormat(const void* bytes, std::size_t length, unsigned int bytesPerLine = DefaultBytesPerLine,
                  unsigned long long startAddress = 0, unsigned int indent = 0) noexcept;
    explicit HexDumpFormat(const Buffer<unsigned char>& bytes, unsigned int indent = 0) noexcept;

    /// "00000010: 48 65 6c 6c 6f 00                                 Hello.\n" and so on; nothing when there
    /// are no bytes.
    String toString() const;

private:
    const unsigned char* m_bytes;
    std::size_t m_length;
    unsigned int m_bytesPerLine;
    unsigned int m_indent;
    unsigned long long m_startAddress;
};

}  // namespace zor
