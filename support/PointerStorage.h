// What a SharedResource holds: an object on the heap.
#pragma once

namespace zor {

/// An object made by `new`. Release 3 means that the last holder deletes it, the only way there is; null is
/// the only "none".
template <class T, long long Invalid, int Release>
struct PointerStorage {
    static_assert(Invalid == 0 && Release == 3);

    using Resource = T*;
    static constexpr bool PointsToObject = true;

    static T* invalidValue() noexcept { return nullptr; }
    static void destroy(T* object) noexcept { delete object; }
};

}  // namespace zor
