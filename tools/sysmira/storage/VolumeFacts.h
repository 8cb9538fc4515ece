// What several subcommands say of a volume.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "libSysmira/enumeration/Volume.h"
#include "tools/sysmira/storage/EncryptionFacts.h"
#include "tools/sysmira/text/Fields.h"

namespace sysmira {

struct VolumeFacts {
    std::optional<char> letter;
    libSysmira::VolInfo info;
    unsigned flags = 0;
    unsigned driveType = 0;
    std::string guidPath;
    std::string locator;
    std::optional<libSysmira::StorageDeviceNumber> device;
    std::vector<libSysmira::VolumeExtent> extents;
    EncryptionFacts encryption;
};
/// Asks Windows for all of it.
VolumeFacts readVolume(const libSysmira::Volume& volume);

/// "C: System", "D:", "Recovery (no letter)", "(no name) (no letter)"; printable.
std::string titleOf(const libSysmira::Volume& volume);
/// The letter with its colon, or the path that opens the volume; printable.
std::string shortNameOf(const libSysmira::Volume& volume);

Fields toFields(const VolumeFacts& facts);
nlohmann::ordered_json toJson(const VolumeFacts& facts);

}  // namespace sysmira
