// Where what is seen lies in the stored rows.
#pragma once

#include "internal/rowaccess.h"
#include "ravokit/view.h"

namespace rv {

constexpr bool isView(int32_t nView) noexcept { return nView >= TOP_LEFT && nView <= LEFT_BOTTOM; }

// Whether a view sees stored rows as columns.
constexpr bool seesColumns(int32_t nView) noexcept { return nView >= LEFT_TOP && nView <= LEFT_BOTTOM; }
inline bool hasRowsAsColumns(const BITMAPRECORD& bm) noexcept { return seesColumns(bm.ViewPerspective); }

// Whether what is seen is mirrored, so that what turns clockwise there turns the other way in the store.
constexpr bool isMirrored(int32_t nView) noexcept {
    return nView == TOP_RIGHT || nView == BOTTOM_LEFT || nView == LEFT_TOP || nView == RIGHT_BOTTOM;
}
inline bool isMirrored(const BITMAPRECORD& bm) noexcept { return isMirrored(bm.ViewPerspective); }
static_assert(TOP_RIGHT == 2 && BOTTOM_LEFT == 4 && LEFT_TOP == 5 && RIGHT_BOTTOM == 7);

// The size that a view sees of a stored size, and that of the picture as it is seen.
constexpr SIZE sizeThrough(int32_t nView, int32_t nWidth, int32_t nHeight) noexcept {
    return seesColumns(nView) ? SIZE{nHeight, nWidth} : SIZE{nWidth, nHeight};
}
inline SIZE seenSize(const BITMAPRECORD& bm) noexcept { return sizeThrough(bm.ViewPerspective, bm.Width, bm.Height); }

// Brings a rectangle inside of what is seen to stored rows and columns: 1, or -13 an unknown view.
inline int32_t toStored(const BITMAPRECORD& bm, RECT& rect) noexcept {
    return bm.ViewPerspective == TOP_LEFT ? 1 : R_RectToBitmap(&bm, TOP_LEFT, &rect);
}

// The same for a pixel.
inline int32_t toStored(const BITMAPRECORD& bm, POINT& p) noexcept {
    RECT r{p.x, p.y, p.x + 1, p.y + 1};
    const int32_t n = toStored(bm, r);
    p = {r.left, r.top};
    return n;
}

// Whether two records stand for the same pixels in memory, or are one.
inline bool isSameData(const BITMAPRECORD& a, const BITMAPRECORD& b) noexcept {
    return &a == &b || (a.pData && a.pData == b.pData) || (a.hMemory && a.hMemory == b.hMemory);
}

}  // namespace rv
