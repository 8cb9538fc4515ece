// What a SharedResource holds: an operating-system handle.
#pragma once

#include <type_traits>

namespace zor {

/// A handle whose "none" is Invalid, released by `Policy::destroy(handle)`, which throws nothing.
template <class Handle, long long Invalid, class Policy>
struct DescriptorStorage {
    using Resource = Handle;
    static constexpr bool PointsToObject = false;

    static Handle invalidValue() noexcept {
        if constexpr (std::is_pointer_v<Handle>) {
            return reinterpret_cast<Handle>(Invalid);
        } else {
            return static_cast<Handle>(Invalid);
        }
    }
    static void destroy(Handle handle) noexcept { Policy::destroy(handle); }
};

}  // namespace zor
