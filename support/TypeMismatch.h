// A variant value was read as another type than it holds.
#pragma once

#include "support/Exception.h"
#include "support/Export.h"

namespace zor {

class ZOR_API TypeMismatch : public Exception {
public:
    /// The names of the type that was asked for and of the one that is there.
    TypeMismatch(const char* asked, const char* found);
    TypeMismatch(const TypeMismatch&) noexcept = default;
    TypeMismatch& operator=(const TypeMismatch&) noexcept = default;
    ~TypeMismatch() override;
};

}  // namespace zor
