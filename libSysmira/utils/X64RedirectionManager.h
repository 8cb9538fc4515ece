// The switch for file-system redirection that 32-bit programs need on 64-bit Windows.
#pragma once

#include "libSysmira/Export.h"

namespace libSysmira {

/// There is nothing to switch in a 64-bit process: the operations are here so that callers built for both
/// word sizes share one interface. No state; any thread.
class SYSMIRA_API X64RedirectionManager {
public:
    X64RedirectionManager();
    ~X64RedirectionManager();

    bool disableRedirection();    ///< true; does nothing
    bool restoreRedirection();    ///< true; does nothing
    bool isWow64Process() const;  ///< false
};

}  // namespace libSysmira
