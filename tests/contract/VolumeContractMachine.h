// The volumes that the contract is checked on: that of C:, the first partition of a drive, and no Q:. A real
// system has it of itself.
#pragma once

void prepareVolumeContractMachine();
