#include "libSysmira/enumeration/DisplayMatching.h"

namespace libSysmira {

namespace {

constexpr std::size_t blockBytes = 128;
constexpr std::size_t extensionCountAt = 126;

}  // namespace

bool announcesExtensions(const unsigned char* edid, std::size_t size) {
    return size >= blockBytes && edid[extensionCountAt] != 0;
}

bool isInstanceOf(zor::String instanceName, zor::String deviceInstanceId) {
    if (deviceInstanceId.empty()) return false;
    return instanceName.toLower().find(deviceInstanceId.toLower()) == 0;
}

bool occursInDeviceKey(zor::String driverKey, zor::String deviceKey) {
    if (driverKey.empty() || deviceKey.empty()) return false;
    return deviceKey.toLower().find(driverKey.toLower()) != zor::NotFound;
}

}  // namespace libSysmira
