#include <algorithm>
#include <sstream>

#include "libSysmira/enumeration/Volume.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "simulation/control/Ledger.h"
#include "support/Exception.h"
#include "support/RaisedException.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::FileHandle;
using libSysmira::StorageDeviceNumber;
using libSysmira::Volume;
using libSysmira::VolumeExtent;
using libSysmira::WindowsDevice;
using libSysmira::WindowsDrive;
using simulation::Resource;

constexpr char drivePath[] = "\\\\?\\scsi#disk&ven_nord#5&3&0#{disk}";
constexpr ULONGLONG MiB = 1024 * 1024;

DISK_EXTENT extent(DWORD disk, LONGLONG offset, LONGLONG length) {
    DISK_EXTENT result = {};
    result.DiskNumber = disk;
    result.StartingOffset.QuadPart = offset;
    result.ExtentLength.QuadPart = length;
    return result;
}

simulation::Volume volumeOf(const char16_t* name, const char16_t* mountPoint) {
    simulation::Volume volume;
    volume.name = name;
    if (*mountPoint != 0) volume.mountPoints = {mountPoint};
    volume.label = u"Data";
    volume.serial = 0x1A2B3C4D;
    volume.totalBytes = 64 * MiB;
    volume.freeBytes = 16 * MiB;
    volume.clusters = 16384;
    volume.used = {{0, 100}, {8000, 5}};
    volume.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 1, 1};
    volume.extents = {extent(1, MiB, 64 * MiB)};
    simulation::Partition partition;
    partition.gptAttributes = GPT_BASIC_DATA_ATTRIBUTE_HIDDEN;
    volume.partition = partition;
    return volume;
}

void addEncryption(simulation::Machine& machine) {
    simulation::WmiMethod status;
    status.name = u"GetConversionStatus";
    status.out = {{u"ReturnValue", CIM_UINT32}, {u"ConversionStatus", CIM_UINT32}};
    status.outcome.out = {{u"ReturnValue", 0}, {u"ConversionStatus", 1}};
    auto& encryption = machine.wmi[u"root\\cimv2\\Security\\MicrosoftVolumeEncryption"];
    encryption.add(simulation::WmiClass{
        u"Win32_EncryptableVolume",
        u"",
        {{u"DeviceID", CIM_STRING, {}, simulation::WmiKey}, {u"DriveLetter", CIM_STRING}},
        {status}});
    encryption.add(simulation::WmiInstance{u"Win32_EncryptableVolume",
                                           {{u"DeviceID", u"one"}, {u"DriveLetter", u"D:"}}});
}

// The smallest: a disk with the volume D:, and no devices.
void onePartitionPc(simulation::Machine& machine) {
    machine.name = u"PC";
    simulation::Disk disk;
    disk.paths = {u"\\\\?\\scsi#disk&ven_nord#5&3&0#{disk}", u"\\\\.\\PhysicalDrive1"};
    disk.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 1, 0};
    disk.vendor = "NORD    ";
    disk.product = "Licht  1000     ";
    disk.revision = "1.0 ";
    disk.serial = "N-0815";
    disk.size = 256 * MiB;
    disk.scsi = SCSI_ADDRESS{8, 1, 2, 3, 4};
    machine.storage.add(std::move(disk));
    simulation::Volume volume = volumeOf(u"\\\\?\\Volume{d}\\", u"D:\\");
    volume.paths = {u"\\\\?\\storage#volume#1#{volume}"};
    machine.storage.add(std::move(volume));
    addEncryption(machine);
}

// The same with devices, a volume that is mounted in a folder, E:, which spans three disks, and a network
// drive.
void storagePc(simulation::Machine& machine) {
    smallPc(machine);
    onePartitionPc(machine);
    simulation::Volume second = volumeOf(u"\\\\?\\Volume{m}\\", u"D:\\Mount\\");
    second.extents = {extent(1, 65 * MiB, 64 * MiB)};
    second.partition->gptType = {
        0xDE94BBA4, 0x06D1, 0x4D40, {0xA1, 0x6A, 0xBF, 0xD5, 0x01, 0x79, 0xD6, 0xAC}};
    machine.storage.add(std::move(second));
    simulation::Volume spanned = volumeOf(u"\\\\?\\Volume{e}\\", u"E:\\");
    spanned.number.reset();
    spanned.extents = {extent(2, 0, 10), extent(3, 20, 30), extent(4, 40, 50)};
    machine.storage.add(std::move(spanned));
    machine.storage.networkLetters = "N";
}

// What the encryption question may end in: COM's exceptions, and misuse after success with nothing in it, as
// which WMI's functions take other functions' codes.
bool throwsAsWmiDoes(const std::exception& exception, Failure failure) {
    if (dynamic_cast<const zor::RaisedException*>(&exception) != nullptr)
        return failure != Failure::Allocation;
    return failure == Failure::Code && dynamic_cast<const zor::Exception*>(&exception) != nullptr;
}

// Each line stands in the undisturbed output, or is one of these.
Check linesAmong(const std::vector<std::string>& others) {
    return [others](const Result& result, const Result& clean, Failure failure) -> std::string {
        if (failure == Failure::Deception) return {};
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);) {
            if (("\n" + clean.output).find("\n" + line + "\n") != std::string::npos) continue;
            if (std::find(others.begin(), others.end(), line) == others.end())
                return "unexpected \"" + line + "\"";
        }
        return {};
    };
}

template <class Value>
std::string line(const char* label, const Value& value) {
    if constexpr (std::is_arithmetic_v<Value>) {
        return std::string(label) + ": " + std::to_string(value) + "\n";
    } else {
        return std::string(label) + ": " + plain(value) + "\n";
    }
}

std::string describe(const Volume& volume) {
    const libSysmira::VolInfo& info = volume.info();
    return line("locator", volume.getOSLocator()) + line("name", volume.getVolumeGUIDPath()) +
           line("label", info.volumeName) + line("serial", info.serialNumber) +
           line("file system", info.fileSystemName) + line("total", info.totalBytes) +
           line("free", info.freeBytes) + line("used", info.usedBytes) + line("sector", info.bytesPerSector) +
           line("cluster", info.sectorsPerCluster) + line("flags", volume.flags());
}

// What descriptions may hold in place of what could not be read: nothing, no root, flags with some missing.
Check descriptions() {
    return linesMayLose({"0", "1", "32768", "32776", "8", "16", "24", "\\\\?\\Volume{m}"});
}

Result findAllVolumes() {
    zor::Array<Volume> volumes;
    const bool success = Volume::findAllVolumes(volumes);
    std::string text;
    for (const Volume& volume : volumes) text += plain(volume.getOSLocator()) + "\n";
    return {success, text};
}

Result volumeByLetter() {
    Volume volume('d');
    const std::string first = describe(volume);
    volume.update();
    return {true, first};
}

Result volumeByName() {
    const Volume volume(Volume::VolumeGUIDPath, "\\\\?\\Volume{m}\\");
    return {true, describe(volume)};
}

// Whatever fails: no lock that the caller does not hold.
std::string locks() {
    return "locks: " + std::to_string(simulation::ledger().count(Resource::VolumeLock)) + "\n";
}

Result volumeLock() {
    Volume volume('D');
    std::string text;
    const bool locked = volume.lockVolume();
    text += (locked ? "locked, " : "not locked, ") + locks();
    const bool dismounted = locked && volume.dismountVolume();
    const bool unlocked = volume.unlockVolume();
    text += std::string(dismounted ? "dismounted" : "not dismounted") +
            (unlocked ? ", unlocked, " : ", not unlocked, ") + locks();
    return {locked && dismounted && unlocked, text};
}

Result volumeDeviceNumber() {
    const Volume volume('D');
    StorageDeviceNumber number;
    number.deviceNumber = 77;
    const bool success = volume.getSDN(number);
    return {success, std::to_string(number.deviceNumber)};
}

Result volumeExtents() {
    const Volume volume('E');
    std::string text;
    for (const VolumeExtent& each : volume.getVolumeExtents()) {
        text += std::to_string(each.diskNumber) + " " + std::to_string(each.startingOffset) + " " +
                std::to_string(each.extentLength) + "\n";
    }
    return {!text.empty(), text};
}

Result volumeBitmap() {
    const Volume volume('D');
    const auto bitmap = volume.getVolumeClusterBitmap(/*refresh=*/false);
    if (!bitmap.isValid()) return {false, ""};
    unsigned used = 0;
    for (unsigned long long cluster = 0; cluster < bitmap->size(); ++cluster)
        used += bitmap->isUsed(cluster) ? 1 : 0;
    return {true, std::to_string(used) + " of " + std::to_string(bitmap->size())};
}

Result volumeEncryption() {
    const Volume volume('D');
    bool enabled = false;
    const bool success = volume.isBitLockerEnabled(enabled);
    return {success, enabled ? "encrypted" : "not encrypted"};
}

std::string describe(WindowsDrive& drive) {
    std::string text = line("vendor", drive.vendorId()) + line("product", drive.productId()) +
                       line("model", drive.modelId()) + line("revision", drive.productRevision()) +
                       line("serial", drive.serialNumber()) + line("sector", drive.getSectorSize()) +
                       line("capacity", drive.getTotalCapacity()) + line("sectors", drive.getSectorCount()) +
                       line("media", static_cast<int>(drive.getMediaType()));
    libSysmira::ScsiAddress address;
    text += line("lun", drive.scsiAddress(address) ? address.lun : 0);
    if (!drive.storageDescriptorInitialized()) return text;
    return text + line("type", drive.type()) + line("bus", drive.busType()) + line("disk", drive.isDisk()) +
           line("optical", drive.isOptical()) +
           line("read-only", static_cast<int>(drive.isReadOnly().getValue())) +
           line("offline", static_cast<int>(drive.isOffline().getValue()));
}

// From the geometry come a length rounded down to cylinders and a media kind.
Check driveDescriptions() { return linesMayLose({"0", "1", "2", "263208960", "514080"}); }

Result driveByPath() {
    WindowsDrive drive{zor::String(drivePath)};
    return {true, describe(drive)};
}

Result driveByHandle() {
    const FileHandle handle(zor::FileHandleResManager::open(
        {zor::String("\\\\.\\PhysicalDrive1"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0}));
    WindowsDrive drive(handle);
    return {true, describe(drive)};
}

Result driveByDevice() {
    const WindowsDevice device(zor::String("SCSI\\DISK&VEN_NORD\\5&3&0"));
    WindowsDrive drive(device);
    return {true, describe(drive)};
}

Result driveUpdated() {
    WindowsDrive drive{zor::String(drivePath)};
    drive.getTotalCapacity();
    drive.volumes();
    drive.update(/*flush=*/true);
    drive.updateVolumeAttributes();
    return {true, describe(drive)};
}

Result driveVolumes() {
    const WindowsDrive drive{zor::String(drivePath)};
    std::string text;
    for (const Volume& volume : drive.volumes()) text += plain(volume.getOSLocator()) + "\n";
    text += std::string(drive.isSystemDrive() ? "system " : "") +
            (drive.isApplicationDrive() ? "application " : "") +
            (drive.hasReadOnlyVolume() ? "read-only\n" : "writable\n");
    return {true, text};
}

Result driveLock() {
    WindowsDrive drive{zor::String(drivePath)};
    const bool locked = drive.lockVolumes();
    const bool told = drive.volumes().size() == simulation::ledger().count(Resource::VolumeLock);
    const std::string text = locked ? (told ? "all locked" : "said to be locked") : locks();
    const bool unlocked = drive.unlockVolumes();
    return {locked && unlocked, text};
}

Result driveLockAndDismount() {
    WindowsDrive drive{zor::String(drivePath)};
    const bool locked = drive.lockVolumesAndDismount();
    const bool told = drive.volumes().size() == simulation::ledger().count(Resource::VolumeLock);
    const std::string text = locked ? (told ? "all locked" : "said to be locked") : locks();
    const bool unlocked = drive.unlockVolumes();
    return {locked && unlocked, text};
}

Result driveEncryption() {
    const WindowsDrive drive{zor::String(drivePath)};
    bool enabled = true;
    const bool success = drive.isBitLockerEnabledOnVolumes(enabled);
    return {success, enabled ? "encrypted" : "not encrypted"};
}

Result driveSummary() {
    WindowsDrive drive{zor::String(drivePath)};
    const std::string text = plain(drive.getVolumeSummary(/*indent=*/1));
    const bool whole = text.find("OSLocator\n") != std::string::npos && text.ends_with("Volume\n");
    return {whole, whole ? "whole" : text};
}

Result driveSector() {
    WindowsDrive drive{zor::String(drivePath)};
    unsigned int volume = 77;
    unsigned long long cluster = 88;
    const bool found = drive.convertSectorToVCN(2048 + 8 * 8002, volume, cluster);
    std::string text = found ? std::to_string(cluster) : "nowhere";
    const zor::TriBool used = drive.isSectorInUsedCluster(2048 + 8 * 8002, &volume);
    text += used.isUnknown() ? ", unknown" : used.isTrue() ? ", used" : ", free";
    return {found && !used.isUnknown(), text};
}

}  // namespace

std::vector<Operation> storageOperations() {
    const std::string unlocked = "not locked, locks: 0\nnot dismounted, not unlocked, locks: 0\n";
    const std::string undismounted = "locked, locks: 1\nnot dismounted, unlocked, locks: 0\n";
    const std::string stuck = "locked, locks: 1\nnot dismounted, not unlocked, locks: 0\n";
    const std::string closed = "locked, locks: 1\ndismounted, not unlocked, locks: 0\n";
    std::vector<Operation> table = {
        {"VolumeFindAll", storagePc, findAllVolumes,
         linesAmong({"\\\\?\\Volume{d}", "\\\\?\\Volume{m}", "\\\\?\\Volume{e}"})},
        {"VolumeByLetter", onePartitionPc, volumeByLetter, descriptions()},
        {"VolumeByName", storagePc, volumeByName, descriptions()},
        {"VolumeLock", onePartitionPc, volumeLock, anyOf({unlocked, undismounted, stuck, closed})},
        {"VolumeDeviceNumber", onePartitionPc, volumeDeviceNumber, keptOnFailure("77")},
        {"VolumeExtents", storagePc, volumeExtents, clearedOnFailure()},
        {"VolumeBitmap", onePartitionPc, volumeBitmap, clearedOnFailure()},
        {"VolumeEncryption", onePartitionPc, volumeEncryption, anyOf({"not encrypted"}), throwsAsWmiDoes},
        {"DriveByPath", onePartitionPc, driveByPath, driveDescriptions()},
        {"DriveByHandle", onePartitionPc, driveByHandle, driveDescriptions()},
        {"DriveByDevice", storagePc, driveByDevice, driveDescriptions()},
        {"DriveUpdated", onePartitionPc, driveUpdated, driveDescriptions()},
        {"DriveVolumes", storagePc, driveVolumes,
         linesAmong(
             {"\\\\?\\Volume{d}", "\\\\?\\Volume{m}", "\\\\?\\storage#volume#1#{volume}", "writable"})},
        {"DriveLock", onePartitionPc, driveLock, anyOf({"all locked", "locks: 0\n"})},
        {"DriveLockAndDismount", onePartitionPc, driveLockAndDismount, anyOf({"all locked", "locks: 0\n"})},
        {"DriveEncryption", onePartitionPc, driveEncryption, anyOf({"not encrypted"}), throwsAsWmiDoes},
        {"DriveSummary", onePartitionPc, driveSummary, anyOf({"whole"})},
        {"DriveSector", onePartitionPc, driveSector,
         anyOf({"nowhere, unknown", "nowhere, used", "8002, unknown"})},
    };
    return table;
}

}  // namespace sweep
