// A lock.
#pragma once

#include "support/Export.h"

namespace zor {

/// A critical section: one thread at a time, which may take it more than once.
///
/// Usable between init() and destroy(), which may be repeated as a pair; using it outside is misuse, and so
/// is a second init(). A mutex that is still initialised is destroyed with its object.
class ZOR_API mutex {
public:
    constexpr mutex() noexcept = default;
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;
    ~mutex();

    void init();
    void lock();
    void unlock();
    void destroy();

private:
    // The CRITICAL_SECTION, without its header.
    alignas(8) unsigned char m_section[40] = {};
    bool m_initialised = false;
};

}  // namespace zor
