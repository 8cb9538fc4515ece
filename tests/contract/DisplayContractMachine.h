// The displays that the contract is checked on: two outputs with a monitor each. A real system has what it
// has.
#pragma once

/// Gives how many monitors there must be at least. On a real system one, or what the variable
/// SYSMIRA_MONITORS says.
unsigned prepareDisplayContractMachine();
