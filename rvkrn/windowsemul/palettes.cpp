// Logical palettes: objects of kind 1, whose entries stand in the order red, green, blue, flags.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internal/opening.h"
#include "internal/palette_.h"

namespace rv {
namespace {

bool isPalette(const LOGICALPALETTE* h) noexcept { return h && !isAllOnes(h) && h->uKind == kHandlePalette; }

HPALETTE newPalette(uint32_t nCount) noexcept {
    constexpr uint16_t uVersion = 768;
    if (nCount == 0 || nCount > kMostColors) return nullptr;
    auto* h = static_cast<HPALETTE>(std::calloc(1, offsetof(LOGICALPALETTE, entries) + nCount * sizeof(PALETTEENTRY)));
    if (!h) return nullptr;
    h->uKind = kHandlePalette;
    h->uVersion = uVersion;
    h->nCount = uint16_t(nCount);
    return h;
}

// Entries from uStart on, cut at the palette's end; 0 for what is no palette.
uint32_t clip(const LOGICALPALETTE* h, uint32_t uStart, uint32_t uCount) noexcept {
    return isPalette(h) && uStart < h->nCount ? std::min(uCount, h->nCount - uStart) : 0;
}

RGBQUAD toQuad(const PALETTEENTRY& e) noexcept { return {e.peBlue, e.peGreen, e.peRed, e.peFlags}; }
PALETTEENTRY toEntry(const RGBQUAD& q) noexcept { return {q.rgbRed, q.rgbGreen, q.rgbBlue, q.rgbReserved}; }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

HPALETTE R_CreatePalette(const RGBQUAD* pEntries, uint32_t uCount) noexcept {
    HPALETTE h = pEntries ? newPalette(uCount) : nullptr;
    if (h) std::transform(pEntries, pEntries + uCount, h->entries, toEntry);
    return h;
}

HPALETTE R_WinCreatePalette(const LOGPALETTE* pLogPalette) noexcept {
    HPALETTE h = pLogPalette ? newPalette(pLogPalette->palNumEntries) : nullptr;
    if (h) std::memcpy(h->entries, pLogPalette->palPalEntry, h->nCount * sizeof(PALETTEENTRY));
    return h;
}

HPALETTE R_DupPalette(HPALETTE hPalette) noexcept {
    HPALETTE h = isPalette(hPalette) ? newPalette(hPalette->nCount) : nullptr;
    if (h) std::memcpy(h->entries, hPalette->entries, h->nCount * sizeof(PALETTEENTRY));
    return h;
}

HPALETTE R_DupBitmapPalette(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap || !isKnownRecordSize(pBitmap->uStructSize)) return nullptr;
    return R_CreatePalette(pBitmap->pPalette, pBitmap->nColors);
}

uint32_t R_GetPaletteSize(HPALETTE hPalette) noexcept { return isPalette(hPalette) ? hPalette->nCount : 0; }

uint32_t R_GetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount, RGBQUAD* pEntries) noexcept {
    const uint32_t n = pEntries ? clip(hPalette, uStart, uCount) : 0;
    if (n) std::transform(hPalette->entries + uStart, hPalette->entries + uStart + n, pEntries, toQuad);
    return n;
}

uint32_t R_SetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount, const RGBQUAD* pEntries) noexcept {
    const uint32_t n = pEntries ? clip(hPalette, uStart, uCount) : 0;
    if (n) std::transform(pEntries, pEntries + n, hPalette->entries + uStart, toEntry);
    return n;
}

int32_t GetObject(HPALETTE hPalette, int32_t uSize, uint16_t* pCount) noexcept {
    if (!isPalette(hPalette) || uSize != 2) return 0;
    if (pCount) *pCount = hPalette->nCount;
    return 2;
}

uint32_t GetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount, PALETTEENTRY* pEntries) noexcept {
    const uint32_t n = clip(hPalette, uStart, uCount);
    if (n && pEntries) std::memcpy(pEntries, hPalette->entries + uStart, n * sizeof(PALETTEENTRY));
    return n;
}

uint32_t SetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount, const PALETTEENTRY* pEntries) noexcept {
    const uint32_t n = clip(hPalette, uStart, uCount);
    if (n && pEntries) std::memcpy(hPalette->entries + uStart, pEntries, n * sizeof(PALETTEENTRY));
    return n;
}

uint32_t GetNearestPaletteIndex(HPALETTE hPalette, COLORREF crColor) noexcept {
    if (!isPalette(hPalette)) return 0;
    if (crColor >> 24) return crColor & 0xFF;
    const auto* pBytes = reinterpret_cast<const uint8_t*>(hPalette->entries);
    return bestNearest()(pBytes, hPalette->nCount, uint8_t(crColor), uint8_t(crColor >> 8), uint8_t(crColor >> 16))
        .nFirst;
}

}  // extern "C"
