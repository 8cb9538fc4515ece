// What the disk test must find, on PCs that stand nowhere: the one of a machine file, and changes to it.
//
//     disk-test-cases MACHINE FILE
#include <cstdio>
#include <fstream>
#include <iterator>

#include "DiskTest.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/MachineFile.h"

namespace {

using simulation::machine;

struct Case {
    const char* sentence;
    void (*change)();
    // Of the first disk and of the second; and a reason that one of them gives, or null.
    Verdict first, second;
    const char* reason;
};

simulation::ChannelEvent badBlock(const char16_t* device) {
    simulation::ChannelEvent event(u"disk", 7, simulation::ticksOfUnixTime(1780000000));
    event.qualifiers = WORD{0xC004};
    event.level = 2;
    return event.with(u"", device);
}

const Case cases[] = {
    {"Healthy disks pass", [] {}, Verdict::Pass, Verdict::Pass, nullptr},
    {"A driver that could not start fails its disk",
     [] {
         simulation::DeviceNode& disk = *machine().node(u"SCSI\\DISK&VEN_SUED&PROD_2000\\4&2F1E0A&0&010000");
         disk.status = DN_HAS_PROBLEM;
         disk.problem = CM_PROB_FAILED_START;
     },
     Verdict::Pass, Verdict::Fail, "its driver has problem 10"},
    {"Bad blocks fail the disk that they are on",
     [] {
         for (const char16_t* device : {u"\\Device\\Harddisk1\\DR1", u"\\Device\\Harddisk1\\DR1",
                                        u"\\Device\\Harddisk10\\DR10", u"", u"\\"}) {
             machine().events.add(u"System", badBlock(device));
         }
     },
     Verdict::Pass, Verdict::Fail, "bad blocks in the System log: 2"},
    {"A prediction fails the disk that it names",
     [] {
         simulation::ChannelEvent event(u"Microsoft-Windows-DiskDiagnostic", 1,
                                        simulation::ticksOfUnixTime(1780000000));
         event.level = 1;
         event.with(u"DiskFriendlyName", u"Nordlicht 1000").with(u"HardwareID", u"SCSI\\DISK");
         event.with(u"VolumeNames", u"C:");
         machine().events.add(u"System", event);
     },
     Verdict::Fail, Verdict::Pass, "Windows predicts that it will fail"},
    {"A volume that cannot be read leaves its disk unknown",
     [] { machine().storage.mounted(u"D:\\")->ready = false; }, Verdict::Pass, Verdict::Unknown,
     "volume D: cannot be read"},
    {"A drive that nobody may open is unknown",
     [] { machine().storage.disk(u"\\\\.\\PhysicalDrive0")->openError = ERROR_ACCESS_DENIED; },
     Verdict::Unknown, Verdict::Pass, "the drive does not answer"},
    {"Without the log no disk passes",
     [] {
         simulation::control().add(
             {.function = "OpenEventLogW", .onwards = true, .code = ERROR_ACCESS_DENIED});
     },
     Verdict::Unknown, Verdict::Unknown, "the System log cannot be read"},
};

bool holds(const Case& each) {
    const std::vector<DiskResult> results = testDisks();
    bool reasonGiven = each.reason == nullptr;
    for (const DiskResult& result : results) {
        for (const std::string& reason : result.reasons) reasonGiven = reasonGiven || reason == each.reason;
    }
    // The test closed what Windows opened for it.
    return results.size() == 2 && results[0].verdict == each.first && results[1].verdict == each.second &&
           reasonGiven && simulation::ledger().empty() && simulation::ledger().violations().empty();
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    std::ifstream file(arguments[1]);
    const std::string pc((std::istreambuf_iterator<char>(file)), {});
    int failed = 0;
    for (const Case& each : cases) {
        simulation::reset();
        try {
            machine() = simulation::readMachine(pc, arguments[1]);
        } catch (const simulation::MachineFileError& mistake) {
            std::fprintf(stderr, "%s\n", mistake.what());
            return 2;
        }
        each.change();
        const bool passed = holds(each);
        std::printf("%s: %s\n", passed ? "ok" : "FAILED", each.sentence);
        failed += passed ? 0 : 1;
    }
    return failed == 0 ? 0 : 1;
}
