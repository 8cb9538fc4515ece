// Searching a table of performance names, as the registry holds it.
#pragma once

#include "support/Array.h"
#include "support/Export.h"
#include "support/String.h"

namespace libSysmira {

// The table is a flat list: a decimal index, the name of it, the next index, its name … Anything may be in
// it: names that stand twice, indices that are no numbers (they count as 0) or have no name behind them.

/// The index of the first name that equals `name` whatever the case; false, with `index` as it was, when
/// there is none.
bool findPerfNameIndex(const zor::Array<zor::String>& table, const zor::String& name, unsigned int& index);

/// The name behind the first such index that has one; false, with `name` as it was, when there is none.
bool findPerfName(const zor::Array<zor::String>& table, unsigned int index, zor::String& name);

}  // namespace libSysmira
