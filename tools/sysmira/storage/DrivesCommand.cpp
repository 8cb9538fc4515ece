#include "tools/sysmira/storage/DrivesCommand.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/storage/DriveFacts.h"
#include "tools/sysmira/storage/DriveLock.h"
#include "tools/sysmira/storage/DriveMap.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using nlohmann::ordered_json;

namespace {

// The library's table; a label can neither begin a line of its own nor drive the terminal.
std::string volumeTable(KnownDrive& drive) {
    std::istringstream lines(toUtf8(drive.drive.getVolumeSummary(/*indent=*/2)));
    std::string text;
    for (std::string line; std::getline(lines, line);) text += printable(line) + "\n";
    return text;
}

std::string toText(KnownDrive& drive) {
    std::string text = titleOf(drive) + "\n" + toFields(drive).toText(/*indent=*/2);
    if (isClosed(drive)) {
        return text + "  It cannot be opened" +
               (drive.device.getOsLocator().empty() ? ": it has no path.\n"
                                                    : "; Windows lets administrators alone open drives.\n");
    }
    return text + "\n" + volumeTable(drive);
}

void printDrives(std::vector<KnownDrive> drives, Output& output) {
    if (output.wantsJson()) {
        ordered_json list = ordered_json::array();
        for (KnownDrive& drive : drives) list.push_back(toJson(drive));
        return output.printDocument({{"drives", std::move(list)}});
    }
    if (drives.empty()) return output.remark("Windows lists no drives");
    bool isFirst = true;
    for (KnownDrive& drive : drives) {
        output.print((isFirst ? "" : "\n") + toText(drive));
        isFirst = false;
    }
}

void printMap(const KnownDrive& drive, Output& output) {
    constexpr std::size_t cells = 512;
    const DriveMap map = readMap(drive, cells);
    if (output.wantsJson()) {
        return output.printDocument({{"drive", drive.index}, {"map", toJson(map)}});
    }
    if (map.length == 0) {
        throw CommandFailure(NotRead, titleOf(drive) + " does not tell how large it is" +
                                          (isClosed(drive) ? ", since it cannot be opened" : ""));
    }
    output.print(titleOf(drive) + "\n\n" + toText(map));
    if (!map.partitionsTold) output.remark("the partitions cannot be read; the volumes tell where they lie");
}

}  // namespace

void runDrives(const DrivesRequest& request, Output& output) {
    if (request.drive.empty()) {
        if (request.map || request.lock) {
            throw CommandFailure(WrongUsage, std::string("\"") + (request.map ? "--map" : "--lock") +
                                                 "\" needs a drive, as in: sysmira drives 0 " +
                                                 (request.map ? "--map" : "--lock"));
        }
        return printDrives(listDrives(), output);
    }
    if (request.map && request.lock)
        throw CommandFailure(WrongUsage, "\"--map\" and \"--lock\" exclude each other");
    KnownDrive drive = findDrive(request.drive);
    if (request.map) return printMap(drive, output);
    if (request.lock) return lockAndUnlock(drive, output);
    std::vector<KnownDrive> one;
    one.push_back(std::move(drive));
    printDrives(std::move(one), output);
}

}  // namespace sysmira
