// What the parts of the code for regions of bitmaps share.
#pragma once

#include "internal/opening.h"
#include "internal/region_.h"
#include "internal/views_.h"
#include "ravokit/bitmaprgn.h"

namespace rv {

inline RECT wholeOf(const BITMAPRECORD& bm) noexcept { return {0, 0, bm.Width, bm.Height}; }
inline bool isClipped(const BITMAPRECORD& bm) noexcept { return !(bm.Flags & BMF_RGN_NOCLIP); }

// Whether a mapping has a view and two fractions.
bool isMapping(const RgnMapping& mapping) noexcept;

// Brings a region into the coordinates of a bitmap. 1, or a status; it may be changed in part then.
int32_t RgnApplyMapping(const BITMAPRECORD& bm, const RgnMapping* pMapping, RavoRgn& rgn) noexcept;

// Brings a rectangle out of the coordinates of a bitmap. 1, or: -2, -13.
int32_t RgnMapRect(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RECT* pRect) noexcept;

// nValue x nNum / nDen, truncated, with the denominator less 1 added before when bRoundUp. A quotient that 32 bits
// don't hold is the nearest that they do.
int32_t RgnMapValue(int32_t nValue, int32_t nNum, int32_t nDen, bool bRoundUp) noexcept;

// Puts a region, which may be null, in the place of the bitmap's.
inline void replaceBitmapRegion(BITMAPRECORD& bm, RavoRgn* pRgn) noexcept {
    const RegionOwner old(std::exchange(bm.pRgnInfo, pRgn));
}

}  // namespace rv
