// Whether a bitmap is grey: by its palette, or by its order and the lookup table in use; and the range of its greys.
#include <algorithm>
#include <cstdlib>

#include "internal/bgrrows.h"
#include "internal/grayrows.h"
#include "internal/simd.h"
#include "ravokit/grayscale.h"

namespace rv {
namespace {

// ---- tables ------------------------------------------------------------------------------------------------------

// A lookup table as its reds: of 8 or of 16 bits.
template <class Entry>
struct Reds {
    static constexpr bool kWide = sizeof(Entry) == sizeof(RGBQUAD64);
    static constexpr int32_t kFull = kWide ? 65535 : 255, kNear = kWide ? 255 : 1;
    const Entry* pEntries;
    uint32_t nCount;
    int32_t operator[](uint32_t i) const noexcept { return pEntries[i].rgbRed; }
};

bool isNear(int32_t n, int32_t nWanted, int32_t nMost) noexcept { return std::abs(n - nWanted) <= nMost; }

// A ramp between two ends: a flat start, an even climb and a flat end at most, each a piece whose steps stay within 1
// of its first one.
template <class Entry>
int32_t rampKind(const Reds<Entry>& reds, int32_t nFirst, int32_t nLast) noexcept {
    const uint32_t nEnd = reds.nCount - 1;
    const auto fits = [&](int32_t a, int32_t b) {
        return isNear(reds[0], a, Reds<Entry>::kNear) && isNear(reds[nEnd], b, Reds<Entry>::kNear);
    };
    if (nFirst == nLast || !fits(nFirst, nLast)) return GRAYKIND_UNORDERED;
    const int32_t nKind = nFirst < nLast ? GRAYKIND_ASCENDING : GRAYKIND_DESCENDING;
    if (reds.nCount < 3) return nKind;
    uint32_t i = 0;
    for (int nPiece = 0; nPiece < 3 && i < nEnd; ++nPiece) {
        const int32_t nStep = reds[i + 1] - reds[i];
        while (i < nEnd && isNear(reds[i + 1] - reds[i], nStep, 1)) ++i;
    }
    return i == nEnd ? nKind : int32_t(GRAYKIND_UNORDERED);
}

template <class Entry>
int32_t tableKind(const Entry* pEntries, uint32_t nCount, bool bSigned) noexcept {
    for (uint32_t i = nCount; i-- > 0;)
        if (pEntries[i].rgbRed != pEntries[i].rgbGreen || pEntries[i].rgbRed != pEntries[i].rgbBlue)
            return GRAYKIND_NONE;
    if (nCount < 2) return GRAYKIND_UNORDERED;
    const Reds<Entry> reds{pEntries, nCount};
    constexpr int32_t kFull = Reds<Entry>::kFull;
    if (!bSigned) return reds[0] < reds[nCount - 1] ? rampKind(reds, 0, kFull) : rampKind(reds, kFull, 0);
    const uint32_t nHalf = nCount / 2;
    const Reds<Entry> low{pEntries, nHalf}, high{pEntries + nHalf, nHalf};
    const int32_t nKind = rampKind(low, low[0], low[nHalf - 1]);
    return nKind == rampKind(high, high[0], high[nHalf - 1]) ? nKind : int32_t(GRAYKIND_UNORDERED);
}

int32_t paletteKind(const BITMAPRECORD& bm) noexcept {
    const uint32_t nAll = 1u << bm.BitsPerPixel, nCount = bm.pPalette ? std::min(bm.nColors, kMostColors) : nAll;
    const int32_t nKind =
        R_IsGrayScalePalette(bm.pPalette ? bm.pPalette : R_IntGetFixedPalette(bm.BitsPerPixel), nCount);
    return nKind > GRAYKIND_NONE && nCount != nAll ? int32_t(GRAYKIND_UNORDERED) : nKind;
}

// ---- range -------------------------------------------------------------------------------------------------------

struct LevelRange {
    uint32_t nMin = UINT32_MAX, nMax = 0;
};

RV_CLONES LevelRange rangeOfRow(const uint8_t* p, size_t n, uint32_t nShift, uint32_t uMask) noexcept {
    LevelRange range;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = loadLittle<uint32_t>(p + i * 4) >> nShift & uMask;
        range.nMin = std::min(range.nMin, v);
        range.nMax = std::max(range.nMax, v);
    }
    return range;
}

int32_t findRange(BITMAPRECORD& bm, LevelRange& range) noexcept {
    const KeptBits kept = physicalBits(bm);
    const uint32_t nShift = std::min(kept.nShift, 31u), uMask = kept.nShift > 31 ? 0 : kept.mask();
    RowReader rows(bm, bm.BytesPerLine);
    if (rows.status() != 1) return rows.status();
    for (int32_t y = 0; y < bm.Height; ++y) {
        const uint8_t* pRow = rows.read(y);
        if (!pRow) return rows.status();
        const LevelRange ofRow = rangeOfRow(pRow, size_t(bm.Width), nShift, uMask);
        range = {std::min(range.nMin, ofRow.nMin), std::max(range.nMax, ofRow.nMax)};
    }
    if (range.nMin > range.nMax) range = {0, 0};  // no pixels
    return 1;
}

}  // namespace

int32_t refreshGrayRange(BITMAPRECORD& bm) noexcept {
    int64_t nMin = bm.MinVal, nMax = bm.MaxVal;
    if (const int32_t n = R_IntGetMinMaxValGray(&bm, &nMin, &nMax); n != 1) return n;
    bm.MinVal = int32_t(nMin);
    bm.MaxVal = int32_t(nMax);
    return 1;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_IntIsGrayScaleBitmap(const BITMAPRECORD* pBitmap, int32_t bForceLUT) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    const BITMAPRECORD& bm = *pBitmap;
    if (bm.Order != ORDER_GRAY) return bm.BitsPerPixel > 8 ? int32_t(GRAYKIND_NONE) : paletteKind(bm);
    if (!R_IsBitmapLUTLengthValid(&bm)) return -1486;
    if (!bm.pLUT || !(bForceLUT || (bm.Flags & BMF_USE_LUT))) return GRAYKIND_ASCENDING;
    const bool bSigned = bm.Flags & BMF_SIGNED;
    const RGBQUAD64* pLUT16 = R_GetLUT16(&bm, bForceLUT);
    return pLUT16 ? tableKind(pLUT16, bm.LUT16Length, bSigned) : tableKind(bm.pLUT, bm.LUTLength, bSigned);
}

int32_t R_IsGrayScaleBitmap(const BITMAPRECORD* pBitmap) noexcept { return R_IntIsGrayScaleBitmap(pBitmap, 0); }

int32_t R_IntGetMinMaxValGray(BITMAPRECORD* pBitmap, int64_t* pMin, int64_t* pMax) noexcept {
    if (!pBitmap || !pMin || !pMax) return -13;                 // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    if (bm.Order != ORDER_GRAY || bm.BitsPerPixel != 32) {
        *pMin = bm.MinVal;
        *pMax = bm.MaxVal;
        return 1;
    }
    if (!isAllocated(&bm)) return -2;  // Invalid image
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    LevelRange range;
    const int32_t nStatus = lock.release(findRange(bm, range));
    if (nStatus != 1) return nStatus;
    *pMin = range.nMin;
    *pMax = range.nMax;
    return 1;
}

}  // extern "C"
