// `sysmira channel`: the events of a channel of the Windows Event Log service.
#pragma once

#include <string>
#include <vector>

#include "tools/sysmira/Output.h"

namespace sysmira {

struct ChannelRequest {
    std::string channel;  ///< "System"
    std::string query;    ///< XPath; empty: all events
    bool oldestFirst = false;
    bool xml = false;                     ///< the whole events, as XML
    std::vector<std::string> valuePaths;  ///< the values to show; none: the usual ones
    bool messages = false;                ///< the events' messages, providers and user data too
};

/// The events that the query finds, as text or as one JSON document. Throws CommandFailure, after printing
/// what could be read.
void runChannel(const ChannelRequest& request, Output& output);

}  // namespace sysmira
