// Storage classes as the allocator and the freeing of a bitmap see them: one pair of functions each.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

// ---- thresholds

struct Thresholds {
    uint64_t nMemoryLimit;  // the most that a conventional bitmap may take
    uint64_t nTileSize;
};
// The limits of the calling thread, with percentages and defaults resolved.
Thresholds threadThresholds() noexcept;
uint64_t globalConventionalLimit() noexcept;  // 0 is none

// Whether temporary files are switched off.
bool temporaryFilesOff() noexcept;

// ---- classes: each creation gives 1 and has set hMemory, pData and nDataOffset, or a status, with the record as it
// was

int32_t createConventional(BITMAPRECORD& bm) noexcept;
void freeConventional(BITMAPRECORD& bm) noexcept;

int32_t createTiles(BITMAPRECORD& bm, uint64_t nTileSize, uint64_t nMemory, bool bNoDisk) noexcept;
int32_t createDiskFile(BITMAPRECORD& bm) noexcept;
int32_t createRunLists(BITMAPRECORD& bm) noexcept;
int32_t createStrips(BITMAPRECORD& bm) noexcept;

}  // namespace rv
