// How a zor::CopiedResource holds a COM interface pointer.
#pragma once

namespace libSysmira {

/// A copy is a reference more (AddRef), and every holder gives its own back (Release). Use holders only while
/// COM is initialised on the thread.
template <class Interface>
struct ComStoragePolicy {
    using Resource = Interface*;
    static inline Interface* const invalid = nullptr;

    static Interface* copy(Interface* pointer) noexcept {
        pointer->AddRef();
        return pointer;
    }
    static void destroy(Interface* pointer) noexcept { pointer->Release(); }
};

}  // namespace libSysmira
