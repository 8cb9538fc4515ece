// What CreateFileW has opened: files, drives and volumes.
#pragma once

#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

struct OpenedFile {
    Text path;
    DWORD access = 0;
    DWORD share = 0;           ///< FILE_SHARE_ bits
    Disk* disk = nullptr;      ///< of a drive
    Volume* volume = nullptr;  ///< of a volume
};

HandleTable<OpenedFile>& openFiles();

/// Whether the rights include reading or writing data.
bool hasDataAccess(DWORD access);
/// Whether opening a volume with these rights goes through its file system. With the rights to read
/// attributes and to synchronize alone it does not (Microsoft, "Opening a volume for direct access": such an
/// open does not mount the volume).
bool meetsFileSystem(DWORD access);
/// Whether another handle with data access to the volume, or to a file on it, is open.
bool isOpenElsewhere(HANDLE handle, const Volume& volume);

/// Gives up the lock that the handle has on its volume, if it has one.
void unlockVolume(HANDLE handle, Volume& volume, const char* function);

}  // namespace simulation
