#include "libSysmira/enumeration/DeviceInfoList.h"

namespace libSysmira {

void DeviceInfoListDestroyer::destroy(HDEVINFO list) noexcept { SetupDiDestroyDeviceInfoList(list); }

}  // namespace libSysmira
