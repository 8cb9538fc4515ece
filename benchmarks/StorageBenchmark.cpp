// What the library adds to the Windows calls that volumes and drives take, and to the bits of a cluster
// bitmap. The simulated functions run with journal, faults and locks off.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <unordered_map>

#include "benchmarks/Ratio.h"
#include "libSysmira/enumeration/Volume.h"
#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "libSysmira/enumeration/WindowsDrive.h"
#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace {

using libSysmira::Volume;
using libSysmira::WindowsDeviceSet;
using libSysmira::WindowsDrive;
using simulation::DeviceNode;
using simulation::Text;

constexpr ULONGLONG MiB = 1ull << 20;
constexpr ULONGLONG TiB = 1ull << 40;
constexpr ULONGLONG SectorBytes = 512;
constexpr ULONGLONG ClusterBytes = 4096;

Text numbered(const char16_t* prefix, unsigned number, const char16_t* suffix = u"") {
    Text text = prefix;
    const std::string digits = std::to_string(number);
    text.append(6 - std::min<size_t>(digits.size(), 6), u'0');
    for (const char digit : digits) text += static_cast<char16_t>(digit);
    return text + suffix;
}

Text volumeName(unsigned number) {
    return numbered(u"\\\\?\\Volume{7d4b2a10-93c6-4e0f-8a51-4d3e20", number, u"}\\");
}

void emptyMachine() {
    simulation::reset();
    simulation::control().watching = false;
}

// One after the other, with a gap of 1 MiB in front of each.
std::vector<DISK_EXTENT> extentsOf(unsigned count) {
    std::vector<DISK_EXTENT> extents(count);
    const ULONGLONG length = TiB / count / ClusterBytes * ClusterBytes;
    ULONGLONG offset = MiB;
    for (DISK_EXTENT& extent : extents) {
        extent.DiskNumber = 1;
        extent.StartingOffset.QuadPart = static_cast<LONGLONG>(offset);
        extent.ExtentLength.QuadPart = static_cast<LONGLONG>(length);
        offset += length + MiB;
    }
    return extents;
}

// A disk and a volume of 1 TiB on it, D:, half full; its bitmap has 32 MiB.
void addLargeVolume(const std::vector<DISK_EXTENT>& extents) {
    emptyMachine();
    simulation::Machine& machine = simulation::machine();
    simulation::Disk disk;
    disk.paths = {u"\\\\.\\PhysicalDrive1"};
    disk.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 1, 0};
    disk.product = "Disk";
    disk.size = 2 * TiB;
    machine.storage.add(std::move(disk));
    simulation::Volume volume;
    volume.name = volumeName(1);
    volume.mountPoints = {u"D:\\"};
    volume.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, 1, 1};
    volume.totalBytes = TiB;
    volume.freeBytes = TiB / 2;
    volume.clusters = TiB / ClusterBytes;
    // By turns, so that both states occur wherever an extent begins.
    for (ULONGLONG cluster = 0; cluster < volume.clusters; cluster += 8192)
        volume.used.push_back({cluster, 4096});
    volume.extents = extents;
    machine.storage.add(std::move(volume));
}

// Of places anywhere in the extents, in no order.
std::vector<unsigned long long> randomSectors(const std::vector<DISK_EXTENT>& extents, size_t count) {
    std::mt19937_64 random(1);
    std::vector<unsigned long long> sectors(count);
    for (unsigned long long& sector : sectors) {
        const DISK_EXTENT& extent = extents[random() % extents.size()];
        sector = (static_cast<ULONGLONG>(extent.StartingOffset.QuadPart) +
                  random() % static_cast<ULONGLONG>(extent.ExtentLength.QuadPart)) /
                 SectorBytes;
    }
    return sectors;
}

unsigned usedSectors(WindowsDrive& drive, const std::vector<unsigned long long>& sectors) {
    unsigned used = 0;
    for (const unsigned long long sector : sectors)
        used += drive.isSectorInUsedCluster(sector, nullptr).isTrue();
    return used;
}

bool isSet(const unsigned char* bits, unsigned long long bit) { return (bits[bit / 8] >> bit % 8 & 1) != 0; }

// Whether the library says of each sector what `peer` says of its place, and both states occur.
template <class Peer>
bool sayTheSame(WindowsDrive& drive, const std::vector<unsigned long long>& sectors, Peer&& peer) {
    size_t used = 0;
    for (size_t i = 0; i < sectors.size(); ++i) {
        const zor::TriBool state = drive.isSectorInUsedCluster(sectors[i], nullptr);
        if (state.isUnknown() || state.isTrue() != peer(i)) return false;
        used += state.isTrue();
    }
    return used != 0 && used != sectors.size();
}

// Against tests of the same bits, whose numbers are known beforehand.
void sectorsOfOneExtent(benchmark::State& state) {
    const std::vector<DISK_EXTENT> extents = extentsOf(1);
    addLargeVolume(extents);
    const std::vector<unsigned long long> sectors = randomSectors(extents, 1 << 18);
    std::vector<unsigned long long> clusters;
    for (const unsigned long long sector : sectors)
        clusters.push_back((sector * SectorBytes - MiB) / ClusterBytes);
    WindowsDrive drive(zor::String("\\\\.\\PhysicalDrive1"));
    if (drive.volumes().size() != 1) return state.SkipWithError("the drive does not have its volume");
    const libSysmira::SharedClusterBitmap bitmap = drive.volumes()[0].getVolumeClusterBitmap(false);
    const unsigned char* const bits = bitmap->bytes().data();
    if (!sayTheSame(drive, sectors, [&](size_t i) { return isSet(bits, clusters[i]); }))
        return state.SkipWithError("the library and the bare bits differ");
    benchmarks::compare(
        state,
        {"whether a random sector is in use, 1 TiB volume of one extent", "bare bit test at the same places",
         /*aim=*/1.20},
        [&] { benchmark::DoNotOptimize(usedSectors(drive, sectors)); },
        [&] {
            unsigned used = 0;
            for (const unsigned long long cluster : clusters) used += isSet(bits, cluster);
            benchmark::DoNotOptimize(used);
        });
}
BENCHMARK(sectorsOfOneExtent)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Against a look through the array that Windows gives, from its beginning to the hit.
bool bareState(const std::vector<DISK_EXTENT>& extents, const unsigned char* bits,
               unsigned long long sector) {
    const auto byte = static_cast<LONGLONG>(sector * SectorBytes);
    for (const DISK_EXTENT& extent : extents) {
        const LONGLONG first = extent.StartingOffset.QuadPart;
        if (byte >= first && byte < first + extent.ExtentLength.QuadPart)
            return isSet(bits, static_cast<ULONGLONG>(byte - first) / ClusterBytes);
    }
    return false;
}

enum class Order { OfTheDisk, Shuffled };

void sectorsOfThousandExtents(benchmark::State& state, Order order) {
    std::vector<DISK_EXTENT> extents = extentsOf(1'000);
    if (order == Order::Shuffled) std::shuffle(extents.begin(), extents.end(), std::mt19937_64(2));
    addLargeVolume(extents);
    const std::vector<unsigned long long> sectors = randomSectors(extents, 1 << 12);
    WindowsDrive drive(zor::String("\\\\.\\PhysicalDrive1"));
    if (drive.volumes().size() != 1) return state.SkipWithError("the drive does not have its volume");
    const libSysmira::SharedClusterBitmap bitmap = drive.volumes()[0].getVolumeClusterBitmap(false);
    const unsigned char* const bits = bitmap->bytes().data();
    if (!sayTheSame(drive, sectors, [&](size_t i) { return bareState(extents, bits, sectors[i]); }))
        return state.SkipWithError("the library and the bare scan differ");
    benchmarks::compare(
        state, {"the same with 1,000 extents", "search of a bare array", /*aim=*/1.20},
        [&] { benchmark::DoNotOptimize(usedSectors(drive, sectors)); },
        [&] {
            unsigned used = 0;
            for (const unsigned long long sector : sectors) used += bareState(extents, bits, sector);
            benchmark::DoNotOptimize(used);
        });
}
BENCHMARK_CAPTURE(sectorsOfThousandExtents, inOrder, Order::OfTheDisk)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(sectorsOfThousandExtents, shuffled, Order::Shuffled)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

struct BareBitmap {
    ULONGLONG clusters = 0;
    size_t size = 0;
    std::unique_ptr<unsigned char[]> bytes;
};

HANDLE openForAttributes(const WCHAR* path) {
    return CreateFileW(path, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       0, nullptr);
}

// The request for the size, the request for all, and one copy of the bits, to be kept without the header.
BareBitmap readBareBitmap(const WCHAR* path) {
    constexpr size_t Head = offsetof(VOLUME_BITMAP_BUFFER, Buffer);
    BareBitmap bitmap;
    const HANDLE volume = openForAttributes(path);
    STARTING_LCN_INPUT_BUFFER start = {};
    VOLUME_BITMAP_BUFFER head = {};
    DWORD returned = 0;
    DeviceIoControl(volume, FSCTL_GET_VOLUME_BITMAP, &start, sizeof start, &head, sizeof head, &returned,
                    nullptr);
    const auto size = static_cast<DWORD>(Head + static_cast<ULONGLONG>(head.BitmapSize.QuadPart + 7) / 8);
    const std::unique_ptr<unsigned char[]> answer(new unsigned char[size]);
    if (DeviceIoControl(volume, FSCTL_GET_VOLUME_BITMAP, &start, sizeof start, answer.get(), size, &returned,
                        nullptr)) {
        bitmap.clusters = static_cast<ULONGLONG>(head.BitmapSize.QuadPart);
        bitmap.size = returned - Head;
        bitmap.bytes.reset(new unsigned char[bitmap.size]);
        std::memcpy(bitmap.bytes.get(), answer.get() + Head, bitmap.size);
    }
    CloseHandle(volume);
    return bitmap;
}

void bitmapOf32MiB(benchmark::State& state) {
    addLargeVolume(extentsOf(1));
    const Volume volume('D');
    const zor::String path("\\\\.\\D:");
    BareBitmap bare = readBareBitmap(path.getUCS2Buffer());
    {
        const libSysmira::SharedClusterBitmap bitmap = volume.getVolumeClusterBitmap(true);
        if (!bitmap.isValid() || bitmap->bytes().size() != 32 * MiB || bare.size != 32 * MiB ||
            bitmap->size() != bare.clusters ||
            std::memcmp(bitmap->bytes().data(), bare.bytes.get(), bare.size) != 0) {
            return state.SkipWithError("the library and the bare request read different bits");
        }
    }
    // Both replace what they kept.
    benchmarks::compare(
        state, {"reading a bitmap of 32 MiB", "bare requests and one copy", /*aim=*/1.10},
        [&] { benchmark::DoNotOptimize(volume.getVolumeClusterBitmap(true).isValid()); },
        [&] {
            bare = readBareBitmap(path.getUCS2Buffer());
            benchmark::DoNotOptimize(bare.bytes.get());
        });
}
BENCHMARK(bitmapOf32MiB)->UseManualTime()->Unit(benchmark::kMillisecond);

// Volumes, the first ones with letters. On `drives` drives, or on the first when there is but one, and with
// device records when `records` is set.
void addVolumes(unsigned count, unsigned drives = 1, bool records = false) {
    emptyMachine();
    simulation::Machine& machine = simulation::machine();
    DeviceNode rootNode;
    rootNode.instanceId = u"HTREE\\ROOT\\0";
    rootNode.status = DN_DRIVER_LOADED | DN_STARTED;
    const DEVINST root = machine.add(std::move(rootNode)).handle;
    const auto addRecord = [&](const Text& id, const GUID& interfaceClass, const Text& path) -> DeviceNode& {
        DeviceNode node;
        node.instanceId = id;
        node.classGuid = interfaceClass == GUID_DEVINTERFACE_DISK ? GUID_DEVCLASS_DISKDRIVE : GUID{};
        node.status = DN_DRIVER_LOADED | DN_STARTED;
        node.text(SPDRP_DEVICEDESC, u"A device for storage");
        node.interfaces = {{interfaceClass, path}};
        return machine.add(std::move(node), root);
    };
    std::vector<DeviceNode*> disks;
    for (unsigned i = 0; records && i < drives; ++i) {
        simulation::Disk disk;
        disk.paths = {numbered(u"\\\\?\\scsi#disk#", i)};
        disk.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, i, 0};
        disk.product = "Disk";
        disk.size = TiB;
        disks.push_back(&addRecord(numbered(u"SCSI\\DISK\\", i), GUID_DEVINTERFACE_DISK, disk.paths[0]));
        machine.storage.add(std::move(disk));
    }
    for (unsigned i = 0; i < count; ++i) {
        simulation::Volume volume;
        volume.name = volumeName(i);
        if (i < 24) volume.mountPoints = {Text(1, static_cast<char16_t>(u'C' + i)) + u":\\"};
        volume.number = STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, i % drives, i / drives + 1};
        if (records) {
            volume.paths = {numbered(u"\\\\?\\storage#volume#", i)};
            const Text id = numbered(u"STORAGE\\VOLUME\\", i);
            addRecord(id, GUID_DEVINTERFACE_VOLUME, volume.paths[0]);
            disks[i % drives]->removalRelations.push_back(id);
        }
        machine.storage.add(std::move(volume));
    }
}

// What a caller of the bare functions must keep of a volume to use it: its name, and the path that opens it.
struct BareVolume {
    Text name;
    Text path;
    char letter = 0;
};

const WCHAR* wide(const Text& text) { return reinterpret_cast<const WCHAR*>(text.c_str()); }

void countDevices(const GUID& interfaceClass, unsigned& count) {
    const HDEVINFO list =
        SetupDiGetClassDevsW(&interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(list, index, &data); ++index) ++count;
    SetupDiDestroyDeviceInfoList(list);
}

// The very calls that finding all volumes takes. Names are kept in strings of their own, in a vector of
// records, since the library keeps them as well.
std::vector<BareVolume> findBareVolumes() {
    std::vector<BareVolume> volumes;
    std::map<Text, char> letters;
    WCHAR name[MAX_PATH];
    const DWORD drives = GetLogicalDrives();
    for (int number = 0; number < 26; ++number) {
        if ((drives & 1u << number) == 0 || IsNetDrive(number) != 0) continue;
        const WCHAR root[] = {static_cast<WCHAR>('A' + number), ':', '\\', 0};
        if (GetVolumeNameForVolumeMountPointW(root, name, MAX_PATH))
            letters.emplace(simulation::fromWide(name), static_cast<char>('A' + number));
    }
    const HANDLE search = FindFirstVolumeW(name, MAX_PATH);
    if (search == INVALID_HANDLE_VALUE) return volumes;
    do {
        BareVolume& volume = volumes.emplace_back();
        volume.name = simulation::fromWide(name);
        const auto found = letters.find(volume.name);
        if (found != letters.end()) {
            volume.letter = found->second;
            volume.path = u"\\\\.\\?:";
            volume.path[4] = static_cast<char16_t>(volume.letter);
        } else {
            volume.path = volume.name.substr(0, volume.name.size() - 1);
        }
    } while (FindNextVolumeW(search, name, MAX_PATH));
    FindVolumeClose(search);
    unsigned hidden = 0;
    countDevices(GUID_DEVINTERFACE_HIDDEN_VOLUME, hidden);
    benchmark::DoNotOptimize(hidden);
    return volumes;
}

size_t findVolumes() {
    zor::Array<Volume> volumes;
    Volume::findAllVolumes(volumes);
    return volumes.size();
}

template <class Work>
std::vector<std::string> callsOf(Work&& work) {
    simulation::Control& control = simulation::control();
    control.watching = true;
    control.clearJournal();
    work();
    control.watching = false;
    return control.names();
}

Text textOf(const zor::String& text) { return simulation::fromWide(text.getUCS2Buffer()); }

// Why the two ways are not to be compared; null when they are.
const char* differenceOfVolumes() {
    zor::Array<Volume> ours;
    Volume::findAllVolumes(ours);
    const std::vector<BareVolume> bare = findBareVolumes();
    if (ours.size() != bare.size()) return "the library and the bare calls find different volumes";
    for (unsigned i = 0; i < ours.size(); ++i) {
        char letter = 0;
        ours[i].getDriveLetter(letter);
        if (textOf(ours[i].getVolumeGUIDPath()) != bare[i].name ||
            textOf(ours[i].getOSLocator()) != bare[i].path || letter != bare[i].letter) {
            return "the library and the bare calls find different volumes";
        }
    }
    return callsOf([] { findVolumes(); }) == callsOf([] { findBareVolumes(); })
               ? nullptr
               : "the library and the bare loop make different calls";
}

void findAllVolumes(benchmark::State& state) {
    addVolumes(static_cast<unsigned>(state.range(0)));
    if (const char* const difference = differenceOfVolumes()) return state.SkipWithError(difference);
    benchmarks::compare(
        state, {"finding volumes", "bare loop of the same calls, names kept", /*aim=*/1.15},
        [] { benchmark::DoNotOptimize(findVolumes()); },
        [] { benchmark::DoNotOptimize(findBareVolumes().data()); });
}
BENCHMARK(findAllVolumes)->Arg(100)->Arg(1'000)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMicrosecond);

// How the time grows with ten times the volumes: the counter "ratio" for the library, "bare" for the calls.
void findTenTimesTheVolumes(benchmark::State& state) {
    const auto few = static_cast<unsigned>(state.range(0));
    const auto ours = [] { benchmark::DoNotOptimize(findVolumes()); };
    const auto peer = [] { benchmark::DoNotOptimize(findBareVolumes().data()); };
    std::vector<double> library[2], calls[2];
    for (auto _ : state) {
        for (const int many : {0, 1}) {
            addVolumes(many != 0 ? few * 10 : few);
            for (int i = 0; i < 5; ++i) {
                library[many].push_back(benchmarks::secondsOf(ours));
                calls[many].push_back(benchmarks::secondsOf(peer));
            }
        }
        state.SetIterationTime(library[1].back());
    }
    benchmarks::report(
        state,
        {"ten times the volumes, against a tenth of them", "growth of the bare loop beside it", /*aim=*/0},
        benchmarks::Ratio(library[1], library[0]));
    state.counters["bare"] = benchmarks::Ratio(calls[1], calls[0]).middle;
}
BENCHMARK(findTenTimesTheVolumes)
    ->Arg(100)
    ->Arg(1'000)
    ->UseManualTime()
    ->Iterations(20)
    ->Unit(benchmark::kMicrosecond);

// The volumes of each drive: all volumes are asked for their device, and the records of volume devices for
// those that belong to the drive's own record.

struct BareDrive {
    HANDLE handle = INVALID_HANDLE_VALUE;
    Text id;
};

struct BareRecord {
    Text id;
    Text path;
};

// The calls that reading the records of the devices with an interface takes.
void readBareRecords(const GUID& interfaceClass, std::vector<BareRecord>& records) {
    const HDEVINFO list =
        SetupDiGetClassDevsW(&interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(list, index, &data); ++index) {
        SP_DEVICE_INTERFACE_DATA interfaceData = {};
        interfaceData.cbSize = sizeof interfaceData;
        if (!SetupDiEnumDeviceInterfaces(list, &data, &interfaceClass, 0, &interfaceData)) continue;
        alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) BYTE bytes[1024];
        auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(bytes);
        detail->cbSize = sizeof *detail;
        DWORD required = 0;
        SetupDiGetDeviceInterfaceDetailW(list, &interfaceData, detail, sizeof bytes, &required, nullptr);
        WCHAR id[1024];
        SetupDiGetDeviceInstanceIdW(list, &data, id, 1024, &required);
        for (const DWORD property : {SPDRP_FRIENDLYNAME, SPDRP_DEVICEDESC, SPDRP_ENUMERATOR_NAME}) {
            BYTE value[1024];
            DWORD type = 0;
            if (!SetupDiGetDeviceRegistryPropertyW(list, &data, property, &type, nullptr, 0, &required) &&
                GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
                SetupDiGetDeviceRegistryPropertyW(list, &data, property, &type, value, required, &required);
            }
        }
        records.push_back({simulation::fromWide(id), simulation::fromWide(detail->DevicePath)});
    }
    SetupDiDestroyDeviceInfoList(list);
}

std::vector<Text> readBareRelations(const BareDrive& drive) {
    std::vector<Text> ids;
    DEVINST node = 0;
    CM_Locate_DevNodeW(&node, const_cast<WCHAR*>(wide(drive.id)), 0);
    for (const ULONG filter : {CM_GETIDLIST_FILTER_REMOVALRELATIONS, CM_GETIDLIST_FILTER_BUSRELATIONS}) {
        WCHAR id[1024];
        ULONG units = 0;
        CM_Get_Device_IDW(node, id, 1024, 0);
        CM_Get_Device_ID_List_SizeW(&units, id, filter);
        std::vector<WCHAR> list(units + 1);
        CM_Get_Device_ID_ListW(id, list.data(), units, filter);
        for (const WCHAR* each = list.data(); *each != 0; each += ids.back().size() + 1)
            ids.push_back(simulation::fromWide(each));
    }
    return ids;
}

bool readBareNumber(HANDLE device, STORAGE_DEVICE_NUMBER& number) {
    DWORD returned = 0;
    return DeviceIoControl(device, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof number,
                           &returned, nullptr) != 0;
}

// Which of all volumes have the drive's number, or else, when these are more, its records' volumes.
std::vector<Text> findBareVolumesOf(const BareDrive& drive) {
    std::vector<std::pair<DWORD, Text>> places;
    for (BareVolume& volume : findBareVolumes()) {
        const HANDLE handle = openForAttributes(wide(volume.path));
        STORAGE_DEVICE_NUMBER number = {};
        const bool known = readBareNumber(handle, number);
        CloseHandle(handle);
        if (known && GetDriveTypeW(wide(volume.name)) == DRIVE_FIXED)
            places.emplace_back(number.DeviceNumber, std::move(volume.path));
    }
    std::vector<Text> ofNumber, ofRecord;
    STORAGE_DEVICE_NUMBER own = {};
    readBareNumber(drive.handle, own);
    for (auto& [number, path] : places) {
        if (number == own.DeviceNumber) ofNumber.push_back(std::move(path));
    }

    std::vector<BareRecord> records;
    readBareRecords(GUID_DEVINTERFACE_VOLUME, records);
    readBareRecords(GUID_DEVINTERFACE_HIDDEN_VOLUME, records);
    std::unordered_map<Text, const Text*> paths;
    for (BareRecord& record : records) paths.emplace(std::move(record.id), &record.path);
    for (const Text& id : readBareRelations(drive)) {
        const auto found = paths.find(id);
        if (found == paths.end()) continue;
        WCHAR name[MAX_PATH];
        WCHAR mountPaths[MAX_PATH];
        DWORD returned = 0;
        GetVolumeNameForVolumeMountPointW(wide(*found->second + u"\\"), name, MAX_PATH);
        GetVolumePathNamesForVolumeNameW(name, mountPaths, MAX_PATH, &returned);
        ofRecord.push_back(*found->second);
    }
    return ofRecord.size() > ofNumber.size() ? ofRecord : ofNumber;
}

// The same drives for both ways.
class DrivesOfBothWays {
public:
    DrivesOfBothWays() {
        WindowsDeviceSet disks;
        disks.appendDisks();
        for (const libSysmira::WindowsDevice& disk : disks) {
            m_drives.emplace_back(disk);
            m_drives.back().volumes();
            m_bare.push_back({m_drives.back().getHandle().get(), textOf(disk.getDeviceInstanceId())});
        }
    }

    const char* difference(size_t drives, size_t volumesEach) {
        if (m_drives.size() != drives) return "not every drive was found";
        for (size_t i = 0; i < drives; ++i) {
            std::vector<Text> ours;
            for (const Volume& volume : m_drives[i].volumes()) ours.push_back(textOf(volume.getOSLocator()));
            if (ours.size() != volumesEach || ours != findBareVolumesOf(m_bare[i]))
                return "the library and the bare calls find different volumes of a drive";
        }
        std::vector<std::string> library = callsOf([&] { m_drives[0].update(/*flush=*/false); });
        std::vector<std::string> bare = callsOf([&] { findBareVolumesOf(m_bare[0]); });
        // Some are made in another order: lists are closed with the last record of theirs.
        std::sort(library.begin(), library.end());
        std::sort(bare.begin(), bare.end());
        return library == bare ? nullptr : "the library and the bare loop make different calls";
    }

    void findByLibrary() {
        for (WindowsDrive& drive : m_drives) drive.update(/*flush=*/false);
        benchmark::DoNotOptimize(m_drives.back().volumes().size());
    }
    void findBare() {
        for (const BareDrive& drive : m_bare) benchmark::DoNotOptimize(findBareVolumesOf(drive).data());
    }

private:
    std::vector<WindowsDrive> m_drives;
    std::vector<BareDrive> m_bare;
};

void volumesOfDrives(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    constexpr unsigned VolumesEach = 10;
    addVolumes(count * VolumesEach, count, /*records=*/true);
    DrivesOfBothWays drives;
    if (const char* const difference = drives.difference(count, VolumesEach))
        return state.SkipWithError(difference);
    benchmarks::compare(
        state, {"which of 1,000 volumes lie on each drive", "bare loop of the same calls", /*aim=*/0},
        [&] { drives.findByLibrary(); }, [&] { drives.findBare(); });
}
BENCHMARK(volumesOfDrives)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
