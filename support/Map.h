// A hash map.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "support/HashFunc.h"

namespace zor {

/// Buckets of linked entries over a table whose length is a power of two and at least the number of entries.
///
/// A pointer that lookup gave stays valid until its key is removed or the map is cleared or destroyed. A map
/// that was never filled owns no storage.
template <class Key, class Value>
class Map {
public:
    Map() noexcept = default;
    Map(const Map& other) {
        if (other.m_size == 0) return;
        Map copy;
        copy.rehash(other.m_mask + 1);
        other.forEach([&](const Key& key, const Value& value) { copy.insert(key, value); });
        swap(copy);
    }
    Map(Map&& other) noexcept { swap(other); }
    Map& operator=(const Map& other) {
        if (this != &other) Map(other).swap(*this);
        return *this;
    }
    Map& operator=(Map&& other) noexcept {
        if (this != &other) Map(std::move(other)).swap(*this);
        return *this;
    }
    ~Map() { clear(); }

    unsigned int size() const noexcept { return static_cast<unsigned int>(m_size); }
    bool empty() const noexcept { return m_size == 0; }

    /// The value of `key`, or null.
    Value* lookup(const Key& key) {
        Entry* entry = m_size == 0 ? nullptr : *place(key, HashFunc<Key>::hash(key));
        return entry == nullptr ? nullptr : &entry->value;
    }
    const Value* lookup(const Key& key) const { return const_cast<Map*>(this)->lookup(key); }

    /// Gives `key` that value, in place of an earlier one; true when the key is new. When it throws, the map
    /// is as it was, unless Value's own assignment failed half-way.
    bool insert(const Key& key, Value value) {
        const std::size_t hash = HashFunc<Key>::hash(key);
        if (m_buckets != nullptr) {
            if (Entry* entry = *place(key, hash)) {
                entry->value = std::move(value);
                return false;
            }
        }
        std::unique_ptr<Entry> entry(new Entry{nullptr, hash, key, std::move(value)});
        if (m_buckets == nullptr || m_size > m_mask) rehash(m_buckets == nullptr ? 8 : (m_mask + 1) * 2);
        Entry*& first = m_buckets[hash & m_mask];
        entry->next = first;
        first = entry.release();
        ++m_size;
        return true;
    }

    /// True when the key was there.
    bool remove(const Key& key) {
        if (m_size == 0) return false;
        Entry** link = place(key, HashFunc<Key>::hash(key));
        if (*link == nullptr) return false;
        std::unique_ptr<Entry> entry(*link);
        *link = entry->next;
        --m_size;
        return true;
    }

    void clear() noexcept {
        for (std::size_t i = 0; m_size != 0 && i <= m_mask; ++i) {
            while (Entry* entry = m_buckets[i]) {
                m_buckets[i] = entry->next;
                delete entry;
                --m_size;
            }
        }
    }

    /// Calls `visit(key, value)` for each entry, in no particular order; it must not change the map.
    template <class Visit>
    void forEach(Visit&& visit) const {
        for (std::size_t i = 0; m_size != 0 && i <= m_mask; ++i) {
            for (const Entry* entry = m_buckets[i]; entry != nullptr; entry = entry->next) {
                visit(entry->key, entry->value);
            }
        }
    }

    void swap(Map& other) noexcept {
        std::swap(m_buckets, other.m_buckets);
        std::swap(m_mask, other.m_mask);
        std::swap(m_size, other.m_size);
    }

private:
    struct Entry {
        Entry* next;
        std::size_t hash;
        Key key;
        Value value;
    };

    // The link that leads to the key's entry, or the null link where its bucket ends.
    Entry** place(const Key& key, std::size_t hash) {
        Entry** link = &m_buckets[hash & m_mask];
        while (*link != nullptr && !((*link)->hash == hash && (*link)->key == key)) link = &(*link)->next;
        return link;
    }

    void rehash(std::size_t length) {
        std::unique_ptr<Entry*[]> buckets(new Entry*[length]());
        for (std::size_t i = 0; m_size != 0 && i <= m_mask; ++i) {
            while (Entry* entry = m_buckets[i]) {
                m_buckets[i] = entry->next;
                Entry*& first = buckets[entry->hash & (length - 1)];
                entry->next = first;
                first = entry;
            }
        }
        m_buckets = std::move(buckets);
        m_mask = length - 1;
    }

    std::unique_ptr<Entry*[]> m_buckets;
    std::size_t m_mask = 0;
    std::size_t m_size = 0;
};

}  // namespace zor
