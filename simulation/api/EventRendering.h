// Events as EvtRender gives them.
#pragma once

#include <vector>

#include "simulation/machine/EventLogs.h"

namespace simulation {

/// The event as XML, without a declaration or line ends.
Text eventXml(const ChannelEvent& event);

/// The 18 values of the system context, by EVT_SYSTEM_PROPERTY_ID.
std::vector<EventValue> systemValues(const ChannelEvent& event);

/// EVT_VARIANTs, one for each value, and behind them what they point at; `address` is where the bytes will
/// stand.
std::vector<unsigned char> packVariants(const std::vector<EventValue>& values, ULONG_PTR address);

}  // namespace simulation
