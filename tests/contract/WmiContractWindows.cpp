#include "tests/contract/WmiContractMachine.h"

void prepareWmiContractMachine() {}
