// Exact turns from inside: tiles of pixels turned over their diagonal, and the half turn of a bitmap.
#pragma once

#include "internal/bitmap_.h"
#include "internal/rvclasses_.h"
#include "ravokit/copy.h"
#include "ravokit/rotate.h"

namespace rv {

// Makes pixel x of row y pixel y of row x, for nRows rows of nCols pixels. Steps go from row to row, up or down; rows
// start on bytes. Of each row that is written, whole bytes are: the bits behind the last pixel are cleared, but for
// those of 12 bits, which stay.
using TransposeTile = void (*)(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst, ptrdiff_t nDstStep, size_t nRows,
                               size_t nCols) noexcept;
TransposeTile plainTranspose(int32_t nBits) noexcept;
TransposeTile bestTranspose(int32_t nBits) noexcept;

// Region and overlays of bm go with the turn of its pixels, which are in turned: bm itself, or a bitmap that shares
// them. 1, or a status, and both are as they were then.
int32_t turnAttachments(BITMAPRECORD& turned, BITMAPRECORD& bm, int32_t nRegionAngle, int32_t nOverlayAngle) noexcept;

constexpr uint32_t kDuplicateShared = DUP_ALLOCATE | DUP_BEGIN_REPLACE;

// Puts turned, a duplicate of bm that shares its belongings, in its place once fill has given 1 and all else went well.
// 1, or a status, and turned is gone then.
template <class Fill>
int32_t replaceByTurned(BITMAPRECORD& turned, BITMAPRECORD& bm, int32_t nRegionAngle, int32_t nOverlayAngle,
                        Fill&& fill) noexcept {
    const auto fillLocked = [&]() noexcept {
        BitmapLock lockFrom(bm);
        if (lockFrom.status() != 1) return lockFrom.status();
        BitmapLock lockTo(turned);
        if (lockTo.status() != 1) return lockFrom.release(lockTo.status());
        return lockFrom.release(lockTo.release(fill()));
    };
    int32_t nStatus = fillLocked();
    if (nStatus == 1) nStatus = turnAttachments(turned, bm, nRegionAngle, nOverlayAngle);
    if (nStatus != 1) {
        dropDuplicate(turned, bm, kDuplicateShared);
        return nStatus;
    }
    replaceBitmap(bm, turned, true);
    return 1;
}

// Turns by 180 degrees in place, with region and overlays, and tells nStart to nEnd percent. Returns 1, or: -2 without
// storage, -1 no memory, the status of the lock and of row calls, the status callback's; the bitmap stands as
// it was then.
int32_t rotate180(BITMAPRECORD& bm, int32_t nStart, int32_t nEnd) noexcept;

}  // namespace rv
