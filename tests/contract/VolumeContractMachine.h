// The machine of the contract tests on volumes: one with a system drive C: and none called Q:.
#pragma once

/// In the simulation puts it up; Wine has one.
void prepareVolumeContractMachine();
