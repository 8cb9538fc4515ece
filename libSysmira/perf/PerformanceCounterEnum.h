// Which performance objects, counters and instances there are, by their English names on any system.
//
// Lists come in the order of the Performance Data Helper. Names that have no English one are left out. A
// failure of Windows is an empty list. Threads: as for PerformanceCounterPath.
#pragma once

#include "libSysmira/Export.h"
#include "support/Array.h"
#include "support/String.h"

namespace libSysmira {

class SYSMIRA_API PerformanceCounterEnum {
public:
    PerformanceCounterEnum() = delete;

    /// Makes Windows look again which objects there are (PdhEnumObjectsW). True only when it says that it has
    /// nothing more to tell; where there are objects it says as a rule that their list needs room, and that
    /// is false here, though it did look.
    static bool refreshObjects();
    /// Replaces `objects` by the objects of this system; with `refresh`, Windows looks again first.
    static void enumObjects(zor::Array<zor::String>& objects, bool refresh);
    /// Replaces both lists by the instances and counters of an object. Instances have the same names in every
    /// language, and there are objects without any; two of one name are told apart in a path by "#1" behind
    /// the second.
    static void enumCounters(const zor::String& object, zor::Array<zor::String>& instances,
                             zor::Array<zor::String>& counters);
};

}  // namespace libSysmira
