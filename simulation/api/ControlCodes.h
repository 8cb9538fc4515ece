// The requests that drives and volumes answer through DeviceIoControl.
#pragma once

#include "simulation/api/OpenFiles.h"
#include "simulation/control/Call.h"

namespace simulation {

/// One request, while it is answered.
struct ControlRequest {
    const Call& call;
    HANDLE handle;
    OpenedFile& file;
    const void* in;
    DWORD inSize;
    void* out;
    DWORD outSize;
    DWORD returned = 0;  ///< bytes

    /// Answers with a structure of fixed size.
    template <class Answer>
    DWORD give(const Answer& answer) {
        return giveBytes(&answer, sizeof answer);
    }
    /// All of them or ERROR_INSUFFICIENT_BUFFER.
    DWORD giveBytes(const void* bytes, size_t size);
};

/// A request as it stands in the journal: under the name of its control code.
struct ControlCode {
    DWORD code;
    Function function;
    DWORD (*answer)(ControlRequest& request);  ///< gives an error, or ERROR_SUCCESS
};

/// Those of drives, and of volumes as far as they hand them on to their drive.
std::vector<ControlCode> driveControlCodes();
std::vector<ControlCode> volumeControlCodes();

/// The drive that a request is for: the one that is open, or the one on which the open volume lies; null when
/// it lies on several.
Disk* diskOf(const OpenedFile& file);

}  // namespace simulation
