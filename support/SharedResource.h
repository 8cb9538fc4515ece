// A reference-counted holder of one resource.
#pragma once

#include <atomic>
#include <memory>
#include <type_traits>
#include <utility>

#include "support/AssertionFailure.h"
#include "support/LastErrorKeeper.h"

namespace zor {

/// Copies share one resource, and the last one releases it; releasing keeps the thread's last error.
///
/// Storage says what the resource is, which value means "none", and how it is released: DescriptorStorage,
/// PointerStorage. With Counting 1 the count changes atomically, so that copies may be made and released on
/// different threads at once; with 0 all copies stay on one thread, or the caller guards them. One holder
/// object is never used by two threads at once. A holder of nothing owns no memory.
template <class Storage, int Counting>
class SharedResource {
    static_assert(Counting == 0 || Counting == 1);

    static constexpr bool pointsToObject =
        std::is_pointer_v<typename Storage::Resource> && Storage::PointsToObject;

public:
    using Resource = typename Storage::Resource;

    SharedResource() noexcept = default;
    /// Adopts the resource: when the memory for its count lacks, the resource is released before
    /// std::bad_alloc leaves. The invalid value makes a holder of nothing.
    explicit SharedResource(Resource resource) {
        if (resource == invalidValue()) return;
        m_share = new (std::nothrow) Share{resource};
        if (m_share != nullptr) return;
        destroy(resource);
        throw std::bad_alloc();
    }
    SharedResource(const SharedResource& other) noexcept : m_share(other.m_share) {
        if (m_share == nullptr) return;
        if constexpr (Counting == 1) {
            m_share->count.fetch_add(1, std::memory_order_relaxed);
        } else {
            ++m_share->count;
        }
    }
    SharedResource(SharedResource&& other) noexcept : m_share(std::exchange(other.m_share, nullptr)) {}
    SharedResource& operator=(SharedResource other) noexcept {
        std::swap(m_share, other.m_share);
        return *this;
    }
    ~SharedResource() { release(); }

    static Resource invalidValue() noexcept { return Storage::invalidValue(); }

    bool isValid() const noexcept { return m_share != nullptr; }
    /// The resource, which stays the holder's; the invalid value when there is none.
    Resource get() const noexcept { return m_share == nullptr ? invalidValue() : m_share->resource; }

    /// Gives up this share; the holder holds nothing then.
    void release() noexcept {
        Share* share = std::exchange(m_share, nullptr);
        if (share == nullptr || !isLast(*share)) return;
        const Resource resource = share->resource;
        delete share;
        destroy(resource);
    }

    /// For pointers; an empty holder is misuse.
    Resource operator->() const requires pointsToObject {
        ZOR_ASSERT(isValid());
        return m_share->resource;
    }
    std::add_lvalue_reference_t<std::remove_pointer_t<Resource>> operator*() const requires pointsToObject {
        ZOR_ASSERT(isValid());
        return *m_share->resource;
    }

private:
    struct Share {
        Resource resource;
        std::conditional_t<Counting == 1, std::atomic<unsigned int>, unsigned int> count{1};
    };

    static bool isLast(Share& share) noexcept {
        if constexpr (Counting == 1) {
            return share.count.fetch_sub(1, std::memory_order_acq_rel) == 1;
        } else {
            return --share.count == 0;
        }
    }
    static void destroy(Resource resource) noexcept {
        const LastErrorKeeper keeper;
        Storage::destroy(resource);
    }

    Share* m_share = nullptr;
};

}  // namespace zor
