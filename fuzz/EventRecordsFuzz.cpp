// A classic event log of any bytes: records are found in them one behind the other, each inside what is
// there, and nothing that a record says about itself leads out of it.
#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz/Check.h"
#include "libSysmira/eventLogs/EventLogParser.h"
#include "libSysmira/eventLogs/EventRecord.h"
#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"

namespace {

using libSysmira::EventLogParser;
using libSysmira::EventRecord;
using libSysmira::RecordText;

void checkText(const RecordText& text, const unsigned char* record, std::size_t length) {
    FUZZ_CHECK(text.bytes >= record && text.bytes <= record + length);
    const std::size_t units = text.units + (text.terminated ? 1u : 0u);
    FUZZ_CHECK(units * sizeof(WCHAR) <= static_cast<std::size_t>(record + length - text.bytes));
    FUZZ_CHECK(text.toString().size() == text.units);
}

// The records in the bytes, which begin at an aligned address.
unsigned walk(const unsigned char* bytes, std::size_t left) {
    unsigned count = 0;
    while (const DWORD length = libSysmira::recordLength(bytes, left)) {
        FUZZ_CHECK(length >= sizeof(EVENTLOGRECORD) && length <= left);
        const EventRecord record(bytes, left);
        FUZZ_CHECK(record.length() == length);
        checkText(record.source(), bytes, length);
        unsigned strings = 0;
        record.forEachString([&](const RecordText& text) {
            FUZZ_CHECK(text.terminated);
            checkText(text, bytes, length);
            ++strings;
        });
        FUZZ_CHECK(strings <= record.fixed().NumStrings);
        bytes += length;
        left -= length;
        ++count;
    }
    return count;
}

// The same through the class; the simulated log hands out up to 64 KiB of raw bytes at once.
unsigned readThroughParser(const std::uint8_t* data, std::size_t size) {
    // Never destroyed: the simulation may go before it.
    static auto& theParser = *new EventLogParser;
    simulation::ClassicLog& log = simulation::machine().events.classic[u"System"];
    log.clear();
    log.addRaw({data, data + size});
    FUZZ_CHECK(theParser.openEventLog("System"));
    unsigned count = 0;
    zor::Array<zor::String> strings;
    while (theParser.getNextEvent()) {
        ++count;
        theParser.getMessageStringArguments(strings);
        FUZZ_CHECK(strings.size() <= theParser.getEvent().NumStrings);
        FUZZ_CHECK(!theParser.toString(/*withMessage=*/false, 1).empty());
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    simulation::control().watching = false;
    // Memory of exactly that size, aligned.
    const auto copy = std::make_unique<unsigned char[]>(size);
    std::copy_n(data, size, copy.get());
    const unsigned records = walk(copy.get(), size);
    if (size != 0 && size <= 0x10000) FUZZ_CHECK(readThroughParser(data, size) == records);
    return 0;
}
