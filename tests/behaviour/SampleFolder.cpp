#include "tests/behaviour/SampleFolder.h"

std::filesystem::path sampleFolder() { return SYSMIRA_SAMPLES; }
