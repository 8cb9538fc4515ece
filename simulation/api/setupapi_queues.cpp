// File queues. In this PC only a class installer fills them, and none is ever committed.
#include <algorithm>

#include "simulation/api/DeviceInfoLists.h"
#include "simulation/api/FileQueues.h"
#include "simulation/control/Call.h"

namespace simulation {

HandleTable<FileQueue>& fileQueues() {
    static HandleTable<FileQueue> theQueues(Resource::FileQueue);
    static const AtReset atReset([] { theQueues.clear(); });
    return theQueues;
}

namespace {

// Hands one path to a callback. The path lives for this one call: its memory is gone when it is over.
UINT report(Call& call, PSP_FILE_CALLBACK_W callback, PVOID context, const Text& target) {
    const auto path = std::make_unique<WCHAR[]>(target.size() + 1);
    std::copy(target.begin(), target.end(), path.get());
    path[target.size()] = 0;
    return call.outside(
        [&] { return callback(context, SPFILENOTIFY_QUEUESCAN, reinterpret_cast<UINT_PTR>(path.get()), 0); });
}

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED(HSPFILEQ, WINAPI, SetupOpenFileQueue, (void)) {
    static const Function function{"SetupOpenFileQueue",
                                   Fails::WithMinusOne,
                                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED},
                                   0u | Distortion::NullResult};
    Call call(function);
    if (const auto fault = call.fault<HSPFILEQ>()) return *fault;
    if (call.distorted(Distortion::NullResult)) return call.returns<HSPFILEQ>(nullptr);
    return call.returns<HSPFILEQ>(fileQueues().add(std::make_unique<FileQueue>(), call.name()));
}

SIMULATED(BOOL, WINAPI, SetupCloseFileQueue, (HSPFILEQ handle)) {
    static const Function function{"SetupCloseFileQueue",
                                   Fails::WithZero,
                                   {ERROR_INVALID_HANDLE, static_cast<long long>(ERROR_FILEQUEUE_LOCKED)},
                                   0};
    Call call(function, handle);
    // A queue that install parameters still name is locked (Microsoft's text of this error).
    if (isNamedByInstallParams(handle))
        return call.fails<BOOL>(static_cast<long long>(ERROR_FILEQUEUE_LOCKED));
    // Closing is not tried twice: a queue whose closing is made to fail is gone all the same.
    const bool closed = fileQueues().close(handle, call.name());
    if (const auto fault = call.fault<BOOL>()) return *fault;
    return closed ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(ERROR_INVALID_HANDLE);
}

SIMULATED(BOOL, WINAPI, SetupScanFileQueueW,
          (HSPFILEQ handle, DWORD flags, HWND, PSP_FILE_CALLBACK_W callback, PVOID context, PDWORD result)) {
    static const Function function{"SetupScanFileQueueW",
                                   Fails::WithZero,
                                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER, ERROR_INVALID_HANDLE},
                                   0u | Distortion::NothingWritten};
    Call call(function, handle, flags);
    const auto fault = call.fault<BOOL>();
    const FileQueue* queue = fileQueues().find(handle, call.name());
    if (fault) {
        // A scan that fails may have reported files before.
        if (queue != nullptr && callback != nullptr && !queue->targets.empty()) {
            report(call, callback, context, queue->targets.front());
        }
        return call.fault<BOOL>().value();
    }
    if (queue == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    if (result == nullptr || callback == nullptr) return call.fails<BOOL>(ERROR_INVALID_PARAMETER);
    // Scans that look at the target files themselves are not offered.
    if (flags != SPQ_SCAN_USE_CALLBACK) return call.fails<BOOL>(ERROR_CALL_NOT_IMPLEMENTED);
    const bool written = !call.distorted(Distortion::NothingWritten);
    if (written) *result = 0;
    const std::vector<Text> targets = queue->targets;  // the callback may close the queue
    for (const Text& target : targets) {
        // The first answer that is not NO_ERROR ends the scan and becomes the last error.
        const UINT answer = report(call, callback, context, target);
        if (answer != NO_ERROR) return call.fails<BOOL>(answer);
    }
    if (written) *result = 1;
    return call.returns<BOOL>(TRUE);
}
