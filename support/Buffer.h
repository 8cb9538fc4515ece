// A contiguous, resizable block of plain values: raw bytes, argument arrays.
#pragma once

#include <cstddef>
#include <type_traits>
#include <vector>

#include "support/AssertionFailure.h"

namespace zor {

/// Values of a trivially copyable type, one behind the other.
template <class T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool>);

public:
    Buffer() noexcept = default;
    /// That many zeroes.
    explicit Buffer(std::size_t count) : m_values(count) {}

    std::size_t size() const noexcept { return m_values.size(); }
    bool empty() const noexcept { return m_values.empty(); }
    /// Valid until the size changes; may be null when the buffer is empty.
    T* data() noexcept { return m_values.data(); }
    const T* data() const noexcept { return m_values.data(); }

    /// Keeps what fits; what comes in new is zero. When memory lacks (std::bad_alloc or std::length_error)
    /// the buffer stays as it was; tryResize of GrowingRead.h answers with false instead.
    void resize(std::size_t count) { m_values.resize(count); }
    void clear() noexcept { m_values.clear(); }
    /// Copies `count` values; a null pointer empties the buffer. The values may be this buffer's own.
    void assign(const T* values, std::size_t count) {
        if (values == nullptr) count = 0;
        std::vector<T>(values, values + count).swap(m_values);
    }

    /// Checked: an index beyond the end is misuse.
    T& operator[](std::size_t index) {
        ZOR_ASSERT(index < size());
        return m_values[index];
    }
    const T& operator[](std::size_t index) const {
        ZOR_ASSERT(index < size());
        return m_values[index];
    }

    friend bool operator==(const Buffer&, const Buffer&) = default;

private:
    std::vector<T> m_values;
};

}  // namespace zor
