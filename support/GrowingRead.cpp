#include "support/GrowingRead.h"

#include <exception>

namespace zor {

bool tryResize(Buffer<unsigned char>& bytes, std::size_t count) noexcept {
    if (count > LargestRead) return false;
    try {
        bytes.resize(count);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace zor
