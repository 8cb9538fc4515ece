// The bytes of a classic event log's records. Whatever stands in them, nothing beyond the record is read, and
// nothing beyond the bytes that are there.
#pragma once

#include <cstddef>
#include <cstring>
#include <utility>

#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

/// The length in bytes of the record that begins at `bytes`, of which `left` are there; 0 when no record can
/// be taken: its length is shorter than the fixed part, goes beyond what is there, or is no whole number of
/// 32-bit units, so that nobody knows where the next record begins.
inline DWORD recordLength(const unsigned char* bytes, std::size_t left) noexcept {
    if (left < sizeof(EVENTLOGRECORD)) return 0;
    DWORD length = 0;
    std::memcpy(&length, bytes + offsetof(EVENTLOGRECORD, Length), sizeof length);
    return length >= sizeof(EVENTLOGRECORD) && length <= left && length % sizeof(DWORD) == 0 ? length : 0;
}

/// A text inside a record, at any address: `units` code units, and a NUL behind them when it is terminated.
struct RecordText {
    const unsigned char* bytes = nullptr;
    unsigned int units = 0;
    bool terminated = false;

    zor::String toString() const;
};

/// One record, which its owner keeps: `left` bytes from its beginning are there. A length that
/// recordLength refuses leaves the fixed part alone, which must be there.
class EventRecord {
public:
    EventRecord(const unsigned char* bytes, std::size_t left) noexcept
        : m_bytes(bytes), m_length(recordLength(bytes, left)) {
        if (m_length == 0) m_length = sizeof(EVENTLOGRECORD);
    }

    const EVENTLOGRECORD& fixed() const noexcept { return *reinterpret_cast<const EVENTLOGRECORD*>(m_bytes); }
    WORD code() const noexcept { return static_cast<WORD>(fixed().EventID); }
    std::size_t length() const noexcept { return m_length; }

    /// The name behind the fixed part; cut off at the record's end.
    RecordText source() const noexcept { return textAt(sizeof(EVENTLOGRECORD)); }
    /// Whether source() is this name.
    bool hasSource(const zor::String& name) const noexcept;

    /// Calls visit(const RecordText&) for the insertion strings in order: as many as the record announces, or
    /// fewer when one does not end inside the record, and none at an odd offset, which is damage.
    template <class Visit>
    void forEachString(Visit&& visit) const {
        std::size_t offset = fixed().StringOffset;
        if (offset % sizeof(WCHAR) != 0) return;
        for (unsigned int i = 0; i < fixed().NumStrings; ++i) {
            const RecordText text = textAt(offset);
            if (!text.terminated) return;
            visit(text);
            offset += (std::size_t{text.units} + 1) * sizeof(WCHAR);
        }
    }

private:
    RecordText textAt(std::size_t offset) const noexcept;

    const unsigned char* m_bytes;
    std::size_t m_length;
};

}  // namespace libSysmira
