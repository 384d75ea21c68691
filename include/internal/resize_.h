// What the calls that resize share.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

// Completes the size that a picture of nSrcWidth x nSrcHeight is to have: a 0 becomes what keeps the aspect ratio.
// False where there is no such size: an empty picture, a negative or a second 0, a result below 1 or past the type.
bool repairSize(int32_t nSrcWidth, int32_t nSrcHeight, int32_t& nWidth, int32_t& nHeight) noexcept;

// The black pixels that a fine line leaves in a box of nBox pixels: about the root, a little less of small ones.
uint32_t inkOfLine(uint64_t nBox) noexcept;

// The resize of 1-bit pictures that counts black pixels: a pixel is black where its part of the source, of as many rows
// and columns as the steps tell, holds enough of them. Both bitmaps are locked. 1, or a status.
int32_t favourBlack(BITMAPRECORD& src, BITMAPRECORD& dst) noexcept;

// Gives transparent pixels of 32 or 64 bits the colours of visible neighbours, so that a filter finds no dark ones
// beside them, if there are transparent pixels: in rows if bWidens, in columns if bHeightens. 1, or a status.
int32_t bleedColors(BITMAPRECORD& bm, bool bWidens, bool bHeightens) noexcept;

}  // namespace rv
