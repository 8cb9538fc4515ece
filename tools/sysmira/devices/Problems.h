// What the problem numbers of devices mean.
#pragma once

namespace sysmira {

/// In plain words, without a full stop, for every number that Windows gives out (CM_PROB_…, 1 to 57);
/// "unknown problem" for others.
const char* problemMeaning(unsigned problem);

}  // namespace sysmira
