// The fill of the magic wand.
#pragma once

#include "internal/rgncolor_.h"

namespace rv {

// The region of the pixels that pass and are connected by edges, through pixels that pass, to the seed, which lies in
// the bitmap; where the fill starts besides is told at R_SetBitmapRgnMagicWand. 1, or: the status of the lock or of a
// row, -1.
int32_t fillFrom(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const PixelTest& test, RavoRgn** ppRgn) noexcept;

}  // namespace rv
