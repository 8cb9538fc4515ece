// The help pane of Windows (IHxHelpPane, from Windows Vista on).
#pragma once

#include "libSysmira/Export.h"
#include "support/String.h"

namespace libSysmira {

/// Opens Windows' help pane with the results of searching for a topic, or, for an empty topic, with its
/// contents. The work is done by a thread of its own, which enters COM's multithreaded apartment and leaves
/// it; the call waits for it, so any thread may call. False, with lines of priority 4 on the logger
/// "Sysmira.Vista.HelpPane", when there is no help pane (CoCreateInstance) or it refuses.
SYSMIRA_API bool LaunchVistaHelp(const zor::String& topic);

}  // namespace libSysmira
