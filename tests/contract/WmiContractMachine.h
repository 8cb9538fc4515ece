// The WMI that the contract is checked on: disk drives, and a class whose static method lists registry keys.
// A real system has them of itself.
#pragma once

void prepareWmiContractMachine();
