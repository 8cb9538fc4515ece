// Notices that a chain of device nodes leads back to where it was (Brent's method): it remembers one node,
// and takes a later one each time twice as many steps are done. So it notices after the whole circle was
// seen, some nodes perhaps several times.
#pragma once

#include <cstddef>

#include "support/WindowsApi.h"

namespace libSysmira {

class CircleDetector {
public:
    explicit CircleDetector(DEVINST start) : m_mark(start) {}

    /// Told each next node of the chain; true when it is one of before.
    bool closesAt(DEVINST node) {
        if (node == m_mark) return node != 0;
        if (++m_steps == m_limit) {
            m_mark = node;
            m_limit *= 2;
            m_steps = 0;
        }
        return false;
    }

private:
    DEVINST m_mark;
    std::size_t m_steps = 0;
    std::size_t m_limit = 1;
};

}  // namespace libSysmira
