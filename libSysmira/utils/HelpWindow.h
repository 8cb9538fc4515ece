// Compiled HTML help in its window.
#pragma once

#include "libSysmira/Export.h"
#include "support/String.h"

namespace libSysmira {

/// Opens a help file (.chm) at a topic of it, or, with an empty topic, at its beginning, before the window
/// that the user works with (HtmlHelpW, ordinal 15 of the HTML Help engine). False when no window was opened.
///
/// The engine is the DLL that the registry names for its class, or hhctrl.ocx of the system folder. It is
/// loaded by the first call and kept as long as the process lives; once it could not be loaded, every later
/// call fails. Any thread may call; those that come first at the same time may each load it.
SYSMIRA_API bool displayHelpWindowToTopic(const zor::String& helpFile, const zor::String& topic);

/// Unloads the engine and forgets a failure to load it. For tests; windows must be closed.
void forgetHelpEngine();

}  // namespace libSysmira
