#include "libSysmira/perf/PerformanceNameTable.h"

namespace libSysmira {

namespace {

constexpr unsigned int decimal = 10;

unsigned int indexAt(const zor::Array<zor::String>& table, unsigned int position) {
    return zor::String::strToUInt(table[position], decimal);
}

}  // namespace

bool findPerfNameIndex(const zor::Array<zor::String>& table, const zor::String& name, unsigned int& index) {
    for (unsigned int position = 1; position < table.size(); position += 2) {
        const zor::String& entry = table[position];
        // Letter case never changes a length, and most names differ in it.
        if (entry.size() != name.size() || entry.compareNoCase(name) != 0) continue;
        index = indexAt(table, position - 1);
        return true;
    }
    return false;
}

bool findPerfName(const zor::Array<zor::String>& table, unsigned int index, zor::String& name) {
    for (unsigned int position = 0; position + 1 < table.size(); position += 2) {
        if (indexAt(table, position) != index) continue;
        name = table[position + 1];
        return true;
    }
    return false;
}

}  // namespace libSysmira
