// What the library adds to the calls that it must make for event logs, against bare loops of the same calls
// that check what they read as well. The simulated functions run with journal, faults and locks off.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "benchmarks/Ratio.h"
#include "libSysmira/eventLogs/EventLogParser.h"
#include "libSysmira/eventLogs/VistaEventLogs.h"
#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"

namespace {

using libSysmira::EventLogParser;
using libSysmira::EventLogSearchParams;
using libSysmira::VistaEventLogs;

constexpr DWORD BufferSize = 0x10000;

void fillLog(unsigned count) {
    simulation::reset();
    simulation::ClassicLog& log = simulation::machine().events.classic[u"System"];
    simulation::ClassicRecord record;
    for (unsigned i = 0; i < count; ++i) {
        record.source = i % 16 == 0 ? u"disk" : u"Service Control Manager";
        record.id = 0xC0040000 + i % 100;
        record.type = EVENTLOG_ERROR_TYPE;
        record.generated = i;
        record.strings = {u"\\Device\\Harddisk0\\DR0", u"running"};
        log.add(record);
    }
    simulation::control().watching = false;
}

// Calls visit(record, length) for each whole record of the log.
template <class Visit>
void walkBare(unsigned char* buffer, Visit&& visit) {
    const HANDLE log = OpenEventLogW(nullptr, L"System");
    DWORD left = 0, needed = 0;
    while (ReadEventLogW(log, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_FORWARDS_READ, 0, buffer, BufferSize, &left,
                         &needed)) {
        const unsigned char* at = buffer;
        while (left >= sizeof(EVENTLOGRECORD)) {
            const auto& record = *reinterpret_cast<const EVENTLOGRECORD*>(at);
            if (record.Length < sizeof record || record.Length > left) break;
            visit(record);
            at += record.Length;
            left -= record.Length;
        }
    }
    CloseEventLog(log);
}

// The name behind the fixed part is this one; it ends inside the record.
bool hasSource(const EVENTLOGRECORD& record, const WCHAR* name, std::size_t units) {
    const auto* const source = reinterpret_cast<const WCHAR*>(&record + 1);
    const std::size_t most = (record.Length - sizeof record) / sizeof(WCHAR);
    std::size_t length = 0;
    while (length < most && source[length] != 0) ++length;
    return length == units && std::memcmp(source, name, units * sizeof(WCHAR)) == 0;
}

// Beside evtexport (libevt), which prints each record as text, where ours hands out the fields of each.

// The records of the simulated log as an .evt file of the older Windows: a header, the records, an end.
bool writeEvtFile(const std::string& path, DWORD count) {
    const simulation::ClassicLog& log = simulation::machine().events.classic[u"System"];
    const auto end = static_cast<DWORD>(48 + log.begin(log.count()));
    const DWORD header[12] = {48, 0x654C664C, 1, 1, 48, end, count + 1, 1, end + 40, 0, 0, 48};
    const DWORD last[10] = {40,        0x11111111, 0x22222222, 0x33333333, 0x44444444,
                            header[4], header[5],  header[6],  header[7],  40};
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(header), sizeof header);
    file.write(reinterpret_cast<const char*>(log.bytes()),
               static_cast<std::streamsize>(log.begin(log.count())));
    file.write(reinterpret_cast<const char*>(last), sizeof last);
    return static_cast<bool>(file.flush());
}

void besideEvtexport(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    fillLog(count);
    const std::string path =
        (std::filesystem::temp_directory_path() / ("sysmira-" + std::to_string(getpid()) + ".evt")).string();
    const std::string command = "evtexport " + path + " 2>/dev/null | grep -c '^Event number'";
    if (!writeEvtFile(path, count)) return state.SkipWithError("the log cannot be written");
    const auto parser = std::make_unique<EventLogParser>();
    unsigned long long ours = 0, peer = 0;
    benchmarks::compare(
        state, {"records of a classic log, by time", "evtexport on the same log as a file", /*aim=*/0.01},
        [&] {
            ours = 0;
            parser->openEventLog("System");
            while (parser->getNextEvent()) ours += parser->getEventCode() != 0xFFFF;
        },
        [&] {
            peer = 0;
            std::FILE* const pipe = popen(command.c_str(), "r");
            if (pipe == nullptr || std::fscanf(pipe, "%llu", &peer) != 1) peer = 0;
            if (pipe != nullptr) pclose(pipe);
        });
    simulation::control().watching = true;
    std::remove(path.c_str());
    if (ours != count || peer != count)
        state.SkipWithError("not all records were found (is evtexport there?)");
}
BENCHMARK(besideEvtexport)->Arg(100'000)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

void iterateRecords(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    fillLog(count);
    const auto parser = std::make_unique<EventLogParser>();
    const auto buffer = std::make_unique<unsigned char[]>(BufferSize);
    unsigned long long ours = 0, peer = 0;
    benchmarks::compare(
        state, {"records of a classic log", "bare walk of the same buffers, lengths checked", /*aim=*/1.30},
        [&] {
            ours = 0;
            parser->openEventLog("System");
            while (parser->getNextEvent()) ours += parser->getEventCode() + parser->getTimeGenerated();
        },
        [&] {
            peer = 0;
            walkBare(buffer.get(), [&](const EVENTLOGRECORD& record) {
                peer += (record.EventID & 0xFFFF) + record.TimeGenerated;
            });
        });
    simulation::control().watching = true;
    if (ours != peer || ours == 0) return state.SkipWithError("the two have read different things");
    state.counters["records_per_second"] = benchmark::Counter(
        static_cast<double>(count) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(iterateRecords)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMillisecond);

class Count : public libSysmira::EventLogViewer {
public:
    bool viewEvent(EventLogParser&, void*) override { return ++found != 0; }
    unsigned found = 0;
};

void searchRecords(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    fillLog(count);
    const auto parser = std::make_unique<EventLogParser>();
    const auto buffer = std::make_unique<unsigned char[]>(BufferSize);
    EventLogSearchParams params;
    params.searchByCodeAndSource(16, "disk", nullptr);
    params.searchFlags = EventLogSearchParams::SearchBySource;
    parser->openEventLog("System");
    unsigned ours = 0, peer = 0;
    benchmarks::compare(
        state, {"searching a classic log for a source", "the same walk, names compared", /*aim=*/1.30},
        [&] {
            Count viewer;
            parser->search(viewer, params);
            ours = viewer.found;
        },
        [&] {
            peer = 0;
            walkBare(buffer.get(),
                     [&](const EVENTLOGRECORD& record) { peer += hasSource(record, L"disk", 4); });
        });
    simulation::control().watching = true;
    if (ours != peer || ours == 0) return state.SkipWithError("the two have found different records");
    state.counters["records_per_second"] = benchmark::Counter(
        static_cast<double>(count) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(searchRecords)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMillisecond);

// Rows of five values.

const WCHAR* const valuePaths[] = {L"Event/System/EventID", L"Event/System/EventRecordID",
                                   L"Event/System/Provider/@Name", L"Event/EventData/Data[@Name='Disk']",
                                   L"Event/EventData/Data[@Name='Errors']"};

unsigned rowsBare() {
    unsigned values = 0;
    const EVT_HANDLE query =
        EvtQuery(nullptr, L"System", L"*", EvtQueryChannelPath | EvtQueryReverseDirection);
    LPCWSTR paths[std::size(valuePaths)];
    std::copy(std::begin(valuePaths), std::end(valuePaths), paths);
    const EVT_HANDLE context = EvtCreateRenderContext(std::size(paths), paths, EvtRenderContextValues);
    EVT_HANDLE event = nullptr;
    DWORD returned = 0;
    alignas(8) unsigned char first[256];
    while (EvtNext(query, 1, &event, 5000, 0, &returned)) {
        DWORD used = 0, count = 0;
        if (!EvtRender(context, event, EvtRenderEventValues, sizeof first, first, &used, &count)) {
            const auto bytes = std::make_unique<unsigned char[]>(used);
            EvtRender(context, event, EvtRenderEventValues, used, bytes.get(), &used, &count);
        }
        values += count;
        EvtClose(event);
    }
    EvtClose(context);
    EvtClose(query);
    return values;
}

unsigned rowsOurs(const zor::Array<zor::String>& paths) {
    zor::Array<zor::Array<zor::ZORValue>> rows;
    VistaEventLogs::queryLogs("System", "*", VistaEventLogs::NewestFirst, paths, rows);
    unsigned values = 0;
    for (const auto& row : rows) values += row.size();
    return values;
}

void channelRows(benchmark::State& state) {
    const auto count = static_cast<unsigned>(state.range(0));
    simulation::reset();
    simulation::EventChannel& channel = simulation::machine().events.channels[u"System"];
    for (unsigned i = 0; i < count; ++i) {
        simulation::ChannelEvent event(u"Bench", 7);
        event.with(u"Disk", u"\\Device\\Harddisk0\\DR0");
        event.with(u"Errors", simulation::EventValue::number(EvtVarTypeUInt32, i));
        channel.add(std::move(event));
    }
    simulation::control().watching = false;
    zor::Array<zor::String> paths;
    for (const WCHAR* path : valuePaths) paths.append(path);
    unsigned ours = 0, peer = 0;
    benchmarks::compare(
        state, {"events of a channel, five values each", "bare loop of the same calls", /*aim=*/1.25},
        [&] { ours = rowsOurs(paths); }, [&] { peer = rowsBare(); });
    simulation::control().watching = true;
    if (ours != peer || ours != count * 5) return state.SkipWithError("the two have read different rows");
}
BENCHMARK(channelRows)->Arg(1'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
