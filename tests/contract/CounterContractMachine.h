// The counters that the contract is checked on: the up time of the object System. A real system has it of
// itself.
#pragma once

void prepareCounterContractMachine();
