// Reading values whose size somebody else announces.
#pragma once

#include <algorithm>
#include <cstddef>

#include "support/Buffer.h"
#include "support/Export.h"
#include "support/Types.h"

namespace zor {

/// No single value that Windows hands out is larger; a size beyond it is damage.
constexpr std::size_t LargestRead = std::size_t{64} << 20;

/// Resizes the buffer; false, with the buffer as it was, when the size is beyond LargestRead or memory lacks.
ZOR_API bool tryResize(Buffer<unsigned char>& bytes, std::size_t count) noexcept;

/// How often a value is asked for that grows between two calls.
constexpr int GrowingReadTries = 8;

/// Reads a value with a call that reports how many bytes it needs.
///
/// `call(data, size)` gets the room in `size` and leaves there what it wrote or what it needs; its result is
/// Windows' code. It runs at first with the `firstSize` bytes, and again with more room while the result is
/// `moreRoomCode`, up to GrowingReadTries times. The result is that of the last call, or `failureCode` when
/// the announced size is absurd, memory lacks, or a successful call reports more than it had room for. On
/// success the buffer has just the bytes that were written; otherwise it is empty.
template <class Call>
Uint32 readGrowing(Buffer<unsigned char>& bytes, Uint32 firstSize, Uint32 moreRoomCode, Uint32 failureCode,
                   Call&& call) {
    // A call without room would be taken for a question about the size.
    Uint32 room = std::max<Uint32>(firstSize, sizeof(Char16));
    Uint32 code = moreRoomCode;
    for (int tries = 0; tries < GrowingReadTries && code == moreRoomCode; ++tries) {
        if (!tryResize(bytes, room)) {
            code = failureCode;
            break;
        }
        Uint32 size = room;
        code = call(bytes.data(), size);
        if (code == 0 && size <= room && tryResize(bytes, size)) return 0;
        if (code == 0) code = failureCode;
        room = size > room
                   ? size
                   : static_cast<Uint32>(std::min<std::size_t>(std::size_t{room} * 2, LargestRead + 1));
    }
    bytes.clear();
    return code;
}

}  // namespace zor
