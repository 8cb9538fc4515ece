#include "support/TypeMismatch.h"

namespace zor {

TypeMismatch::TypeMismatch(const char* asked, const char* found)
    : Exception(String("a value of type ") + found + " was read as " + asked) {}

TypeMismatch::~TypeMismatch() = default;

}  // namespace zor
