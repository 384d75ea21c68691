// Brightness, contrast and gamma of painting, as tables: ramps for the contrast, then an offset and a power.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "internal/bitmap_.h"
#include "internal/muldiv.h"
#include "ravokit/paintsettings.h"

namespace rv {
namespace {

constexpr int32_t kWide = 257;  // from a byte to 16 bits
constexpr int32_t kWideEntries = 65536, kByteEntries = 256;
constexpr int32_t kMostIntensity = 1000, kMostContrast = 1000;

bool wantsWideTable(const BITMAPRECORD& bm) noexcept {
    return hasWideFields(bm) && bm.Order == ORDER_GRAY && (bm.BitsPerPixel == 12 || bm.BitsPerPixel == 16);
}

// Entries nFrom to nTo - 1 of a table rise from yFrom to yTo.
template <class T>
void fillRamp(T* pTable, int32_t nFrom, int32_t nTo, int32_t yFrom, int32_t yTo, int32_t nMost) noexcept {
    for (int32_t i = 0; i < nTo - nFrom; ++i) {
        const int32_t n = yFrom == yTo ? 0 : std::clamp(mulDiv(i, yTo - yFrom, nTo - nFrom), 0, nMost);
        pTable[nFrom + i] = T(std::clamp(yFrom + n, 0, nMost));
    }
}

// Both tables of a bitmap; the wide one may be null.
struct Tables {
    uint8_t* pBytes;
    uint16_t* pWide;

    void ramp(int32_t nFrom, int32_t nTo, int32_t yFrom, int32_t yTo) const noexcept {
        fillRamp(pBytes, nFrom, nTo, yFrom, yTo, kByteEntries - 1);
        const auto wide = [](int32_t n) { return std::min(n * kWide, kWideEntries); };
        if (pWide) fillRamp(pWide, wide(nFrom), wide(nTo), wide(yFrom), wide(yTo), kWideEntries - 1);
    }

    void contrast(int32_t nContrast) const noexcept {
        if (nContrast == 0) return ramp(0, kByteEntries, 0, kByteEntries);
        const int32_t c = std::abs(nContrast);
        const int32_t a = mulDiv(c, 128, 4000);
        const int32_t b = kByteEntries - int32_t(5.34 * std::pow(1.5, std::log(c * 128 / 1000.0) / std::log(2.0)));
        if (nContrast < 0) return ramp(0, kByteEntries, a, b);
        ramp(0, a, 0, 0);
        ramp(a, b, 0, kByteEntries);
        ramp(b, kByteEntries, 255, 255);
    }
};

// Adds an offset and applies the power; true if an entry differs from its index. nGrowth multiplies the offset before
// each entry, wrapping at 32 bits.
template <class T>
bool bend(T* pTable, int32_t nEntries, int32_t nOffset, uint32_t nGrowth, double power) noexcept {
    const int32_t nMost = nEntries - 1;
    bool bDiffers = false;
    for (int32_t i = 0; i < nEntries; ++i) {
        nOffset = int32_t(uint32_t(nOffset) * nGrowth);
        const auto v = double(std::clamp<int64_t>(int64_t(pTable[i]) + nOffset, 0, nMost));
        pTable[i] = T(0.5 + std::pow(v / nMost, power) * nMost);
        bDiffers |= pTable[i] != i;
    }
    return bDiffers;
}

int32_t rebuild(BITMAPRECORD& bm, int32_t nIntensity, int32_t nContrast, uint32_t uGamma) noexcept {
    const bool bWide = wantsWideTable(bm);
    uint8_t* pBytes = bm.pPaintLUT ? bm.pPaintLUT : newBlock<uint8_t>(kByteEntries);
    if (!pBytes) return -1;  // Not enough memory available
    if (bWide && !bm.pPaintLUT16 && !(bm.pPaintLUT16 = newBlock<uint16_t>(kWideEntries))) {
        if (!bm.pPaintLUT) freeBlock(pBytes);
        return -1;
    }
    bm.pPaintLUT = pBytes;
    bm.PaintIntensity = nIntensity;
    bm.PaintContrast = nContrast;
    bm.PaintGamma = uGamma;
    const Tables tables{bm.pPaintLUT, bWide ? bm.pPaintLUT16 : nullptr};
    const int32_t nOffset = (nIntensity * 255 + 500) / 1000;
    const double power = 100.0 / uGamma;
    tables.contrast(nContrast);
    bool bDiffers = bend(tables.pBytes, kByteEntries, nOffset, 1, power);
    if (tables.pWide) bDiffers |= bend(tables.pWide, kWideEntries, nOffset, kWide, power);
    bm.Flags = (bm.Flags & ~uint32_t(BMF_PAINT_LUT)) | (bDiffers ? uint32_t(BMF_PAINT_LUT) : 0);
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetPaintIntensity(BITMAPRECORD* pBitmap, int32_t nIntensity) noexcept {
    if (!pBitmap) return -13;                                                     // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;                    // The structure size is invalid
    if (nIntensity < -kMostIntensity || nIntensity > kMostIntensity) return -13;  // Invalid parameter passed
    if (nIntensity == pBitmap->PaintIntensity) return 1;
    return rebuild(*pBitmap, nIntensity, pBitmap->PaintContrast, pBitmap->PaintGamma);
}
int32_t R_SetPaintContrast(BITMAPRECORD* pBitmap, int32_t nContrast) noexcept {
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (nContrast < -kMostContrast || nContrast > kMostContrast) return -13;
    if (nContrast == pBitmap->PaintContrast) return 1;
    return rebuild(*pBitmap, pBitmap->PaintIntensity, nContrast, pBitmap->PaintGamma);
}
int32_t R_SetPaintGamma(BITMAPRECORD* pBitmap, uint32_t uGamma) noexcept {
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (uGamma == 0) return -13;
    if (uGamma == pBitmap->PaintGamma) return 1;
    return rebuild(*pBitmap, pBitmap->PaintIntensity, pBitmap->PaintContrast, uGamma);
}

int32_t R_GetPaintIntensity(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;
    return isKnownRecordSize(pBitmap->uStructSize) ? pBitmap->PaintIntensity : -789;
}
int32_t R_GetPaintContrast(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;
    return isKnownRecordSize(pBitmap->uStructSize) ? pBitmap->PaintContrast : -789;
}
int32_t R_GetPaintGamma(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;
    return isKnownRecordSize(pBitmap->uStructSize) ? int32_t(pBitmap->PaintGamma) : -789;
}

}  // extern "C"
