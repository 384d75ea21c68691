// The palette of a bitmap, and the references by which callers name a colour of one.
#include <algorithm>
#include <cstring>

#include "internal/opening.h"
#include "internal/palette_.h"
#include "ravokit/memory.h"

namespace rv {
namespace {

constexpr COLORREF paletteRef(uint32_t nIndex) noexcept { return kPaletteRef << 24 | (nIndex & 0xFFFF); }

bool isRecord(const BITMAPRECORD* pBitmap) noexcept { return pBitmap && isKnownRecordSize(pBitmap->uStructSize); }

bool isPaletted(const BITMAPRECORD& bm) noexcept { return bm.BitsPerPixel <= 8; }

bool sameColor(const RGBQUAD& a, const RGBQUAD& b) noexcept { return plainColor(a) == plainColor(b); }

// The entries that the bitmap's table holds, or would hold if it had one: nColors is the caller's word, and no table
// has more than 256.
uint32_t tableRoom(const BITMAPRECORD& bm) noexcept { return std::min(bm.nColors, kMostColors); }
uint32_t tableCount(const BITMAPRECORD& bm) noexcept { return bm.pPalette ? tableRoom(bm) : 0; }

// The entry that a reference's low 16 bits name, or null.
const RGBQUAD* entryOf(const BITMAPRECORD& bm, COLORREF cr) noexcept {
    const uint32_t nIndex = cr & 0xFFFF;
    return isPaletted(bm) && nIndex < tableCount(bm) ? bm.pPalette + nIndex : nullptr;
}

// A plain colour as the destination has it.
COLORREF plainTo(const BITMAPRECORD& dst, COLORREF cr) noexcept {
    return isPaletted(dst) ? paletteRef(uint32_t(R_GetNearestPaletteIndex(&dst, cr))) : cr;
}

// A grey level of a grey destination. A table of 65536 entries is searched but for the last, whose index no level has.
COLORREF grayTo(const BITMAPRECORD& dst, COLORREF cr) noexcept {
    if (!dst.pLUT || !dst.LUTLength || !(dst.Flags & BMF_USE_LUT)) return cr;
    const uint32_t nEntries = std::min(dst.LUTLength, 65535u);
    return paletteRef(uint32_t(R_FindPaletteIndex(dst.pLUT, nEntries, cr & 255, cr >> 8 & 255, cr >> 16 & 255)));
}

bool isTableRange(int32_t nIndex, int32_t nCount, uint32_t nEntries) noexcept {
    return nIndex >= 0 && nCount >= 0 && int64_t(nIndex) + nCount <= int64_t(nEntries);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetBitmapColors(const BITMAPRECORD* pBitmap, int32_t nIndex, int32_t nCount, RGBQUAD* pEntries) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!pEntries || nCount == 0 || !isPaletted(*pBitmap) || !isTableRange(nIndex, nCount, tableCount(*pBitmap)))
        return -13;  // Invalid parameter passed
    std::memcpy(pEntries, pBitmap->pPalette + nIndex, size_t(nCount) * sizeof(RGBQUAD));
    return 1;
}

int32_t R_GetBitmapPaletteEntries(const BITMAPRECORD* pBitmap, int32_t nIndex, int32_t nCount,
                                  RGBQUAD* pEntries) noexcept {
    return R_GetBitmapColors(pBitmap, nIndex, nCount, pEntries);
}

int32_t R_PutBitmapColors(BITMAPRECORD* pBitmap, int32_t nIndex, int32_t nCount, const RGBQUAD* pEntries) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!isTableRange(nIndex, nCount, tableRoom(*pBitmap)) || !isPaletted(*pBitmap) || !pEntries)
        return -13;                                                          // Invalid parameter passed
    if (!pBitmap->pPalette && !(pBitmap->pPalette = newTable())) return -1;  // Not enough memory available
    std::memmove(pBitmap->pPalette + nIndex, pEntries, size_t(nCount) * sizeof(RGBQUAD));
    return 1;
}

int32_t R_SetBitmapNewPalette(BITMAPRECORD* pBitmap, const RGBQUAD* pEntries, uint32_t uCount) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    replaceTable(*pBitmap, newTable(pEntries, uCount));         // pEntries may be the old table
    if (!pEntries) return 1;
    pBitmap->nColors = uCount;
    return pBitmap->pPalette ? 1 : -1;  // Not enough memory available
}

int32_t R_SetBitmapPalette(BITMAPRECORD* pBitmap, HPALETTE hPalette) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    const uint32_t nCount = R_GetPaletteSize(hPalette);
    if (nCount < 2) return -13;
    RGBQUAD entries[kMostColors];
    R_GetPaletteEntries(hPalette, 0, nCount, entries);
    return R_SetBitmapNewPalette(pBitmap, entries, nCount);
}

int32_t R_CopyBitmapPalette(BITMAPRECORD* pBitmapDst, const BITMAPRECORD* pBitmapSrc) noexcept {
    if (!pBitmapDst || !pBitmapSrc) return -13;                       // Invalid parameter passed
    if (!isRecord(pBitmapDst) || !isRecord(pBitmapSrc)) return -789;  // The structure size is invalid
    if (pBitmapDst == pBitmapSrc) return 1;
    if (pBitmapDst->pPalette == pBitmapSrc->pPalette) pBitmapDst->pPalette = nullptr;  // it stays with the source
    const bool bCopy = pBitmapSrc->pPalette && pBitmapSrc->nColors;
    replaceTable(*pBitmapDst, newTable(pBitmapSrc->pPalette, pBitmapSrc->nColors));
    pBitmapDst->nColors = bCopy ? pBitmapSrc->nColors : 0;
    return pBitmapDst->pPalette || !bCopy ? 1 : -1;  // Not enough memory available
}

int32_t R_CompareBitmapToPalette(const BITMAPRECORD* pBitmap, const RGBQUAD* pPalette, uint32_t uCount) noexcept {
    if (!isRecord(pBitmap)) return 0;
    const uint32_t n = std::min(uCount, tableCount(*pBitmap));
    if (n == 0) return 1;
    return pPalette && std::equal(pPalette, pPalette + n, pBitmap->pPalette, sameColor);
}

int32_t R_GetNearestPaletteIndex(const BITMAPRECORD* pBitmap, COLORREF crColor) noexcept {
    if (!isRecord(pBitmap) || !pBitmap->pPalette || pBitmap->nColors > kMostColors) return 0;
    const auto* pBytes = reinterpret_cast<const uint8_t*>(pBitmap->pPalette);
    const auto nRed = uint8_t(crColor), nGreen = uint8_t(crColor >> 8), nBlue = uint8_t(crColor >> 16);
    return int32_t(bestNearest()(pBytes, pBitmap->nColors, nBlue, nGreen, nRed).nFirst);
}

COLORREF R_TranslateBitmapColor(const BITMAPRECORD* pBitmapDst, const BITMAPRECORD* pBitmapSrc,
                                COLORREF crColor) noexcept {
    if (!isRecord(pBitmapDst)) return crColor;
    const BITMAPRECORD& dst = *pBitmapDst;
    if (kindOf(crColor) == kGrayRef) {
        if (dst.Order == ORDER_GRAY) return grayTo(dst, crColor);
        crColor = (crColor >> 8 & 0xFF) * 0x010101;
    }
    if (kindOf(crColor) != kPaletteRef) return plainTo(dst, crColor);

    const RGBQUAD* pEntry = isRecord(pBitmapSrc) ? entryOf(*pBitmapSrc, crColor) : nullptr;
    if (!pEntry) return plainTo(dst, 0);  // black stands for a colour that there isn't
    const RGBQUAD* pSame = entryOf(dst, crColor);
    return pSame && sameColor(*pSame, *pEntry) ? crColor : plainTo(dst, plainColor(*pEntry));
}

COLORREF R_GetTrueColorValue(const BITMAPRECORD* pBitmap, COLORREF crColor) noexcept {
    if (!isRecord(pBitmap)) return 0;
    const BITMAPRECORD& bm = *pBitmap;
    const COLORREF cr = R_TranslateBitmapColor(pBitmap, pBitmap, crColor);
    const uint32_t nIndex = cr & 0xFFFF;
    if (kindOf(cr) == kPaletteRef) {
        if (const RGBQUAD* pEntry = entryOf(bm, cr)) return plainColor(*pEntry);
    } else if (kindOf(cr) == kGrayRef && bm.BitsPerPixel >= 9 && bm.BitsPerPixel <= 16) {
        if (bm.pLUT && nIndex < bm.LUTLength) return plainColor(bm.pLUT[nIndex]);
        if (hasWideFields(bm) && bm.pLUT16 && nIndex < bm.LUT16Length) {
            const RGBQUAD64& q = bm.pLUT16[nIndex];
            return plainColor({uint8_t(q.rgbBlue >> 8), uint8_t(q.rgbGreen >> 8), uint8_t(q.rgbRed >> 8), 0});
        }
    }
    return cr;
}

}  // extern "C"
