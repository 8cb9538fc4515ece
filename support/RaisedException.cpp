#include "support/RaisedException.h"

namespace zor {

RaisedException::~RaisedException() = default;

const char* RaisedException::what() const noexcept { return "misuse of the library"; }

void RaiseExceptionImp(unsigned int code, unsigned int /*flags*/, unsigned int /*count*/,
                       const void* /*arguments*/) {
    throw RaisedException(code);
}

}  // namespace zor
