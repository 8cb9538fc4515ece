// The subcommands volumes, drives and sector on the bundled PC and on small ones.
#include "simulation/control/Clock.h"
#include "tests/behaviour/CommandRun.h"

namespace {

using nlohmann::json;

Outcome run(const Strings& arguments) { return runCommand(arguments); }
json runJson(const Strings& arguments) { return runForJson(arguments); }

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class StorageCommand : public SimulatedPc {
protected:
    /// Writes a machine file; `text` is its JSON.
    const std::string& machineFile(const std::string& text) {
        m_file.write(text);
        return m_file.path();
    }

private:
    TemporaryFile m_file{"storage.json"};
};

// A disk that holds a part of X:, of which no relation tells.
const char SpannedPc[] = R"({
    "devices": [{"id": "HTREE\\ROOT\\0", "children": [
        {"id": "SCSI\\DISK\\1", "class": "DiskDrive", "friendlyName": "Disk", "interfaces": [{"class": "disk"}]}]}],
    "disks": [{"device": "SCSI\\DISK\\1", "number": {"number": 1}, "size": 1000000000, "product": "Disk"}],
    "volumes": [{"name": "\\\\?\\Volume{1}\\", "mountPoints": ["X:\\"], "numberError": 1,
        "extents": [{"disk": 1, "offset": 1048576, "length": 1000000}, {"disk": 2, "offset": 0, "length": 1000}]}]
})";

TEST_F(StorageCommand, ListsVolumesWithWhereTheyLie) {
    const std::string text = run({"volumes"}).out;
    for (const char* part :
         {"C: System\n", "  Serial number  B151-BE43\n", "  Flags          system, application\n",
          "  Encryption     on\n", "disk 10: 465.76 GB (500,105,216,000 bytes) from byte 1,048,576\n",
          "Recovery (no letter)\n", "(no name) (no letter)\n", "  Device         CD-ROM 0\n",
          "I: СВЕТЛЯК\n"}) {
        EXPECT_TRUE(has(text, part)) << part;
    }
    const json volumes = runJson({"volumes"})["volumes"];
    ASSERT_GT(volumes.size(), 12u);
    EXPECT_EQ(volumes[0]["totalBytes"], 249128026112u);
    EXPECT_EQ(volumes[0]["encrypted"], true);
    EXPECT_EQ(volumes[1]["letter"], nullptr);
    EXPECT_EQ(volumes[1]["encrypted"], nullptr);
    EXPECT_EQ(volumes[1]["flags"], json({"hidden", "recovery"}));
}

TEST_F(StorageCommand, SaysWhyEncryptionIsNotKnown) {
    const auto facts = [](const char* letter) {
        const json document = runJson({"volumes"});
        for (const json& volume : document["volumes"]) {
            if (volume["letter"] == letter)
                return json({volume["encrypted"], volume["whyEncryptionUnknown"]});
        }
        return json();
    };
    EXPECT_EQ(facts("E"), json({false, nullptr}));
    EXPECT_EQ(facts("G"), json({nullptr, "it is not among the volumes that Windows can encrypt"}));
    failCall("IEnumWbemClassObject::Next", static_cast<HRESULT>(WBEM_E_TRANSPORT_FAILURE), 1,
             /*onwards=*/true);
    EXPECT_EQ(facts("C"), json({nullptr, "WMI answers 0x80041015 (WBEM_E_TRANSPORT_FAILURE)"}));
    EXPECT_TRUE(has(run({"volumes"}).out,
                    "Encryption     not known: WMI answers 0x80041015 (WBEM_E_TRANSPORT_FAILURE)\n"));
}

TEST_F(StorageCommand, CallsDisksByTheirNumberAndTellsWhatTheySay) {
    const json drives = runJson({"drives"})["drives"];
    ASSERT_GT(drives.size(), 15u);
    for (const json& drive : drives) {
        if (drive["windowsName"] == nullptr) continue;
        const std::string name = drive["windowsName"];
        if (name.compare(0, 13, "PhysicalDrive") != 0) continue;
        EXPECT_EQ("PhysicalDrive" + std::to_string(drive["index"].get<int>()), name);
    }
    EXPECT_EQ(drives[0]["bus"], "NVMe");
    EXPECT_EQ(drives[0]["roles"], json({"system", "application"}));
    EXPECT_EQ(drives[0]["volumes"].size(), 4u);
    for (const char* name : {"14", "PhysicalDrive14", "\\\\.\\physicaldrive14",
                             "SCSI\\Disk&Ven_ATA&Prod_Nordlicht_D40-20\\4&2A7F0C11&0&040000"}) {
        const json drive = runJson({"drives", name})["drives"][0];
        EXPECT_EQ(drive["offline"], true) << name;
    }
    const std::string spanned = run({"drives", "1", "--machine", machineFile(SpannedPc)}).out;
    EXPECT_TRUE(has(spanned, "Drive 1: Disk (PhysicalDrive1)\n")) << spanned;
    EXPECT_TRUE(has(spanned, "Holds a part of  X:\n")) << spanned;
    EXPECT_TRUE(has(spanned, "Mnt  Flags  Volume Name")) << spanned;

    const Outcome unknown = run({"drives", "PhysicalDrive99"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(has(unknown.err, "there is no drive \"PhysicalDrive99\"")) << unknown.err;
    for (const Strings& wrong : {Strings{"drives", "--map"}, Strings{"drives", "0", "--map", "--lock"},
                                 Strings{"sector", "0"}, Strings{"sector", "0", "12x"}}) {
        EXPECT_EQ(run(wrong).status, 2) << wrong.back();
    }
}

TEST_F(StorageCommand, DrawsTheWholeDisk) {
    const std::string text = run({"drives", "0", "--map"}).out;
    for (const char* part :
         {"partition 1: (no name) (no letter), FAT32, 420.00 MB, ", "partition 3: C: System, NTFS",
          "partition 2, reserved for Windows, 16.00 MB, use not known\n  [?]\n", "· free"}) {
        EXPECT_TRUE(has(text, part)) << part << "\n" << text;
    }
    // How a volume is laid out over three disks is not known.
    const json spanned = runJson({"drives", "11", "--map"})["map"]["regions"][0];
    EXPECT_EQ(spanned["used"], nullptr);
    EXPECT_EQ(spanned["cells"][0], nullptr);
    EXPECT_EQ(spanned["whyUseUnknown"], "the volume lies on several disks");
    EXPECT_TRUE(has(run({"drives", "11", "--map"}).out, "use not known: the volume lies on several disks\n"));
    EXPECT_TRUE(
        has(run({"report", "--section", "drives"}).out, "use not known: the volume lies on several disks"));
    // Numbers are unique within a device type alone: CD-ROM 0 is not disk 0.
    const json optical = runJson({"drives", "CdRom0", "--map"});
    for (const json& region : optical["map"]["regions"]) EXPECT_EQ(region["volume"], nullptr);
    const json system = runJson({"drives", "0", "--map"})["map"];
    std::size_t cells = 0;
    unsigned long long bytes = 0;
    for (const json& region : system["regions"]) {
        cells += region["cells"].size();
        bytes += region["length"].get<unsigned long long>();
    }
    EXPECT_NEAR(static_cast<double>(cells), 512, 4);
    EXPECT_LE(bytes, system["length"].get<unsigned long long>());
    const Outcome noMedium = run({"drives", "7", "--map"});
    EXPECT_EQ(noMedium.status, 1);
    EXPECT_TRUE(has(noMedium.err, "does not tell how large it is")) << noMedium.err;
}

TEST_F(StorageCommand, SaysWhereASectorLiesOrWhyNot) {
    EXPECT_EQ(run({"sector", "1", "2048", "2056", "0x20000000", "0", "99999999999"}).out,
              "sector 2048: D: Daten, cluster 0, in use\n"
              "sector 2056: D: Daten, cluster 1, in use\n"
              "sector 536870912: E: Archiv, cluster 34340608, free\n"
              "sector 0: not known: no volume of the drive lies there\n"
              "sector 99999999999: not known: the drive ends at sector 1953520064\n");
    const json sectors = runJson({"sector", "10", "18446744073709551615", "5"})["sectors"];
    EXPECT_EQ(sectors[0]["used"], nullptr);
    EXPECT_EQ(sectors[1]["reason"], "no volume of the drive lies there");
    const json spanned = runJson({"sector", "11", "2048"})["sectors"][0];
    EXPECT_EQ(spanned["volume"], "S:");
    EXPECT_EQ(spanned["cluster"], nullptr);
    EXPECT_EQ(spanned["used"], nullptr);
    EXPECT_EQ(spanned["reason"], "the volume lies on several disks");
}

TEST_F(StorageCommand, FailsOverWhatItCannotReadAndOverEmptyNames) {
    EXPECT_EQ(run({"sector", "11", "2048"}).status, 0) << "an answer, though it is unknown";
    failCall("FSCTL_GET_VOLUME_BITMAP", ERROR_ACCESS_DENIED, 1, /*onwards=*/true);
    const Outcome refused = run({"sector", "1", "2048"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out,
              "sector 2048: D: Daten, cluster 0, not known: Windows does not report which "
              "clusters of the volume are in use\n");
    for (const Strings& empty : {Strings{"defrag", ""}, Strings{"drives", ""}, Strings{"sector", "", "1"}}) {
        const Outcome outcome = run(empty);
        EXPECT_EQ(outcome.status, 2) << empty[0];
        EXPECT_EQ(outcome.out, "") << empty[0];
    }
}

TEST_F(StorageCommand, CountsClustersOfFatFromItsDataArea) {
    const std::string pc = R"({
        "devices": [{"id": "HTREE\\ROOT\\0", "children": [{"id": "SCSI\\DISK\\1", "class": "DiskDrive",
            "interfaces": [{"class": "disk"}]}]}],
        "disks": [{"device": "SCSI\\DISK\\1", "number": {"number": 1}, "size": 1000000000, "partitions": [
            {"number": 1, "offset": 1048576, "length": 10485760}]}],
        "volumes": [{"name": "\\\\?\\Volume{1}\\", "mountPoints": ["X:\\"], "on": {"disk": 1, "partition": 1},
            "fileSystem": "FAT32", "total": 8388608, "free": 4194304, "used": [[1, 1]], "fileAreaOffset": 1024}]
    })";
    EXPECT_EQ(
        run({"sector", "1", "2048", "3071", "3072", "3080", "22528", "--machine", machineFile(pc)}).out,
        "sector 2048: X:, not known: it lies before the volume's first cluster, among the tables of the "
        "file system\n"
        "sector 3071: X:, not known: it lies before the volume's first cluster, among the tables of the "
        "file system\n"
        "sector 3072: X:, cluster 0, free\nsector 3080: X:, cluster 1, in use\n"
        "sector 22528: not known: no volume of the drive lies there\n");
    failCall("FSCTL_GET_RETRIEVAL_POINTER_BASE", ERROR_INVALID_FUNCTION, 1, /*onwards=*/true);
    EXPECT_EQ(run({"sector", "1", "3072", "--machine", machineFile(pc)}).out,
              "sector 3072: X:, not known: Windows does not report where the clusters of FAT32 begin\n");
}

TEST_F(StorageCommand, LocksVolumeByVolumeAndAlwaysUnlocks) {
    EXPECT_EQ(run({"drives", "1", "--lock"}).out,
              "locking D: Daten ... locked\nlocking E: Archiv ... locked\n"
              "unlocking D: Daten ... unlocked\nunlocking E: Archiv ... unlocked\n");
    EXPECT_TRUE(simulation::ledger().empty());

    // Windows runs from C:, which nobody gets.
    const Outcome refused = run({"drives", "0", "--lock"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out,
              "locking C: System ... refused: it is in use, or the rights of an administrator are missing\n");
    EXPECT_EQ(refused.err, "sysmira: the volume C: cannot be locked; what was locked is unlocked again.\n");
    EXPECT_GE(simulation::sleptMilliseconds(), 1200u);
    EXPECT_TRUE(simulation::ledger().empty());

    const Outcome spanned = run({"drives", "1", "--lock", "--machine", machineFile(SpannedPc)});
    EXPECT_TRUE(has(spanned.err, "X: lies partly on this drive")) << spanned.err;
    EXPECT_TRUE(has(spanned.err, "the drive has no volumes to lock")) << spanned.err;
    EXPECT_EQ(spanned.status, 1);
    failCall("FSCTL_LOCK_VOLUME", ERROR_NOT_READY, 1, /*onwards=*/true);
    EXPECT_EQ(run({"drives", "1", "--lock"}).out, "locking D: Daten ... refused: no medium is there\n");
    clearFaults();
    failCall("CreateFileW", ERROR_ACCESS_DENIED, 1, /*onwards=*/true);
    const Outcome closed = run({"drives", "SCSI\\DISK\\1", "--lock", "--machine", machineFile(SpannedPc)});
    EXPECT_EQ(closed.status, 1);
    EXPECT_TRUE(has(closed.err, "the drive cannot be opened; its volumes are not known")) << closed.err;
    clearFaults();
    EXPECT_EQ(runJson({"drives", "1", "--lock"})["volumes"][1],
              json({{"volume", "E:"}, {"locked", true}, {"unlocked", true}}));
}

TEST_F(StorageCommand, LogsWhatTheLibrarySays) {
    const std::string err = run({"--log", "2", "drives", "1", "--lock"}).err;
    EXPECT_TRUE(has(err, "libSysmira.Volume: 485 LOCK_VOLUME   - SUCCESS (\\\\.\\D:)\n")) << err;
    EXPECT_TRUE(has(err, "UNLOCK_VOLUME - SUCCESS (\\\\.\\E:)\n")) << err;
}

}  // namespace
