#include "support/mutex.h"

#include "support/AssertionFailure.h"
#include "support/WindowsApi.h"

namespace zor {

namespace {

CRITICAL_SECTION* section(unsigned char* storage) noexcept {
    static_assert(sizeof(CRITICAL_SECTION) <= 40 && alignof(CRITICAL_SECTION) <= 8);
    return reinterpret_cast<CRITICAL_SECTION*>(storage);
}

}  // namespace

mutex::~mutex() {
    if (m_initialised) DeleteCriticalSection(section(m_section));
}

void mutex::init() {
    ZOR_ASSERT(!m_initialised);
    InitializeCriticalSection(section(m_section));
    m_initialised = true;
}

void mutex::lock() {
    ZOR_ASSERT(m_initialised);
    EnterCriticalSection(section(m_section));
}

void mutex::unlock() {
    ZOR_ASSERT(m_initialised);
    LeaveCriticalSection(section(m_section));
}

void mutex::destroy() {
    ZOR_ASSERT(m_initialised);
    m_initialised = false;
    DeleteCriticalSection(section(m_section));
}

}  // namespace zor
