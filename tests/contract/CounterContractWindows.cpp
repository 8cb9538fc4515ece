#include "tests/contract/CounterContractMachine.h"

void prepareCounterContractMachine() {}
