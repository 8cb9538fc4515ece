// What joins the views that Windows has of one monitor: device records, display devices, WMI instances. Pure
// functions over texts and bytes from outside.
#pragma once

#include <cstddef>

#include "support/String.h"

namespace libSysmira {

/// Whether a whole first EDID block says that extension blocks follow.
bool announcesExtensions(const unsigned char* edid, std::size_t size);

/// Whether a WMI instance name ("DISPLAY\ABC1234\5&1&0&UID256_0") is that of the device: it begins with the
/// device's instance ID, whatever the letter case. Without an ID it is nobody's.
bool isInstanceOf(zor::String instanceName, zor::String deviceInstanceId);

/// Whether a record's driver key ("{class}\0001") stands in a display device's registry path, whatever the
/// letter case. Neither may be empty.
bool occursInDeviceKey(zor::String driverKey, zor::String deviceKey);

}  // namespace libSysmira
