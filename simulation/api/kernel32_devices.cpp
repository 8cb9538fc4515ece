// DeviceIoControl. Each request stands in the journal, and fails, under the name of its control code; those
// that nobody knows, and all together, are "DeviceIoControl".
#include <unordered_map>

#include "simulation/api/ControlCodes.h"
#include "simulation/api/RealFunction.h"

namespace simulation {

namespace {

const ControlCode* findCode(DWORD code) {
    static const auto known = [] {
        std::unordered_map<DWORD, ControlCode> all;
        for (const auto& codes : {volumeControlCodes(), driveControlCodes()}) {
            for (const ControlCode& each : codes)
                all.emplace(each.code, each).first->second.function.family = "DeviceIoControl";
        }
        return all;
    }();
    const auto found = known.find(code);
    return found != known.end() ? &found->second : nullptr;
}

// The rights that a control code asks for stand in its bits 14 and 15.
bool mayAsk(DWORD code, DWORD access) {
    const DWORD needed = code >> 14 & 3;
    if ((needed & FILE_READ_ACCESS) != 0 && (access & (GENERIC_READ | GENERIC_ALL | FILE_READ_DATA)) == 0)
        return false;
    return (needed & FILE_WRITE_ACCESS) == 0 ||
           (access & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA)) != 0;
}

}  // namespace

DWORD ControlRequest::giveBytes(const void* bytes, size_t size) {
    if (copyOut(call, bytes, size, out, outSize, &returned)) return ERROR_SUCCESS;
    // Microsoft, DeviceIoControl: too small for any data, and the returned byte count is zero.
    returned = 0;
    return ERROR_INSUFFICIENT_BUFFER;
}

Disk* diskOf(const OpenedFile& file) {
    if (file.disk != nullptr || file.volume == nullptr || !file.volume->number) return file.disk;
    for (Disk& disk : machine().storage.disks()) {
        if (disk.number && disk.number->DeviceType == file.volume->number->DeviceType &&
            disk.number->DeviceNumber == file.volume->number->DeviceNumber) {
            return &disk;
        }
    }
    return nullptr;
}

}  // namespace simulation

using namespace simulation;

SIMULATED(BOOL, WINAPI, DeviceIoControl,
          (HANDLE handle, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize, LPDWORD returned,
           LPOVERLAPPED overlapped)) {
    static const Function unknown{"DeviceIoControl", Fails::WithZero, {ERROR_INVALID_FUNCTION}};
    using Real = BOOL WINAPI(HANDLE, DWORD, LPVOID, DWORD, LPVOID, DWORD, LPDWORD, LPOVERLAPPED);
    static const auto real = realFunction<Real>(L"kernel32.dll", "DeviceIoControl");
    if (real != nullptr && handle != INVALID_HANDLE_VALUE && !Ledger::wasGivenOut(handle))
        return real(handle, code, in, inSize, out, outSize, returned, overlapped);
    const ControlCode* known;
    {
        const Call::Inside inside;
        known = findCode(code);
    }
    Call call(known != nullptr ? known->function : unknown, inSize, outSize);
    // Microsoft, DeviceIoControl: without OVERLAPPED, lpBytesReturned cannot be null. Windows writes through
    // it whatever the request; here that is misuse.
    if (returned == nullptr && overlapped == nullptr) {
        ledger().violation("DeviceIoControl without OVERLAPPED and without lpBytesReturned");
        return call.fails<BOOL>(ERROR_NOACCESS);
    }
    if (returned != nullptr) *returned = 0;
    if (const auto fault = call.fault<BOOL>()) return *fault;
    OpenedFile* const file = openFiles().find(handle, call.name());
    if (file == nullptr) return call.fails<BOOL>(ERROR_INVALID_HANDLE);
    // Who waits for the end himself is not simulated; nobody here does.
    if (overlapped != nullptr || (file->disk == nullptr && file->volume == nullptr) || known == nullptr)
        return call.fails<BOOL>(ERROR_INVALID_FUNCTION);
    if (!mayAsk(code, file->access)) return call.fails<BOOL>(ERROR_ACCESS_DENIED);
    ControlRequest request{call, handle, *file, in, inSize, out, outSize};
    const DWORD error = known->answer(request);
    if (returned != nullptr) *returned = request.returned;
    return error == ERROR_SUCCESS ? call.returns<BOOL>(TRUE) : call.fails<BOOL>(error);
}
