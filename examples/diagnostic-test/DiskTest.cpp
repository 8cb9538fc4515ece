#include "DiskTest.h"

#include <algorithm>
#include <map>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "libSysmira/eventLogs/EventLogParser.h"
#include "libSysmira/vista/VistaDiagnosticEvents.h"

namespace {

using namespace libSysmira;

std::string text(const zor::String& string) { return string.getUTF8String().c_str(); }

void add(DiskResult& result, Verdict verdict, const std::string& reason) {
    result.verdict = std::max(result.verdict, verdict);
    result.reasons.push_back(reason);
}

// Counts the bad blocks that the driver of disks has logged, by disk: "\Device\Harddisk1\DR1" is Harddisk1.
class BadBlocks : public EventLogViewer {
public:
    bool readLog() {
        EventLogParser parser;
        if (!parser.openEventLog("System")) return false;
        EventLogSearchParams params;
        params.searchByCodeAndSource(/*code=*/7, "disk", /*context=*/nullptr);
        parser.search(*this, params);
        return true;
    }
    unsigned on(unsigned diskNumber) const {
        const auto found = m_counts.find("Harddisk" + std::to_string(diskNumber));
        return found == m_counts.end() ? 0 : found->second;
    }

private:
    bool viewEvent(EventLogParser& parser, void*) override {
        zor::Array<zor::String> strings;
        parser.getMessageStringArguments(strings);
        if (strings.empty()) return true;
        const zor::Array<zor::String> path = strings[0].tokenize("\\");
        if (path.size() > 1) ++m_counts[text(path[1])];
        return true;
    }

    std::map<std::string, unsigned> m_counts;
};

void testDriver(const WindowsDevice& device, DiskResult& result) {
    unsigned problem = 0;
    if (device.hasDriverProblem(&problem)) {
        add(result, Verdict::Fail, "its driver has problem " + std::to_string(problem));
    }
}

void testVolumes(const WindowsDrive& drive, DiskResult& result) {
    for (const Volume& volume : drive.volumes()) {
        char letter = 0;
        if (!volume.getDriveLetter(letter) || volume.info().totalBytes != 0) continue;
        add(result, Verdict::Unknown, std::string("volume ") + letter + ": cannot be read");
    }
}

// Events name a disk by its number, which its volumes know.
void testLog(const WindowsDrive& drive, const BadBlocks& badBlocks, DiskResult& result) {
    StorageDeviceNumber number;
    for (const Volume& volume : drive.volumes()) {
        if (!volume.getSDN(number)) continue;
        const unsigned count = badBlocks.on(number.deviceNumber);
        if (count != 0) add(result, Verdict::Fail, "bad blocks in the System log: " + std::to_string(count));
        return;
    }
    add(result, Verdict::Unknown, "no volume tells its number, by which the System log calls it");
}

void testPredictions(const WindowsDevice& device, DiskResult& result) {
    const VistaDiagnosticEvents& events = VistaDiagnosticEvents::instance();
    for (unsigned i = 0; i < events.diskDiagnosticEventCount(); ++i) {
        if (!(events.diskDiagnosticEvent(i).diskFriendlyName() == device.getFriendlyName())) continue;
        add(result, Verdict::Fail, "Windows predicts that it will fail");
        return;
    }
}

}  // namespace

std::vector<DiskResult> testDisks() {
    BadBlocks badBlocks;
    const bool logWasRead = badBlocks.readLog();
    VistaDiagnosticEvents::instance().findDiskDiagnosticEvents();

    std::vector<DiskResult> results;
    WindowsDeviceSet disks;
    disks.appendDisks();
    for (const WindowsDevice& device : disks) {
        zor::String name;
        device.getDisplayName(name, "Disk");
        DiskResult result;
        result.disk = text(name);
        testDriver(device, result);
        const WindowsDrive drive(device);
        if (!drive.storageDescriptorInitialized()) {
            add(result, Verdict::Unknown, "the drive does not answer");
        } else {
            testVolumes(drive, result);
            if (logWasRead) testLog(drive, badBlocks, result);
        }
        if (!logWasRead) add(result, Verdict::Unknown, "the System log cannot be read");
        testPredictions(device, result);
        results.push_back(result);
    }
    return results;
}
