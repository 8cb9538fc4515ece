// Tables of performance names made of any bytes: what is found is the first that there is, what is not found
// changes nothing, and nothing beyond the table is read.
#include <algorithm>
#include <cstdint>

#include "fuzz/Check.h"
#include "libSysmira/perf/PerformanceNameTable.h"
#include "support/MultiString.h"

namespace {

using Table = zor::Array<zor::String>;

constexpr unsigned int untouched = 0x5A5A5A5A;
constexpr unsigned int mostTried = 48;  // entries: each is searched for in all of them

unsigned int numberOf(const zor::String& text) {
    unsigned long long value = 0;
    return text.toUint64(value, 10) == zor::String::ParseSuccess && value <= 0xFFFFFFFF
               ? static_cast<unsigned int>(value)
               : 0;
}

void checkIndexOf(const Table& table, const zor::String& name) {
    unsigned int expected = untouched;
    for (unsigned int i = 1; i < table.size() && expected == untouched; i += 2) {
        if (table[i].compareNoCase(name) == 0) expected = numberOf(table[i - 1]);
    }
    unsigned int index = untouched;
    const bool found = libSysmira::findPerfNameIndex(table, name, index);
    FUZZ_CHECK(index == expected);
    FUZZ_CHECK(found || index == untouched);
}

void checkNameOf(const Table& table, unsigned int index) {
    const zor::String before("before");
    zor::String expected = before;
    bool any = false;
    for (unsigned int i = 0; i + 1 < table.size() && !any; i += 2) {
        any = numberOf(table[i]) == index;
        if (any) expected = table[i + 1];
    }
    zor::String name = before;
    FUZZ_CHECK(libSysmira::findPerfName(table, index, name) == any);
    FUZZ_CHECK(name == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Table table;
    zor::splitMultiString(data, size, table);
    const unsigned int tried = std::min(table.size(), mostTried);
    for (unsigned int i = 0; i < tried; ++i) {
        checkIndexOf(table, table[i]);
        zor::String other = table[i];
        checkIndexOf(table, other.toUpper());
        checkIndexOf(table, other + "?");
        checkNameOf(table, numberOf(table[i]));
        checkNameOf(table, numberOf(table[i]) + 1);
    }
    checkIndexOf(table, zor::String());
    checkNameOf(table, 0);
    return 0;
}
