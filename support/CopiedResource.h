// A holder of one resource that counts its own holders.
#pragma once

#include <utility>

namespace zor {

/// Copying a holder copies the resource as its policy does (for a COM pointer: one reference more), and each
/// holder gives its own copy back. A holder made from a raw resource takes it over as it is.
///
/// The policy has `Resource`, `invalid` (the value of "none"), `copy(resource)` and `destroy(resource)`,
/// which throws nothing. Holders are as safe among threads as the policy's resource.
template <class Policy>
class CopiedResource {
public:
    using Resource = typename Policy::Resource;

    CopiedResource() noexcept = default;
    explicit CopiedResource(Resource resource) noexcept : m_resource(resource) {}
    CopiedResource(const CopiedResource& other) : m_resource(copyOf(other.m_resource)) {}
    CopiedResource(CopiedResource&& other) noexcept
        : m_resource(std::exchange(other.m_resource, Policy::invalid)) {}
    ~CopiedResource() { destroy(m_resource); }

    /// Takes the new resource before it gives the old one back.
    CopiedResource& operator=(const CopiedResource& other) {
        if (this != &other) destroy(std::exchange(m_resource, copyOf(other.m_resource)));
        return *this;
    }
    CopiedResource& operator=(CopiedResource&& other) noexcept {
        if (this != &other)
            destroy(std::exchange(m_resource, std::exchange(other.m_resource, Policy::invalid)));
        return *this;
    }

    bool isValid() const noexcept { return m_resource != Policy::invalid; }
    /// The resource stays this holder's.
    Resource get() const noexcept { return m_resource; }

private:
    static Resource copyOf(Resource resource) {
        return resource == Policy::invalid ? resource : Policy::copy(resource);
    }
    static void destroy(Resource resource) noexcept {
        if (resource != Policy::invalid) Policy::destroy(resource);
    }

    Resource m_resource = Policy::invalid;
};

}  // namespace zor
