// Locks all volumes of a drive, as a raw test of it would, and gives them back.
#pragma once

#include "tools/sysmira/Output.h"
#include "tools/sysmira/storage/DriveFacts.h"

namespace sysmira {

/// Locks one volume after the other, saying so as it happens, and unlocks whatever was locked: at the end, at
/// the first volume that cannot be locked, and on Ctrl+C. Nothing is dismounted or written. Throws
/// CommandFailure when a volume could not be locked or unlocked.
void lockAndUnlock(const KnownDrive& drive, Output& output);

}  // namespace sysmira
