// What CreateFileW has opened: files, drives and volumes.
#pragma once

#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

struct OpenedFile {
    Text path;
    DWORD access = 0;
    Disk* disk = nullptr;      ///< of a drive
    Volume* volume = nullptr;  ///< of a volume
};

HandleTable<OpenedFile>& openFiles();

/// Gives up the lock that the handle has on its volume, if it has one.
void unlockVolume(HANDLE handle, Volume& volume, const char* function);

}  // namespace simulation
