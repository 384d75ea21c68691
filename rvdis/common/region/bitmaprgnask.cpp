// What can be asked of a bitmap's region in the bitmap's own rows and columns.
#include "internal/bitmaprgn_.h"

namespace rv {
namespace {

uint64_t areaOf(const RavoRgn& rgn) noexcept {
    uint64_t n = 0;
    forEachSpan(rgn, [&](int32_t, int32_t nLeft, int32_t nRight) { n += uint64_t(int64_t(nRight) - nLeft); });
    return n;
}

bool isInside(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept {
    return nRow >= 0 && nRow < bm.Height && nCol >= 0 && nCol < bm.Width;
}

// The spans of a row, cut to the bitmap whether or not the region is: who writes by them trusts them.
uint32_t copyInside(uint32_t* pOut, const RavoRgn& rgn, const BITMAPRECORD& bm, int32_t nRow) noexcept {
    if (nRow < 0 || nRow >= bm.Height) return 0;
    const auto words = wordsWithin(wordsAt(rgn, nRow), 0, bm.Width);
    if (words.empty()) return 0;
    std::memcpy(pOut, words.data(), words.size_bytes());
    pOut[0] = uint32_t(std::max(words.front(), 0));
    pOut[words.size() - 1] = uint32_t(std::min(words.back(), bm.Width));
    return uint32_t(words.size());
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_BitmapHasRgn(const BITMAPRECORD* pBitmap) noexcept {
    return pBitmap && isKnownRecordSize(pBitmap->uStructSize) && pBitmap->pRgnInfo;
}

int32_t R_GetBitmapRgnBounds(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RECT* pRect) noexcept {
    if (!pBitmap || !pRect) return -2;                          // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    RECT r = pBitmap->pRgnInfo ? pBitmap->pRgnInfo->rcBounds : wholeOf(*pBitmap);
    const int32_t n = RgnMapRect(pBitmap, pMapping, &r);
    if (n == 1) *pRect = r;
    return n;
}

int32_t R_GetBitmapRgnBoundsClip(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RECT* pRect) noexcept {
    const int32_t n = R_GetBitmapRgnBounds(pBitmap, pMapping, pRect);
    if (n == 1) *pRect = intersection(*pRect, wholeOf(*pBitmap));
    return n;
}

int32_t R_GetBitmapRgnArea(const BITMAPRECORD* pBitmap, uint32_t* puPixels) noexcept {
    if (!pBitmap) return -2;
    if (!puPixels) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    *puPixels =
        pBitmap->pRgnInfo ? uint32_t(areaOf(*pBitmap->pRgnInfo)) : uint32_t(pBitmap->Width) * uint32_t(pBitmap->Height);
    return 1;
}

int32_t R_IsPtInBitmapRgn(const BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol) noexcept {
    if (!pBitmap || !isKnownRecordSize(pBitmap->uStructSize)) return 0;
    return pBitmap->pRgnInfo ? R_IsPtInRavoRgn(pBitmap->pRgnInfo, nRow, nCol) : isInside(*pBitmap, nRow, nCol);
}

int32_t R_GetBitmapClipSegmentsMax(const BITMAPRECORD* pBitmap, uint32_t* puWords) noexcept {
    if (!pBitmap) return -2;
    if (!puWords) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    *puWords = 2;
    if (!pBitmap->pRgnInfo) return 1;
    const RECT& r = pBitmap->pRgnInfo->rcBounds;
    *puWords = uint32_t(std::clamp<int64_t>(int64_t(r.right) - r.left + 1, 0, UINT32_MAX)) & ~1u;
    return 1;
}

int32_t R_GetBitmapClipSegments(const BITMAPRECORD* pBitmap, int32_t nRow, uint32_t* pWords,
                                uint32_t* puWords) noexcept {
    if (!pBitmap) return -2;
    if (!pWords || !puWords) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (pBitmap->pRgnInfo) {
        *puWords = copyInside(pWords, *pBitmap->pRgnInfo, *pBitmap, nRow);
        return 1;
    }
    pWords[0] = 0;
    pWords[1] = uint32_t(pBitmap->Width);
    *puWords = 2;
    return 1;
}

}  // extern "C"
