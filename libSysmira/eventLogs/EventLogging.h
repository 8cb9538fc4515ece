// The logger that the sources of VistaEventLogs share. Not exported.
#pragma once

#include "support/ClassLogger.h"

namespace libSysmira {

inline zor::ClassLogger eventsLog("Sysmira.VistaEventLogs");

}  // namespace libSysmira
