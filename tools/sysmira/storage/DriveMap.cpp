#include "tools/sysmira/storage/DriveMap.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "tools/sysmira/storage/ClusterLayout.h"
#include "tools/sysmira/storage/PartitionTable.h"
#include "tools/sysmira/storage/VolumeFacts.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/text/Sizes.h"
#include "tools/sysmira/text/Told.h"

namespace sysmira {

using libSysmira::SharedClusterBitmap;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using nlohmann::ordered_json;

namespace {

using Bytes = unsigned long long;

// A run of a volume on this disk.
struct Run {
    Bytes offset = 0;  // on the disk
    Bytes length = 0;  // > 0, and offset + length is no overflow
    std::string volume;
    std::string fileSystem;
    ClusterLayout clusters;
    SharedClusterBitmap bitmap;
};

// The runs of one volume on a disk; runs that cannot be are left out.
void addRuns(const Volume& volume, unsigned diskNumber, std::vector<Run>& runs) {
    for (const VolumeExtent& extent : volume.getVolumeExtents()) {
        if (extent.startingOffset < 0 || extent.extentLength <= 0 || extent.diskNumber != diskNumber)
            continue;
        Run run;
        run.offset = static_cast<Bytes>(extent.startingOffset);
        run.length = static_cast<Bytes>(extent.extentLength);
        run.volume = titleOf(volume);
        run.fileSystem = printable(volume.info().fileSystemName);
        run.clusters = readClusterLayout(volume);
        run.bitmap = volume.getVolumeClusterBitmap(/*refresh=*/false);
        runs.push_back(std::move(run));
    }
}

std::vector<Run> readRuns(const KnownDrive& drive) {
    std::vector<Run> runs;
    // Extents name disks. The numbers of other devices begin at 0, too, and mean something else.
    if (!isNumberedDisk(drive)) return runs;
    // Those that span several disks are not among the drive's own volumes.
    zor::Array<Volume> volumes;
    Volume::findAllVolumes(volumes);
    for (const Volume& volume : volumes) addRuns(volume, drive.number->deviceNumber, runs);
    std::stable_sort(runs.begin(), runs.end(),
                     [](const Run& one, const Run& other) { return one.offset < other.offset; });
    // A hidden volume may be found twice.
    const auto isSame = [](const Run& one, const Run& other) {
        return one.offset == other.offset && one.length == other.length;
    };
    runs.erase(std::unique(runs.begin(), runs.end(), isSame), runs.end());
    return runs;
}

// How many of the bits [first, end) are set.
Bytes countUsed(const zor::Buffer<unsigned char>& bytes, Bytes first, Bytes end) {
    const unsigned char* const data = bytes.data();
    const auto bit = [data](Bytes place) { return static_cast<Bytes>(data[place / 8] >> place % 8 & 1); };
    Bytes used = 0;
    while (first < end && first % 8 != 0) used += bit(first++);
    while (end - first >= 64) {
        std::uint64_t eightBytes = 0;
        std::memcpy(&eightBytes, data + first / 8, sizeof eightBytes);
        used += static_cast<Bytes>(std::popcount(eightBytes));
        first += 64;
    }
    while (first < end) used += bit(first++);
    return used;
}

struct Share {
    Bytes used = 0;
    Bytes clusters = 0;
    MapCell cell() const {
        if (clusters == 0) return std::nullopt;
        return static_cast<double>(used) / static_cast<double>(clusters);
    }
};

// The clusters that lie in [begin, end) of the disk; those of which a part does count.
Share shareOf(const Run& run, Bytes begin, Bytes end) {
    const ClusterLayout& clusters = run.clusters;
    if (!clusters.whyUnknown.empty() || !run.bitmap.isValid()) return {};
    begin = std::max(begin, clusters.firstCluster);
    end = std::min(end, clusters.end);
    if (begin >= end) return {};
    const Bytes first = (begin - clusters.firstCluster) / clusters.clusterSize;
    const Bytes last = (end - clusters.firstCluster - 1) / clusters.clusterSize;
    const Bytes stop = std::min(last + 1, run.bitmap->size());
    if (first >= stop) return {};
    return {countUsed(run.bitmap->bytes(), first, stop), stop - first};
}

std::vector<MapRegion> regionsOfPartitions(const std::vector<Partition>& partitions) {
    std::vector<MapRegion> regions;
    for (const Partition& partition : partitions) {
        MapRegion region;
        region.partition = partition.number;
        region.type = partition.type;
        region.offset = partition.offset;
        region.length = partition.length;
        regions.push_back(std::move(region));
    }
    return regions;
}

std::vector<MapRegion> regionsOfRuns(const std::vector<Run>& runs) {
    std::vector<MapRegion> regions;
    for (const Run& run : runs) {
        MapRegion region;
        region.offset = run.offset;
        region.length = run.length;
        regions.push_back(std::move(region));
    }
    return regions;
}

// Cuts regions at the disk's end and at the next one's beginning, and adds the room between them where it is
// worth telling: tables and alignment are not.
std::vector<MapRegion> withGaps(std::vector<MapRegion> regions, Bytes diskLength) {
    constexpr Bytes worthTelling = 4 * 1024 * 1024;
    std::vector<MapRegion> all;
    Bytes reached = 0;
    const auto addGap = [&](Bytes end) {
        if (end < reached + worthTelling) return;
        MapRegion gap;
        gap.offset = reached;
        gap.length = end - reached;
        all.push_back(std::move(gap));
    };
    for (MapRegion& region : regions) {
        if (region.offset < reached || region.offset >= diskLength) continue;
        region.length = std::min(region.length, diskLength - region.offset);
        addGap(region.offset);
        reached = region.offset + region.length;
        all.push_back(std::move(region));
    }
    addGap(diskLength);
    return all;
}

void fill(MapRegion& region, const std::vector<Run>& runs, Bytes diskLength, std::size_t cells) {
    const double share = static_cast<double>(region.length) / static_cast<double>(diskLength);
    const auto count = std::max<std::size_t>(1, std::lround(share * static_cast<double>(cells)));
    region.cells.resize(count);
    const Run* run = nullptr;
    for (const Run& candidate : runs) {
        if (candidate.offset >= region.offset && candidate.offset - region.offset < region.length)
            run = &candidate;
    }
    if (run == nullptr) return;
    region.volume = run->volume;
    region.fileSystem = run->fileSystem;
    for (std::size_t i = 0; i < count; ++i) {
        const auto place = [&](std::size_t cell) {
            return region.offset +
                   static_cast<Bytes>(static_cast<double>(region.length) *
                                      (static_cast<double>(cell) / static_cast<double>(count)));
        };
        region.cells[i] = shareOf(*run, place(i), std::max(place(i) + 1, place(i + 1))).cell();
    }
    region.used = shareOf(*run, region.offset, region.offset + region.length).cell();
    if (!region.used) {
        region.whyUnknown = !run->clusters.whyUnknown.empty() ? run->clusters.whyUnknown
                            : run->bitmap.isValid()           ? ""
                                                    : "Windows does not report which clusters are in use";
    }
}

const char* shadeOf(const MapRegion& region, const MapCell& cell) {
    if (region.partition == std::nullopt && region.volume.empty()) return " ";
    if (!cell) return "?";
    if (*cell <= 0) return "·";
    return *cell <= 0.25 ? "░" : *cell <= 0.5 ? "▒" : *cell <= 0.75 ? "▓" : "█";
}

std::string percent(double share) { return std::to_string(std::lround(share * 100)) + " %"; }

std::string headingOf(const MapRegion& region) {
    if (!region.partition && region.volume.empty()) return "no partition, " + shortSize(region.length);
    std::string text;
    if (region.partition) text = "partition " + std::to_string(*region.partition);
    if (!region.volume.empty()) text += (text.empty() ? "" : ": ") + region.volume;
    if (!region.fileSystem.empty()) {
        text += ", " + region.fileSystem;
    } else if (!region.type.empty()) {
        text += ", " + region.type;
    }
    text += ", " + shortSize(region.length);
    if (region.used) return text + ", " + percent(*region.used) + " used";
    return text + ", use not known" + (region.whyUnknown.empty() ? "" : ": " + region.whyUnknown);
}

}  // namespace

DriveMap readMap(const KnownDrive& drive, std::size_t cells) {
    DriveMap map;
    map.length = drive.drive.getTotalCapacity();
    if (map.length == 0) return map;
    const std::vector<Run> runs = readRuns(drive);
    const auto partitions = readPartitions(drive.drive.getHandle().get());
    map.partitionsTold = partitions.has_value();
    map.regions = withGaps(partitions ? regionsOfPartitions(*partitions) : regionsOfRuns(runs), map.length);
    for (MapRegion& region : map.regions) fill(region, runs, map.length, cells);
    return map;
}

std::string toText(const DriveMap& map) {
    constexpr std::size_t perLine = 64;
    std::size_t cells = 0;
    std::string text;
    for (const MapRegion& region : map.regions) {
        text += headingOf(region) + "\n";
        for (std::size_t i = 0; i < region.cells.size(); ++i) {
            if (i % perLine == 0) text += i == 0 ? "  [" : "\n   ";
            text += shadeOf(region, region.cells[i]);
        }
        text += "]\n";
        cells += region.cells.size();
    }
    if (cells != 0) {
        text += "\n· free  ░ up to 25 %  ▒ up to 50 %  ▓ up to 75 %  █ more in use  ? not known; a cell is " +
                shortSize(map.length / cells) + "\n";
    }
    return text;
}

ordered_json toJson(const DriveMap& map) {
    ordered_json regions = ordered_json::array();
    for (const MapRegion& region : map.regions) {
        ordered_json object;
        object["partition"] = nullptr;
        if (region.partition) object["partition"] = *region.partition;
        object["type"] = told(region.type);
        object["volume"] = told(region.volume);
        object["fileSystem"] = told(region.fileSystem);
        object["offset"] = region.offset;
        object["length"] = region.length;
        object["used"] = nullptr;
        if (region.used) object["used"] = *region.used;
        object["whyUseUnknown"] = nullptr;
        if (!region.whyUnknown.empty()) object["whyUseUnknown"] = region.whyUnknown;
        object["cells"] = ordered_json::array();
        for (const MapCell& cell : region.cells) {
            object["cells"].push_back(nullptr);
            if (cell) object["cells"].back() = *cell;
        }
        regions.push_back(std::move(object));
    }
    return {{"length", map.length}, {"partitionsTold", map.partitionsTold}, {"regions", std::move(regions)}};
}

}  // namespace sysmira
