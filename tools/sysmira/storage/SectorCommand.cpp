#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/storage/ClusterLayout.h"
#include "tools/sysmira/storage/DriveFacts.h"
#include "tools/sysmira/storage/DrivesCommand.h"
#include "tools/sysmira/storage/VolumeFacts.h"
#include "tools/sysmira/text/Sizes.h"

namespace sysmira {

using libSysmira::Volume;
using nlohmann::ordered_json;

namespace {

using Sector = unsigned long long;

Sector parseSector(const std::string& text) {
    const bool isHex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* const first = text.data() + (isHex ? 2 : 0);
    const char* const last = text.data() + text.size();
    Sector sector = 0;
    const auto [end, error] = std::from_chars(first, last, sector, isHex ? 16 : 10);
    if (error != std::errc() || end != last) {
        throw CommandFailure(WrongUsage, "found \"" + text +
                                             "\", expected the number of a sector, from 0 to "
                                             "18446744073709551615 or in hexadecimal as 0x800");
    }
    return sector;
}

// Where a sector lies.
struct Place {
    Sector sector = 0;
    const Volume* volume = nullptr;
    std::optional<unsigned long long> cluster;
    zor::TriBool used;
    std::string reason;   // why `used` is unknown
    bool failed = false;  // because something could not be read
};

std::string whyInNoVolume(const KnownDrive& drive, Sector sector, bool& failed) {
    failed = isClosed(drive);
    if (failed) return "the drive cannot be opened";
    const Sector count = drive.drive.getSectorCount();
    if (count != 0 && sector >= count) {
        return "the drive ends at sector " + std::to_string(count - 1);
    }
    if (drive.drive.volumes().empty()) return "the drive has no volumes";
    std::string silent;
    for (const Volume& volume : drive.drive.volumes()) {
        if (volume.getVolumeExtents().empty() || volume.info().bytesPerSector == 0)
            silent += (silent.empty() ? "" : ", ") + shortNameOf(volume);
    }
    failed = !silent.empty();
    return "no volume of the drive lies there" +
           (silent.empty() ? "" : ", as far as they tell (" + silent + " cannot be read)");
}

// The library counts clusters from the beginning of the volume's piece; here they count from the first one.
void findCluster(Place& place) {
    const ClusterLayout layout = readClusterLayout(*place.volume);
    if (!layout.whyUnknown.empty()) {
        place.reason = layout.whyUnknown;
        place.failed = layout.isUnreadable;
        return;
    }
    const unsigned long long byte = place.sector * place.volume->info().bytesPerSector;
    if (byte < layout.firstCluster) {
        place.reason = "it lies before the volume's first cluster, among the tables of the file system";
        return;
    }
    const unsigned long long cluster = (byte - layout.firstCluster) / layout.clusterSize;
    place.cluster = cluster;
    const auto bitmap = place.volume->getVolumeClusterBitmap(/*refresh=*/false);
    if (!bitmap.isValid()) {
        place.reason = "Windows does not report which clusters of the volume are in use";
        place.failed = true;
    } else if (cluster >= bitmap->size()) {
        place.reason = "the volume counts " + grouped(bitmap->size()) + " clusters only";
    } else {
        place.used = bitmap->isUsed(cluster);
    }
}

Place find(KnownDrive& drive, Sector sector) {
    Place place;
    place.sector = sector;
    unsigned volumeIndex = 0;
    unsigned long long fromBeginning = 0;
    if (!drive.drive.convertSectorToVCN(sector, volumeIndex, fromBeginning)) {
        place.reason = whyInNoVolume(drive, sector, place.failed);
        return place;
    }
    place.volume = &drive.drive.volumes()[volumeIndex];
    findCluster(place);
    return place;
}

std::string toText(const Place& place) {
    std::string text = "sector " + std::to_string(place.sector) + ": ";
    if (place.volume != nullptr) {
        text += titleOf(*place.volume) + ", ";
        if (place.cluster) text += "cluster " + std::to_string(*place.cluster) + ", ";
    }
    if (place.used.isTrue()) return text + "in use\n";
    if (place.used.isFalse()) return text + "free\n";
    return text + "not known: " + place.reason + "\n";
}

ordered_json toJson(const Place& place) {
    ordered_json object;
    object["sector"] = place.sector;
    object["volume"] = nullptr;
    object["cluster"] = nullptr;
    if (place.volume != nullptr) {
        object["volume"] = shortNameOf(*place.volume);
        if (place.cluster) object["cluster"] = *place.cluster;
    }
    object["used"] = nullptr;
    if (!place.used.isUnknown()) object["used"] = place.used.isTrue();
    object["reason"] = nullptr;
    if (place.used.isUnknown()) object["reason"] = place.reason;
    return object;
}

}  // namespace

void runSector(const SectorRequest& request, Output& output) {
    if (request.drive.empty() || request.sectors.empty()) {
        throw CommandFailure(WrongUsage,
                             "\"sysmira sector\" needs a drive and sectors, as in: sysmira sector 0 2048");
    }
    std::vector<Sector> sectors;
    for (const std::string& text : request.sectors) sectors.push_back(parseSector(text));
    KnownDrive drive = findDrive(request.drive);
    std::string text;
    ordered_json list = ordered_json::array();
    bool failed = false;
    for (const Sector sector : sectors) {
        const Place place = find(drive, sector);
        failed = failed || place.failed;
        if (output.wantsJson()) {
            list.push_back(toJson(place));
        } else {
            text += toText(place);
        }
    }
    if (output.wantsJson()) {
        output.printDocument({{"drive", drive.index}, {"sectors", std::move(list)}});
    } else {
        output.print(text);
    }
    if (failed) throw CommandFailure(NotRead, "not everything that a sector needs could be read");
}

}  // namespace sysmira
