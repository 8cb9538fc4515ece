// What a volume answers: where it lies, which clusters are in use, and whether it can be had for oneself.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "simulation/api/ControlCodes.h"

namespace simulation {

namespace {

// Too small for all: the first extent, and ERROR_MORE_DATA. Too small for one: nothing.
DWORD extents(ControlRequest& request) {
    const Volume* const volume = request.file.volume;
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    constexpr size_t Head = offsetof(VOLUME_DISK_EXTENTS, Extents);
    if (request.outSize < sizeof(VOLUME_DISK_EXTENTS)) return ERROR_INSUFFICIENT_BUFFER;
    std::vector<unsigned char> bytes;
    if (volume->extentsAnswer) {
        bytes = *volume->extentsAnswer;
    } else {
        if (volume->extents.empty()) return ERROR_INVALID_FUNCTION;
        bytes.resize(Head + volume->extents.size() * sizeof(DISK_EXTENT));
        DWORD count = static_cast<DWORD>(volume->extents.size());
        if (request.call.distorted(Distortion::CountTooLarge)) count += 1'000'000;
        std::memcpy(bytes.data(), &count, sizeof count);
        std::memcpy(bytes.data() + Head, volume->extents.data(),
                    volume->extents.size() * sizeof(DISK_EXTENT));
    }
    if (bytes.size() <= request.outSize) return request.giveBytes(bytes.data(), bytes.size());
    request.giveBytes(bytes.data(), sizeof(VOLUME_DISK_EXTENTS));
    return ERROR_MORE_DATA;
}

// Why the file system does not answer this handle. Microsoft, FSCTL_LOCK_VOLUME: a locked volume can be
// accessed only through handles to the file object that locks it, and NTFS treats it as dismounted; requests
// of NTFS then fail with ERROR_NOT_READY (reports of driver developers on FSCTL_GET_VOLUME_BITMAP).
DWORD whyNoFileSystem(const ControlRequest& request) {
    const Volume& volume = *request.file.volume;
    if (!volume.ready) return ERROR_NOT_READY;
    if (volume.lockedBy == nullptr) return ERROR_SUCCESS;
    if (volume.lockedBy != request.handle) return ERROR_ACCESS_DENIED;
    const bool isDismounted = volume.fileSystem == u"NTFS" && !volume.answersWhileLocked;
    return isDismounted ? ERROR_NOT_READY : ERROR_SUCCESS;
}

// Where cluster 0 begins, in sectors: 0 on NTFS, the first data cluster on the FAT family.
DWORD retrievalPointerBase(ControlRequest& request) {
    const Volume* const volume = request.file.volume;
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    if (const DWORD error = whyNoFileSystem(request); error != ERROR_SUCCESS) return error;
    RETRIEVAL_POINTER_BASE answer = {};
    answer.FileAreaOffset.QuadPart = static_cast<LONGLONG>(volume->fileAreaOffset);
    return request.give(answer);
}

// The count is that of the clusters from the first one asked for to the end; what fits of them is given.
DWORD bitmap(ControlRequest& request) {
    const Volume* const volume = request.file.volume;
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    if (volume->bitmapError != 0) return volume->bitmapError;
    if (const DWORD error = whyNoFileSystem(request); error != ERROR_SUCCESS) return error;
    if (volume->bitmapNeedsDataAccess && !hasDataAccess(request.file.access)) return ERROR_ACCESS_DENIED;
    if (request.in == nullptr || request.inSize < sizeof(STARTING_LCN_INPUT_BUFFER))
        return ERROR_INVALID_PARAMETER;
    if (request.outSize < sizeof(VOLUME_BITMAP_BUFFER)) return ERROR_INSUFFICIENT_BUFFER;
    STARTING_LCN_INPUT_BUFFER start;
    std::memcpy(&start, request.in, sizeof start);
    const auto first = static_cast<ULONGLONG>(start.StartingLcn.QuadPart) / 8 * 8;
    if (start.StartingLcn.QuadPart < 0 || first > volume->clusters) return ERROR_INVALID_PARAMETER;
    constexpr size_t Head = offsetof(VOLUME_BITMAP_BUFFER, Buffer);
    const ULONGLONG bits = volume->clusters - first;
    const ULONGLONG needed = (bits + 7) / 8;
    const auto given = static_cast<size_t>(std::min<ULONGLONG>(needed, request.outSize - Head));
    if (!request.call.distorted(Distortion::NothingWritten)) {
        VOLUME_BITMAP_BUFFER head = {};
        head.StartingLcn.QuadPart = static_cast<LONGLONG>(first);
        head.BitmapSize.QuadPart = static_cast<LONGLONG>(bits);
        if (request.call.distorted(Distortion::CountTooLarge))
            head.BitmapSize.QuadPart = static_cast<LONGLONG>(bits * 2 + 1'000'000);
        std::memcpy(request.out, &head, Head);
        fillBitmap(*volume, first, static_cast<unsigned char*>(request.out) + Head, given);
        request.returned = static_cast<DWORD>(Head + given);
    }
    if (request.call.distorted(Distortion::SizeTooLarge)) request.returned = request.outSize + 4096;
    if (request.call.distorted(Distortion::SizeZero)) request.returned = 0;
    return given < needed ? ERROR_MORE_DATA : ERROR_SUCCESS;
}

DWORD gptAttributes(ControlRequest& request) {
    const Volume* const volume = request.file.volume;
    if (volume == nullptr || !volume->partition || !volume->partition->gpt) return ERROR_INVALID_FUNCTION;
    VOLUME_GET_GPT_ATTRIBUTES_INFORMATION answer = {};
    answer.GptAttributes = volume->partition->gptAttributes;
    return request.give(answer);
}

// The volume of a request to its file system, which a handle that bypasses that does not reach.
Volume* volumeByFileSystem(const ControlRequest& request) {
    return meetsFileSystem(request.file.access) ? request.file.volume : nullptr;
}

// A volume that is locked is not locked again, not even through the same handle.
DWORD lock(ControlRequest& request) {
    Volume* const volume = volumeByFileSystem(request);
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    if (!volume->ready) return ERROR_NOT_READY;
    if (volume->lockRefusals != 0) {
        --volume->lockRefusals;
        return ERROR_ACCESS_DENIED;
    }
    if (volume->lockedByOthers || volume->lockedBy != nullptr) return ERROR_ACCESS_DENIED;
    // Microsoft, FSCTL_LOCK_VOLUME: fails if there are any open files on the volume.
    if (isOpenElsewhere(request.handle, *volume)) return ERROR_ACCESS_DENIED;
    volume->lockedBy = request.handle;
    ledger().opened(Resource::VolumeLock, volume, request.call.name());
    return ERROR_SUCCESS;
}

DWORD unlock(ControlRequest& request) {
    Volume* const volume = volumeByFileSystem(request);
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    if (volume->lockedBy != request.handle) return ERROR_NOT_LOCKED;
    if (volume->unlockError != 0) return volume->unlockError;
    unlockVolume(request.handle, *volume, request.call.name());
    return ERROR_SUCCESS;
}

// Microsoft, FSCTL_DISMOUNT_VOLUME: does not check for open files.
DWORD dismount(ControlRequest& request) {
    Volume* const volume = volumeByFileSystem(request);
    if (volume == nullptr) return ERROR_INVALID_FUNCTION;
    if (volume->dismountError != 0) return volume->dismountError;
    if (!volume->ready) return ERROR_NOT_READY;
    if (volume->lockedBy != nullptr && volume->lockedBy != request.handle) return ERROR_ACCESS_DENIED;
    ++volume->dismounts;
    return ERROR_SUCCESS;
}

}  // namespace

std::vector<ControlCode> volumeControlCodes() {
    return {
        {IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS,
         {"IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_MORE_DATA, ERROR_NOT_READY},
          Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero | Distortion::OddSize |
              Distortion::CountTooLarge},
         extents},
        {FSCTL_GET_VOLUME_BITMAP,
         {"FSCTL_GET_VOLUME_BITMAP",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_MORE_DATA, ERROR_ACCESS_DENIED},
          Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero |
              Distortion::CountTooLarge},
         bitmap},
        {FSCTL_GET_RETRIEVAL_POINTER_BASE,
         {"FSCTL_GET_RETRIEVAL_POINTER_BASE",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_ACCESS_DENIED, ERROR_NOT_READY},
          Distortion::NothingWritten | Distortion::SizeZero},
         retrievalPointerBase},
        {IOCTL_VOLUME_GET_GPT_ATTRIBUTES,
         {"IOCTL_VOLUME_GET_GPT_ATTRIBUTES",
          Fails::WithZero,
          {ERROR_INVALID_FUNCTION, ERROR_NOT_READY},
          Distortion::NothingWritten | Distortion::SizeZero},
         gptAttributes},
        {FSCTL_LOCK_VOLUME,
         {"FSCTL_LOCK_VOLUME", Fails::WithZero, {ERROR_ACCESS_DENIED, ERROR_NOT_READY, ERROR_WRITE_PROTECT}},
         lock},
        {FSCTL_UNLOCK_VOLUME,
         {"FSCTL_UNLOCK_VOLUME", Fails::WithZero, {ERROR_NOT_LOCKED, ERROR_ACCESS_DENIED}},
         unlock},
        {FSCTL_DISMOUNT_VOLUME,
         {"FSCTL_DISMOUNT_VOLUME", Fails::WithZero, {ERROR_ACCESS_DENIED, ERROR_WRITE_PROTECT}},
         dismount},
    };
}

}  // namespace simulation
