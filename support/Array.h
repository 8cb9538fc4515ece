// An ordered, growable array with 32-bit indices.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "support/AssertionFailure.h"
#include "support/Types.h"

namespace zor {

/// The header of an array's one allocation; the elements follow it.
template <class T>
struct alignas(std::max(alignof(T), alignof(Uint32))) ArrayRep {
    Uint32 size;
    Uint32 capacity;

    T* elements() noexcept { return reinterpret_cast<T*>(this + 1); }
};

/// Elements in one allocation, behind a header of size and capacity.
///
/// An array that was never filled owns no storage. Capacity doubles when it is full; header and elements
/// together stay below 4 GiB, and growth beyond that throws std::bad_array_new_length. Every change that may
/// throw leaves the array as it was. References and iterators live until the storage is replaced or released.
template <class T>
class Array {
    static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);

public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    Array() noexcept = default;
    /// Room for that many elements, none of which exists yet. An impossible capacity is misuse.
    explicit Array(Uint32 initialCapacity) {
        // clang-format off
        ZOR_ASSERT(initialCapacity <= (Uint32(0xffffffffU)-sizeof(ArrayRep<T>))/sizeof(T));
        // clang-format on
        if (initialCapacity != 0) m_rep = allocate(initialCapacity);
    }
    Array(std::initializer_list<T> elements) { appendRange(elements.begin(), elements.size()); }
    Array(const Array& other) { appendRange(other.begin(), other.size()); }
    Array(Array&& other) noexcept : m_rep(std::exchange(other.m_rep, nullptr)) {}
    ~Array() { releaseStorage(); }

    Array& operator=(const Array& other) {
        if (this != &other) Array(other).swap(*this);
        return *this;
    }
    Array& operator=(Array&& other) noexcept {
        if (this != &other) {
            releaseStorage();
            m_rep = std::exchange(other.m_rep, nullptr);
        }
        return *this;
    }

    unsigned int size() const noexcept { return m_rep == nullptr ? 0 : m_rep->size; }
    unsigned int capacity() const noexcept { return m_rep == nullptr ? 0 : m_rep->capacity; }
    bool empty() const noexcept { return size() == 0; }

    /// Checked: an index beyond the end is misuse.
    T& operator[](unsigned int index) {
        ZOR_ASSERT(index < size());
        return m_rep->elements()[index];
    }
    const T& operator[](unsigned int index) const {
        ZOR_ASSERT(index < size());
        return m_rep->elements()[index];
    }

    T* begin() noexcept { return m_rep == nullptr ? nullptr : m_rep->elements(); }
    T* end() noexcept { return m_rep == nullptr ? nullptr : m_rep->elements() + m_rep->size; }
    const T* begin() const noexcept { return m_rep == nullptr ? nullptr : m_rep->elements(); }
    const T* end() const noexcept { return m_rep == nullptr ? nullptr : m_rep->elements() + m_rep->size; }

    /// The element may be one of this array's own.
    void append(const T& element) { emplace(element); }
    void append(T&& element) { emplace(std::move(element)); }
    /// All or nothing; the array may be this one.
    void append(const Array& other) { appendRange(other.begin(), other.size()); }

    /// Takes out the element at `index` (checked) and closes the gap.
    void remove(unsigned int index) {
        ZOR_ASSERT(index < size());
        std::move(begin() + index + 1, end(), begin() + index);
        std::destroy_at(end() - 1);
        --m_rep->size;
    }

    /// Makes room for that many elements in all; never gives room back.
    void reserve(unsigned int count) {
        if (count <= capacity()) return;
        Fresh fresh(count);
        adopt(fresh);
    }

    /// Destroys the elements and keeps the storage.
    void clear() noexcept {
        if (m_rep == nullptr) return;
        std::destroy_n(m_rep->elements(), m_rep->size);
        m_rep->size = 0;
    }
    /// Destroys the elements and gives the storage back.
    void releaseStorage() noexcept {
        clear();
        ::operator delete(m_rep);
        m_rep = nullptr;
    }

    void swap(Array& other) noexcept { std::swap(m_rep, other.m_rep); }

    friend bool operator==(const Array& one, const Array& other) {
        return std::equal(one.begin(), one.end(), other.begin(), other.end());
    }

private:
    static constexpr Uint32 LargestCapacity =
        static_cast<Uint32>((0xFFFFFFFFU - sizeof(ArrayRep<T>)) / sizeof(T));

    // New storage on its way into the array, with the elements that were already made in it: some behind the
    // place of the old ones.
    struct Fresh {
        explicit Fresh(std::size_t count) : rep(allocate(count)) {}
        Fresh(const Fresh&) = delete;
        ~Fresh() {
            if (rep == nullptr) return;
            std::destroy_n(rep->elements() + first, made);
            ::operator delete(rep);
        }
        ArrayRep<T>* rep;
        std::size_t first = 0;
        std::size_t made = 0;
    };

    static ArrayRep<T>* allocate(std::size_t capacity) {
        if (capacity > LargestCapacity) throw std::bad_array_new_length();
        void* storage = ::operator new(sizeof(ArrayRep<T>) + capacity * sizeof(T));
        return new (storage) ArrayRep<T>{0, static_cast<Uint32>(capacity)};
    }

    std::size_t grownCapacity(std::size_t needed) const {
        const std::size_t doubled = std::min<std::size_t>(std::size_t{capacity()} * 2, LargestCapacity);
        return std::max({doubled, needed, std::min<std::size_t>(4, LargestCapacity)});
    }

    // Puts the old elements before the new ones and takes the storage over. Elements whose move may throw are
    // copied, so that the old ones are whole if it does.
    void adopt(Fresh& fresh) {
        const std::size_t old = size();
        if constexpr (std::is_nothrow_move_constructible_v<T> || !std::is_copy_constructible_v<T>) {
            std::uninitialized_move_n(begin(), old, fresh.rep->elements());
        } else {
            std::uninitialized_copy_n(begin(), old, fresh.rep->elements());
        }
        fresh.rep->size = static_cast<Uint32>(old + fresh.made);
        releaseStorage();
        m_rep = std::exchange(fresh.rep, nullptr);
    }

    template <class Argument>
    void emplace(Argument&& element) {
        const std::size_t old = size();
        if (old < capacity()) {
            new (m_rep->elements() + old) T(std::forward<Argument>(element));
            ++m_rep->size;
            return;
        }
        Fresh fresh(grownCapacity(old + 1));
        fresh.first = old;
        new (fresh.rep->elements() + old) T(std::forward<Argument>(element));
        fresh.made = 1;
        adopt(fresh);
    }

    void appendRange(const T* elements, std::size_t count) {
        if (count == 0) return;
        const std::size_t old = size();
        if (count <= capacity() - old) {
            std::uninitialized_copy_n(elements, count, m_rep->elements() + old);
            m_rep->size = static_cast<Uint32>(old + count);
            return;
        }
        Fresh fresh(old == 0 ? count : grownCapacity(old + count));
        fresh.first = old;
        std::uninitialized_copy_n(elements, count, fresh.rep->elements() + old);
        fresh.made = count;
        adopt(fresh);
    }

    ArrayRep<T>* m_rep = nullptr;
};

}  // namespace zor
