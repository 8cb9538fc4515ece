// Replaces the program's allocation functions by ones that can be made to fail.

#include <cstdlib>
#include <new>

#include "simulation/control/Call.h"
#include "tests/sweep/Sweep.h"

namespace {

thread_local unsigned theCountdown = 0;  // 0: disarmed
thread_local bool theFailureHappened = false;

void* allocate(std::size_t size) noexcept {
    if (theCountdown != 0 && !simulation::Call::running() && --theCountdown == 0) {
        theFailureHappened = true;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace sweep {

void failAllocation(unsigned nth) {
    theFailureHappened = false;
    theCountdown = nth;
}

bool disarmAllocations() {
    theCountdown = 0;
    return theFailureHappened;
}

}  // namespace sweep
