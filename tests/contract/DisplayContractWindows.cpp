#include <cstdlib>

#include "tests/contract/DisplayContractMachine.h"

unsigned prepareDisplayContractMachine() {
    const char* const expected = std::getenv("SYSMIRA_MONITORS");
    return expected != nullptr ? static_cast<unsigned>(std::atoi(expected)) : 1;
}
