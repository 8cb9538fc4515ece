// What a fuzz target requires of a result.
#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program when `expression` does not hold.
#define FUZZ_CHECK(expression) \
    ((expression) ? void()     \
                  : (std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #expression), std::abort()))
