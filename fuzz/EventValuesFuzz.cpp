// An answer of EvtRender of any bytes: it gives as many values as there can be in it, and what they point to
// is read inside it or not at all. The first byte is the count; pointers that are smaller than the answer are
// taken for places in it.
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz/Check.h"
#include "libSysmira/eventLogs/EventValues.h"
#include "simulation/control/Call.h"
#include "support/LogFactory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    simulation::control().watching = false;
    // What is logged about a value is built, too.
    static const bool logging = [] {
        zor::LogFactory::setPriority(1);
        zor::LogFactory::setSink([](const zor::String&, int, const zor::String&) {});
        return true;
    }();
    (void)logging;

    const DWORD count = *data++;
    --size;
    const auto bytes = std::make_unique<unsigned char[]>(size);
    std::copy_n(data, size, bytes.get());
    for (std::size_t at = 0; at + sizeof(EVT_VARIANT) <= size; at += sizeof(EVT_VARIANT)) {
        ULONG_PTR pointer = 0;
        std::memcpy(&pointer, bytes.get() + at, sizeof pointer);
        if (pointer >= size) continue;
        pointer += reinterpret_cast<ULONG_PTR>(bytes.get());
        std::memcpy(bytes.get() + at, &pointer, sizeof pointer);
    }

    zor::Array<zor::ZORValue> row{zor::ZORValue(1)};
    libSysmira::appendEventValues(bytes.get(), size, count, row);
    FUZZ_CHECK(row.size() == 1 + std::min<std::size_t>(count, size / sizeof(EVT_VARIANT)));
    for (const zor::ZORValue& value : row)
        FUZZ_CHECK(value.toString().size() <= std::max<std::size_t>(size, 32));
    return 0;
}
