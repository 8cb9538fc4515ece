#include "tests/contract/VolumeContractMachine.h"

void prepareVolumeContractMachine() {}
