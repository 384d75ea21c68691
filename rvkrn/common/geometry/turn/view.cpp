// The algebra of views: what leads from one to another, and how points and rectangles follow.
#include "ravokit/view.h"

#include <utility>

#include "internal/attachments.h"
#include "internal/opening.h"
#include "internal/views_.h"

namespace rv {
namespace {

// What the picture is seen through once it is seen mirrored, or turned clockwise by 90 degrees. Entry 0 is no view.
constexpr uint8_t kFlipped[] = {0, 4, 3, 2, 1, 8, 7, 6, 5};
constexpr uint8_t kReversed[] = {0, 2, 1, 4, 3, 6, 5, 8, 7};
constexpr uint8_t kTurned[] = {0, 6, 7, 8, 5, 2, 3, 4, 1};

// Views that a table doesn't have stay as they are.
int32_t seenThrough(BITMAPRECORD* pBitmap, const uint8_t (&table)[9]) noexcept {
    if (!pBitmap) return -13;
    const int32_t nOld = pBitmap->ViewPerspective;
    if (!isView(nOld)) return 1;
    pBitmap->ViewPerspective = table[nOld];
    if (pBitmap->pOverlays) attachments().viewOverlays(*pBitmap, nOld);
    return 1;
}

int32_t checkRecord(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;
    return isKnownRecordSize(pBitmap->uStructSize) ? 1 : -789;
}

// From one view to another: a flip, then a turn clockwise.
struct ViewChange {
    int32_t bFlip = 0, nAngle = 0;

    // 1, or -13.
    int32_t set(int32_t nOld, int32_t nNew) noexcept {
        return R_GetChangeViewPerspectiveParams(nOld, nNew, &bFlip, &nAngle);
    }

    // In 64 bits, as coordinates come from callers; what doesn't fit wraps.
    void move(int64_t nWidth, int64_t nHeight, int32_t& rX, int32_t& rY) const noexcept {
        const int64_t x = rX, y = bFlip ? nHeight - rY - 1 : rY;
        const auto put = [&](int64_t nX, int64_t nY) { rX = int32_t(nX), rY = int32_t(nY); };
        switch (nAngle) {
            case 90:
                return put(nHeight - y - 1, x);
            case 180:
                return put(nWidth - x - 1, nHeight - y - 1);
            case 270:
                return put(y, nWidth - x - 1);
            default:
                return put(x, y);
        }
    }
    // The right and the bottom are exclusive.
    void move(int64_t nWidth, int64_t nHeight, RECT& r) const noexcept {
        const int64_t nLeft = r.left, nRight = r.right;
        const int64_t nTop = bFlip ? nHeight - r.bottom : r.top, nBottom = bFlip ? nHeight - r.top : r.bottom;
        const auto put = [&](int64_t l, int64_t t, int64_t rt, int64_t b) {
            r = {int32_t(l), int32_t(t), int32_t(rt), int32_t(b)};
        };
        switch (nAngle) {
            case 90:
                return put(nHeight - nBottom, nLeft, nHeight - nTop, nRight);
            case 180:
                return put(nWidth - nRight, nHeight - nBottom, nWidth - nLeft, nHeight - nTop);
            case 270:
                return put(nTop, nWidth - nRight, nBottom, nWidth - nLeft);
            default:
                return put(nLeft, nTop, nRight, nBottom);
        }
    }
};

constexpr bool isQuarterTurn(int32_t nView) noexcept { return nView == RIGHT_TOP || nView == LEFT_BOTTOM; }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_IntFlipBitmapViewPerspective(BITMAPRECORD* pBitmap) noexcept { return seenThrough(pBitmap, kFlipped); }
int32_t R_IntReverseBitmapViewPerspective(BITMAPRECORD* pBitmap) noexcept { return seenThrough(pBitmap, kReversed); }

int32_t R_IntRotateBitmapViewPerspective(BITMAPRECORD* pBitmap, int32_t nAngle) noexcept {
    if (!pBitmap) return -13;  // Invalid parameter passed
    nAngle %= 360;
    if (nAngle % 90) return -13;
    const int32_t nTurns = (nAngle + 360) / 90 % 4;
    for (int32_t i = 0; i < nTurns; ++i) seenThrough(pBitmap, kTurned);
    if (nTurns % 2) std::swap(pBitmap->XResolution, pBitmap->YResolution);
    return 1;
}

int32_t R_FlipBitmapViewPerspective(BITMAPRECORD* pBitmap) noexcept {
    const int32_t n = checkRecord(pBitmap);
    return n == 1 ? R_IntFlipBitmapViewPerspective(pBitmap) : n;
}
int32_t R_ReverseBitmapViewPerspective(BITMAPRECORD* pBitmap) noexcept {
    const int32_t n = checkRecord(pBitmap);
    return n == 1 ? R_IntReverseBitmapViewPerspective(pBitmap) : n;
}
int32_t R_RotateBitmapViewPerspective(BITMAPRECORD* pBitmap, int32_t nAngle) noexcept {
    const int32_t n = checkRecord(pBitmap);
    return n == 1 ? R_IntRotateBitmapViewPerspective(pBitmap, nAngle) : n;
}

int32_t R_GetChangeViewPerspectiveParams(int32_t nOld, int32_t nNew, int32_t* pbFlip, int32_t* pnAngle) noexcept {
    if (!isView(nOld) || !isView(nNew) || !pbFlip || !pnAngle) return -13;
    // Each view as a flip and a turn of the top-left one; TOP_RIGHT is mirrored the other way.
    struct Way {
        bool bFlip;
        int32_t nAngle;
    };
    constexpr Way kFrom[] = {{},         {false, 0},  {false, 0},  {false, 180}, {true, 0},
                             {true, 90}, {false, 90}, {true, 270}, {false, 270}};
    constexpr int32_t kBack[] = {0, 0, 180, 180, 0, 90, 90, 270, 270};
    bool bFlip = kFrom[nOld].bFlip;
    int32_t nAngle = kFrom[nOld].nAngle - kBack[nNew];
    if (isMirrored(nNew)) {
        bFlip = !bFlip;
        nAngle = -nAngle;
    }
    if (nOld == TOP_RIGHT) {
        nAngle += bFlip ? 180 : -180;
        bFlip = !bFlip;
    }
    if (nAngle < 0)
        nAngle += 360;
    else if (nAngle >= 360)
        nAngle -= 360;
    *pbFlip = bFlip;
    *pnAngle = nAngle;
    return 1;
}

int32_t R_ChangeRectViewPerspective(int32_t nOld, int32_t nWidth, int32_t nHeight, int32_t nNew, RECT* pRect) noexcept {
    ViewChange change;
    if (!pRect || change.set(nOld, nNew) != 1) return -13;
    change.move(nWidth, nHeight, *pRect);
    return 1;
}

int32_t R_PointFromBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, int32_t* pX, int32_t* pY) noexcept {
    if (!pBitmap || !pX || !pY) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (pBitmap->ViewPerspective == nViewPerspective) return 1;
    ViewChange change;
    if (const int32_t n = change.set(pBitmap->ViewPerspective, nViewPerspective); n != 1) return n;
    change.move(pBitmap->Width, pBitmap->Height, *pX, *pY);
    return 1;
}

int32_t R_PointToBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, int32_t* pX, int32_t* pY) noexcept {
    if (!pBitmap || !pX || !pY) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    ViewChange change;
    if (const int32_t n = change.set(nViewPerspective, pBitmap->ViewPerspective); n != 1) return n;
    int32_t nWidth = pBitmap->Width, nHeight = pBitmap->Height;
    if (isQuarterTurn(nViewPerspective)) std::swap(nWidth, nHeight);
    change.move(nWidth, nHeight, *pX, *pY);
    return 1;
}

int32_t R_RectFromBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, RECT* pRect) noexcept {
    if (!pBitmap || !pRect) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    return R_ChangeRectViewPerspective(pBitmap->ViewPerspective, pBitmap->Width, pBitmap->Height, nViewPerspective,
                                       pRect);
}

int32_t R_RectToBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, RECT* pRect) noexcept {
    if (!pBitmap || !pRect) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    int32_t nWidth = pBitmap->Width, nHeight = pBitmap->Height;
    if (seesColumns(pBitmap->ViewPerspective)) std::swap(nWidth, nHeight);
    if (isQuarterTurn(nViewPerspective)) std::swap(nWidth, nHeight);
    return R_ChangeRectViewPerspective(nViewPerspective, nWidth, nHeight, pBitmap->ViewPerspective, pRect);
}

}  // extern "C"
