// Sampling a source at places that a warp has found.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ravokit/bitmap.h"

namespace rv {

// Rows of the source in memory: row y stands y - nTop steps from pRows.
struct WarpSource {
    const uint8_t* pRows;
    ptrdiff_t nStride;
    int32_t nTop;
    const uint8_t* row(int32_t y) const noexcept { return pRows + (y - nTop) * nStride; }
};

// Where the pixels of a stretch lie in the source: columns and rows, and fractions of them in 1/65536. A fraction of 0
// asks for no neighbour.
constexpr size_t kWarpBlock = 256;
struct WarpPlaces {
    int32_t x[kWarpBlock], y[kWarpBlock];
    uint32_t xPart[kWarpBlock], yPart[kWarpBlock];
};

// Writes the pixels nFirst to nEnd of the places to the columns of pRow from nCol on.
using WarpKernel = void (*)(const WarpSource& source, const WarpPlaces& places, size_t nFirst, size_t nEnd,
                            uint8_t* pRow, size_t nCol, uint32_t uSignBit);
// The nearest pixel, or the blend of four.
WarpKernel warpKernel(const BITMAPRECORD& bm, bool bBlend) noexcept;

// The sign bit of a sample, or 0 where samples have none.
uint32_t signBit(const BITMAPRECORD& bm) noexcept;

}  // namespace rv
