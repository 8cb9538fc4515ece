// The touch gestures of a window.
#pragma once

#include "libSysmira/Export.h"
#include "support/WindowsApi.h"

namespace libSysmira {

/// Disables the system's edge gestures while the window fills the screen (`disable` other than 0), or allows
/// them again, through the window's property store (SHGetPropertyStoreForWindow). Failures are silent; so is
/// a Windows before 7, which has no such stores. The thread must have entered COM. shell32.dll is loaded by
/// the first call and kept; threads that come first at the same time may each load it.
SYSMIRA_API void SetTouchDisableProperty(HWND window, int disable);

/// Unloads shell32.dll again. For tests.
void forgetWindowProperties();

}  // namespace libSysmira
