// A VARIANT that is cleared when it goes.
#pragma once

#include "support/WindowsApi.h"

namespace sysmira {

class ComVariant {
public:
    ComVariant() { VariantInit(&m_value); }
    ~ComVariant() { VariantClear(&m_value); }
    ComVariant(const ComVariant&) = delete;
    ComVariant& operator=(const ComVariant&) = delete;

    VARIANT& get() { return m_value; }
    const VARIANT& get() const { return m_value; }

private:
    VARIANT m_value;
};

}  // namespace sysmira
