// The part of a machine file that describes the event logs.
#pragma once

#include "simulation/machine/JsonPlace.h"

namespace simulation {

void readEventLogs(const JsonPlace& place, EventLogs& logs);

/// A message table: {"0xC0040007": "The device, %1, has a bad block."}; event IDs may be decimal.
std::map<DWORD, Text> readMessages(const JsonPlace& place);

}  // namespace simulation
