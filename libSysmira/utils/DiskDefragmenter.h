// The fragmentation of a volume, as Windows' own analysis tells it.
//
//     libSysmira::DiskDefragmenter defragmenter('C');
//     libSysmira::DefragStatus status;
//     auto step = libSysmira::DiskDefragmenter::OperationInProgress;
//     while (step == libSysmira::DiskDefragmenter::OperationInProgress)
//         step = defragmenter.getDefragStatusNonBlocking(status, /*timeoutMs=*/250);
//
// The analysis is the method DefragAnalysis of WMI's Win32_Volume. It changes nothing on the volume, takes
// minutes on a large one, and needs an administrator.
//
// Threads and COM: the object enters COM's multithreaded apartment on the thread that constructs it and
// leaves it on the thread that destroys it, which must be the same one and in no single-threaded apartment.
// Several threads may poll one object: a lock lets them in one at a time, and each enters COM by itself. The
// object must not be destroyed while a poll runs.
//
// Failures write lines of priority 1 and 3 on the logger "libSysmira.DiskDefragmenter".
#pragma once

#include <memory>

#include "libSysmira/Export.h"
#include "support/Array.h"
#include "support/mutex.h"

namespace libSysmira {

class WmiCallResult;
class WmiObject;

struct DefragStatus {
    char driveLetter = 0;
    bool defragRecommended = false;
    unsigned int totalPercentFragmentation = 0;
    unsigned int filePercentFragmentation = 0;
    unsigned int freeSpacePercentFragmentation = 0;
};

class SYSMIRA_API DiskDefragmenter {
public:
    enum OperationStatus {
        OperationInProgress = 0,  ///< the analysis runs: poll again
        OperationComplete = 1,    ///< it has ended, and the status is filled
        OperationFailed = 2,      ///< no such volume, a failed call, or results that cannot be read
    };

    /// Looks the fixed volume of the letter (of either case) up in WMI. When there is none, every poll fails.
    /// Throws InitializationError and zor::Exception as WmiNamespace does.
    explicit DiskDefragmenter(char driveLetter);
    DiskDefragmenter(const DiskDefragmenter&) = delete;
    DiskDefragmenter& operator=(const DiskDefragmenter&) = delete;
    /// An analysis that still runs is left to itself.
    ~DiskDefragmenter();

    /// As it was given.
    char getDriveLetter() const { return m_driveLetter; }

    /// Appends the letters of fixed disks, 'A' to 'Z', to what is there (GetLogicalDrives, GetDriveTypeW).
    /// Always true.
    static bool getFixedDiskVolumes(zor::Array<char>& letters);

    /// One step: starts the analysis when none runs, and waits at most `timeoutMs` milliseconds for its end.
    /// After OperationComplete and OperationFailed the next step starts a new one. `status` is written by
    /// OperationComplete alone, except that results which cannot be read to the end leave those read before.
    /// Throws zor::Exception when the thread is in a single-threaded apartment, and ComError when COM is out
    /// of memory; a running analysis is then left for the next step.
    OperationStatus getDefragStatusNonBlocking(DefragStatus& status, unsigned int timeoutMs);

    /// What the method itself returned when the last analysis ended: 0 for success, 1 access denied, 3 dirty
    /// volume, 8 engine is busy, and so on (Microsoft, DefragAnalysis). False, and `value` unchanged, when it
    /// has not come that far.
    bool getMethodReturnValue(unsigned int& value) const;

private:
    bool getWmiVolumeObject();
    bool startDefragAnalysis();

    // What is not exported.
    OperationStatus poll(DefragStatus& status, unsigned int timeoutMs);
    void forgetAnalysis();

    enum State { Idle = 0, Started = 1 };

    char m_driveLetter;
    mutable zor::mutex m_mutex;
    int m_state = Idle;
    bool m_hasReturnValue = false;
    unsigned int m_returnValue = 0;
    std::unique_ptr<WmiObject> m_pVolume;
    std::unique_ptr<WmiCallResult> m_pCallResult;
};

}  // namespace libSysmira
