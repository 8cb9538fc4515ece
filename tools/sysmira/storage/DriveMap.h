// A picture of a whole disk: its partitions and the room between them, and how much of each stretch is in
// use.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/sysmira/storage/DriveFacts.h"

namespace sysmira {

/// One stretch of the disk, the same share of it as every other cell: how much of it is in use, 0 to 1;
/// missing where nobody tells.
using MapCell = std::optional<double>;

/// A partition, or the room between two.
struct MapRegion {
    std::optional<unsigned> partition;  ///< missing for room without a partition
    std::string type;                   ///< of the partition, in words
    std::string volume;  ///< what lies there: "C: System"; printable; empty when it is not known
    std::string fileSystem;
    unsigned long long offset = 0;  ///< bytes
    unsigned long long length = 0;  ///< bytes
    std::vector<MapCell> cells;
    MapCell used;  ///< of all of it
    /// Why `used` is missing, when the volume is known; printable.
    std::string whyUnknown;
};

struct DriveMap {
    unsigned long long length = 0;  ///< of the disk, in bytes
    std::vector<MapRegion> regions;
    bool partitionsTold = false;  ///< otherwise the regions are where volumes say that they lie
};

/// Asks Windows; `cells` is how many the whole disk has, though every region has one at least.
DriveMap readMap(const KnownDrive& drive, std::size_t cells);

/// Shaded characters, with a legend.
std::string toText(const DriveMap& map);
nlohmann::ordered_json toJson(const DriveMap& map);

}  // namespace sysmira
