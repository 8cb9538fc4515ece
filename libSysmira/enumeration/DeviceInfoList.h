// A share of a SetupDi device-information list. Records, sets and driver packages made by one enumeration
// share one list; Windows frees it when the last of them goes. The count is atomic: shares may be copied and
// released on different threads at once.
#pragma once

#include "libSysmira/Export.h"
#include "support/DescriptorStorage.h"
#include "support/SharedResource.h"
#include "support/WindowsApi.h"

namespace libSysmira {

/// Closes a list with SetupDiDestroyDeviceInfoList.
struct SYSMIRA_API DeviceInfoListDestroyer {
    static void destroy(HDEVINFO list) noexcept;
};

using DeviceInfoList = zor::SharedResource<zor::DescriptorStorage<HDEVINFO, -1, DeviceInfoListDestroyer>, 1>;

}  // namespace libSysmira
