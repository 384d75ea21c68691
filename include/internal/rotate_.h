// Exact turns from inside: tiles of pixels turned over their diagonal, and the half turn of a bitmap.
#pragma once

#include "ravokit/rotate.h"

namespace rv {

// Makes pixel x of row y pixel y of row x, for nRows rows of nCols pixels. Steps go from row to row, up or down; rows
// start on bytes. Of each row that is written, whole bytes are: the bits behind the last pixel are cleared, but for
// those of 12 bits, which stay.
using TransposeTile = void (*)(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst, ptrdiff_t nDstStep, size_t nRows,
                               size_t nCols) noexcept;
TransposeTile plainTranspose(int32_t nBits) noexcept;
TransposeTile bestTranspose(int32_t nBits) noexcept;

// A quarter turn is a transposition of rows that are read from the last one up (clockwise), or written so.
struct Quarter {
    bool bClockwise;
    // Where source row i, in the order of columns that they become, and destination row x stand.
    int32_t sourceRow(int32_t i, int32_t nRows) const noexcept { return bClockwise ? nRows - 1 - i : i; }
    int32_t destRow(int32_t x, int32_t nRows) const noexcept { return bClockwise ? x : nRows - 1 - x; }
};

// Turns by 180 degrees in place, with region and overlays, and tells nStart to nEnd percent. Returns 1, or: -2 null or
// without storage, -1 no memory, the status of the lock and of row calls, the status callback's; the bitmap stands as it
// was then.
int32_t rotate180(BITMAPRECORD& bm, int32_t nStart, int32_t nEnd) noexcept;

}  // namespace rv
