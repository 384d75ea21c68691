// Where what is seen lies in the stored rows.
#pragma once

#include "internal/rowaccess.h"
#include "ravokit/view.h"

namespace rv {

inline bool hasRowsAsColumns(const BITMAPRECORD& bm) noexcept { return bm.ViewPerspective >= LEFT_TOP; }

// Whether what is seen is mirrored, so that what turns clockwise there turns the other way in the store.
inline bool isMirrored(const BITMAPRECORD& bm) noexcept {
    const int32_t n = bm.ViewPerspective;
    return n == TOP_RIGHT || n == BOTTOM_LEFT || n == LEFT_TOP || n == RIGHT_BOTTOM;
}
static_assert(TOP_RIGHT == 2 && BOTTOM_LEFT == 4 && LEFT_TOP == 5 && RIGHT_BOTTOM == 7);

// The size of the picture as it is seen.
inline SIZE seenSize(const BITMAPRECORD& bm) noexcept {
    return hasRowsAsColumns(bm) ? SIZE{bm.Height, bm.Width} : SIZE{bm.Width, bm.Height};
}

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
