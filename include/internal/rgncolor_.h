// Regions made of the pixels of a bitmap that pass a test of their colour. Each is the caller's, as those of region.h.
#pragma once

#include "ravokit/region.h"

namespace rv {

// The workers of the calls of colorrgn.h: what each of them gives R_SetBitmapRgn. They check nothing, access the bitmap
// for the time of the scan and leave its own region alone. Return 1, or: the status of the lock or of a row, -1; then
// *ppRgn is as it was. The pixels of a 1-bit mask that are white: regionOfColor(mask, 0xFFFFFF, &pRgn).
int32_t regionOfColor(BITMAPRECORD& bm, COLORREF crColor, RavoRgn** ppRgn) noexcept;
int32_t regionOfRgbRange(BITMAPRECORD& bm, COLORREF crLow, COLORREF crHigh, RavoRgn** ppRgn) noexcept;
int32_t regionOfHsvRange(BITMAPRECORD& bm, uint32_t hsvLow, uint32_t hsvHigh, RavoRgn** ppRgn) noexcept;
// Also -13 for a seed outside of the bitmap, or one that has no colour. pBorder may be null.
int32_t regionOfWand(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const COLORREF* pBorder, COLORREF crLower,
                     COLORREF crUpper, RavoRgn** ppRgn) noexcept;

}  // namespace rv
