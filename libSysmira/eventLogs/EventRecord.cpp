#include "libSysmira/eventLogs/EventRecord.h"

#include "support/MultiString.h"

namespace libSysmira {

zor::String RecordText::toString() const { return zor::textFromBytes(bytes, units * sizeof(WCHAR)); }

bool EventRecord::hasSource(const zor::String& name) const noexcept {
    const std::size_t size = name.size() * sizeof(WCHAR), left = m_length - sizeof(EVENTLOGRECORD);
    const unsigned char* const begin = m_bytes + sizeof(EVENTLOGRECORD);
    if (size > left || std::memcmp(begin, name.getUCS2Buffer(), size) != 0) return false;
    const RecordText found = source();
    return found.units == name.size();
}

RecordText EventRecord::textAt(std::size_t offset) const noexcept {
    if (offset >= m_length) return {m_bytes + m_length, 0, false};
    const unsigned char* const begin = m_bytes + offset;
    const std::size_t most = (m_length - offset) / sizeof(WCHAR);
    for (std::size_t i = 0; i < most; ++i) {
        const unsigned char* const unit = begin + i * sizeof(WCHAR);
        if (unit[0] == 0 && unit[1] == 0) return {begin, static_cast<unsigned int>(i), true};
    }
    return {begin, static_cast<unsigned int>(most), false};
}

}  // namespace libSysmira
