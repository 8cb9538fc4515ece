// The message file and the log that the contract of messages is tested on.
#pragma once

#include "support/WindowsApi.h"

/// Its full path; on the simulated PC it is put there.
const WCHAR* contractMessageFile();

/// Gives the simulated PC an Application log; real ones have theirs.
void prepareClassicLog();
