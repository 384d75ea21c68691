// How the region follows its bitmap: moved, mirrored, scaled, sheared, copied. Turns are in rgnmask.cpp.
#include "internal/bitmaprgn_.h"
#include "internal/muldiv.h"
#include "ravokit/rotate.h"

namespace rv {
namespace {

constexpr int32_t kSteepest = 8999;  // hundredths of a degree

// Moves a region within a bitmap. What is cut is cut before the move, which fails first or not at all.
int32_t moveInside(const BITMAPRECORD& bm, RavoRgn& rgn, int32_t dx, int32_t dy) noexcept {
    const RECT box{saturated(-int64_t(dx)), saturated(-int64_t(dy)), saturated(int64_t(bm.Width) - dx),
                   saturated(int64_t(bm.Height) - dy)};
    if (isClipped(bm))
        if (const int32_t n = R_ClipRavoRgnRect(&rgn, &box); n != 1) return n;
    return R_OffsetRavoRgn(&rgn, dx, dy);
}

// The checks of all that change a region in place, which has nothing to do without one.
template <class Change>
int32_t changeRegion(BITMAPRECORD* pBitmap, Change change) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    return pBitmap->pRgnInfo ? change(*pBitmap, *pBitmap->pRgnInfo) : 1;
}

int32_t sizeRegion(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight) noexcept {
    return changeRegion(pBitmap, [=](const BITMAPRECORD& bm, RavoRgn& rgn) {
        return R_ScaleRavoRgn(&rgn, nWidth, bm.Width, nHeight, bm.Height);
    });
}

// The rows of a picture that is sheared to the right: each moves by its distance from the one that stands still, times
// the slope.
class Slope {
    int64_t m_nSin, m_nCos;
    int32_t m_nLast;  // row
    bool m_bFromTop;

public:
    Slope(const BITMAPRECORD& bm, int32_t nAngle) noexcept
        : m_nSin(R_SinValue(nAngle)), m_nCos(R_CosValue(nAngle)), m_nLast(bm.Height - 1), m_bFromTop(isMirrored(bm)) {}
    int64_t operator()(int32_t y) const noexcept {
        const int64_t n = m_nSin * (m_bFromTop ? y : int64_t(m_nLast) - y);
        return n / m_nCos - (n % m_nCos < 0);
    }
};

int32_t shearRegion(const BITMAPRECORD& bm, RavoRgn& rgn, const Slope& slope) noexcept {
    RECT box = rgn.rcBounds;
    int64_t nLeft = INT64_MAX, nRight = INT64_MIN;
    for (int32_t y = box.top; y < box.bottom; ++y) {
        const auto words = wordsAt(rgn, y);
        if (words.empty()) continue;
        nLeft = std::min(nLeft, words.front() + slope(y));
        nRight = std::max(nRight, words.back() + slope(y));
    }
    if (!rgn.RowTableSize) return 1;
    if (nLeft < INT32_MIN || nRight > INT32_MAX) return -13;
    releaseDisplayHandles(rgn);
    for (int32_t y = box.top; y < box.bottom; ++y) {
        const RgnRow& row = rgn.pRows[y - box.top];
        const auto uShift = uint32_t(slope(y));  // may wrap on the way to where it fits
        int32_t* const p = rgn.pSpans + row.SpanOffset / sizeof(int32_t);
        for (uint32_t k = 0; k < row.SpanWords; ++k) p[k] = int32_t(uint32_t(p[k]) + uShift);
    }
    rgn.rcBounds.left = int32_t(nLeft);
    rgn.rcBounds.right = int32_t(nRight);
    box = wholeOf(bm);
    return isClipped(bm) ? R_ClipRavoRgnRect(&rgn, &box) : 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_OffsetBitmapRgn(BITMAPRECORD* pBitmap, int32_t nRowOffset, int32_t nColOffset) noexcept {
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    if (bm.pRgnInfo) return moveInside(bm, *bm.pRgnInfo, nColOffset, nRowOffset);
    const RECT box = wholeOf(bm);
    RegionOwner full;
    if (const int32_t n = R_CreateRavoRgnRect(full.out(), &box); n != 1) return n;
    if (const int32_t n = moveInside(bm, *full, nColOffset, nRowOffset); n != 1) return n;
    bm.pRgnInfo = full.take();
    return 1;
}

int32_t R_SizeBitmapRgn(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight) noexcept {
    return sizeRegion(pBitmap, nWidth, nHeight);
}
int32_t R_KrnSizeBitmapRgn(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight) noexcept {
    return sizeRegion(pBitmap, nWidth, nHeight);
}

int32_t R_ReverseBitmapRgn(BITMAPRECORD* pBitmap) noexcept {
    return changeRegion(pBitmap, [](const BITMAPRECORD& bm, RavoRgn& rgn) { return reverseRegion(rgn, bm.Width); });
}

int32_t R_FlipBitmapRgn(BITMAPRECORD* pBitmap) noexcept {
    return changeRegion(pBitmap, [](const BITMAPRECORD& bm, RavoRgn& rgn) { return R_FlipRavoRgn(&rgn, bm.Height); });
}

int32_t R_CopyBitmapRgn(BITMAPRECORD* pDest, const BITMAPRECORD* pSource, int32_t dx, int32_t dy) noexcept {
    if (!pDest || !pSource || pDest == pSource) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pDest->uStructSize) || !isKnownRecordSize(pSource->uStructSize)) return -789;
    pDest->pRgnInfo = nullptr;
    if (!pSource->pRgnInfo) return 1;
    RegionOwner copy;
    if (const int32_t n = copyShape(copy.out(), *pSource->pRgnInfo); n != 1) return n;
    if (const int32_t n = moveInside(*pDest, *copy, dx, dy); n != 1) return n;
    pDest->pRgnInfo = copy.take();
    return 1;
}

int32_t R_IntShearBitmapRgn(BITMAPRECORD* pBitmap, int32_t nAngle) noexcept {
    return changeRegion(pBitmap, [=](const BITMAPRECORD& bm, RavoRgn& rgn) {
        if (nAngle < -kSteepest || nAngle > kSteepest) return -13;
        return shearRegion(bm, rgn, Slope(bm, std::abs(nAngle)));
    });
}

}  // extern "C"
