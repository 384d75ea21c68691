// The palette of a colour resolution: the caller's, a fixed one, or the best one around what the caller has fixed.
#include <algorithm>
#include <array>
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/colorres_.h"
#include "internal/opening.h"
#include "internal/threaddata.h"
#include "ravokit/optpal.h"

namespace rv {
namespace {

constexpr uint32_t kExactLimit = 256;  // colours that a picture may have to be its own palette
constexpr RGBQUAD kFreeSlot = {2, 2, 2, 2};

constexpr uint32_t kUserMatch = CRF_USERMATCHTABLE, kNoMatchTable = CRF_NOOPTIMIZEDMATCH;
constexpr std::array<uint32_t, 14> kChoices = {
    0,
    CRF_OPTIMIZEDPALETTE,
    CRF_RESERVEDENTRIES,
    CRF_OPTIMIZEDPALETTE | CRF_RESERVEDENTRIES,
    CRF_OPTIMIZEDPALETTE | kUserMatch,
    CRF_USERPALETTE,
    CRF_USERPALETTE | kUserMatch,
    CRF_FIXEDPALETTE,
    CRF_NETSCAPEPALETTE,
    CRF_FIXEDPALETTE | CRF_NETSCAPEPALETTE,
    kNoMatchTable,
    CRF_OPTIMIZEDPALETTE | kNoMatchTable,
    CRF_RESERVEDENTRIES | kNoMatchTable,
    CRF_OPTIMIZEDPALETTE | CRF_RESERVEDENTRIES | kNoMatchTable,
};

uint32_t* threadMatchTable(const Resolution& r) noexcept {
    return r.uFlags & CRF_USERMATCHTABLE ? static_cast<uint32_t*>(threadData().pUserMatchTable) : nullptr;
}

// The entries of a logical palette, their flags turned into roles, and free slots behind them. False without entries.
bool readLogical(RGBQUAD* pEntries, HPALETTE hPalette, uint32_t nColors) noexcept {
    const uint32_t nRead = R_GetPaletteEntries(hPalette, 0, nColors, pEntries);
    for (uint32_t i = 0; i < nRead; ++i)
        if (uint8_t& uRole = pEntries[i].rgbReserved; uRole == 1 || uRole == 4) uRole = 0;
    std::fill(pEntries + nRead, pEntries + kMostColors, RGBQUAD{0, 0, 0, 2});
    return nRead != 0;
}

int32_t takeUser(ChosenPalette& chosen, const Resolution& r) noexcept {
    if (r.hPalette) {
        if (!readLogical(chosen.entries, r.hPalette, r.uColors)) return -13;
    } else {
        if (!r.pPalette) return -13;
        std::copy_n(r.pPalette, r.uColors, chosen.entries);
    }
    chosen.pMatchTable = threadMatchTable(r);
    return 1;
}

int32_t takeFixed(ChosenPalette& chosen, const Resolution& r) noexcept {
    const bool bWeb = r.choice() & CRF_NETSCAPEPALETTE;
    if (r.choice() == CRF_NETSCAPEPALETTE && r.nBits != 8) return -13;
    const RGBQUAD* pTable = bWeb && r.nBits == 8 ? R_IntGetNetscapePalette() : R_IntGetFixedPalette(r.nBits);
    std::copy_n(pTable, r.uColors, chosen.entries);
    return 1;
}

// Colours are listed as they are stored. Where a lookup table, a gamut or a range of grey that rows give at fewer bits
// stands between these and what the rows give, no list is exact.
bool hasPlainColors(const BITMAPRECORD& bm, int32_t nBitsDst) noexcept {
    if (bm.BitsPerPixel <= 8) return true;
    if (bm.Order == ORDER_GRAY) {
        const uint32_t nKept = physicalBits(bm).nBits;
        const bool bWhole = nKept == uint32_t(bm.BitsPerPixel) || (nBitsDst == 8 && nKept >= 8);
        return bWhole && !bm.pLUT && !(hasWideFields(bm) && bm.pLUT16);
    }
    return bm.Order != ORDER_ROMM;
}

int32_t takeBest(ChosenPalette& chosen, BITMAPRECORD& src, const Resolution& r) noexcept {
    SlotPalette slots(r.pPalette, r.uColors);
    if (slots.nFree) {
        RGBQUAD fixed[kMostColors], best[kMostColors];
        const uint32_t nFixed = slots.fixedEntries(fixed);
        const bool bTable = slots.bRun && !(r.uFlags & CRF_NOOPTIMIZEDMATCH);
        uint32_t nBest = slots.nFree;
        int32_t bCut = 0;
        if (const int32_t n = R_CreateBitmapOptPal(&src, best, &nBest, hasPlainColors(src, r.nBits) ? kExactLimit : 0,
                                                   fixed, nFixed, bTable ? chosen.own.address() : nullptr, &bCut,
                                                   (r.uFlags & CRF_FASTOPTIMIZE) != 0);
            n != 1)
            return n;
        slots.fill(best, nBest, r.pPalette);
        chosen.bDither = bCut || (r.uFlags & CRF_USERMATCHTABLE);
        chosen.pMatchTable = chosen.own.get() ? chosen.own.get() : threadMatchTable(r);
    }
    chosen.nColors = slots.nColors;
    std::copy_n(slots.entries, kMostColors, chosen.entries);
    return 1;
}

}  // namespace

int32_t settle(Resolution& r) noexcept {
    if (!isKnownDepth(r.nBits)) return -13;  // Invalid parameter passed
    if (r.nBits == 12) r.uFlags = (r.uFlags & CRF_BYTEORDERBGR) | CRF_GRAY;
    if (!r.isPaletted()) return 1;
    const uint32_t nMost = 1u << r.nBits;
    r.uColors = r.uColors ? std::min(r.uColors, nMost) : nMost;
    r.uFlags &= ~uint32_t(CRF_BYTEORDERBGR | CRF_GRAY | CRF_565);
    if (r.hPalette || (r.uFlags & CRF_LOGICALPALETTE))
        r.uFlags = (r.uFlags & ~uint32_t(CRF_LOGICALPALETTE)) | CRF_USERPALETTE;
    constexpr uint32_t kBoth = CRF_OPTIMIZEDPALETTE | CRF_USERMATCHTABLE | CRF_NOOPTIMIZEDMATCH;
    if ((r.uFlags & kBoth) == kBoth) r.uFlags &= ~uint32_t(CRF_NOOPTIMIZEDMATCH);
    return std::find(kChoices.begin(), kChoices.end(), r.choice()) != kChoices.end() ? 1 : -13;
}

SlotPalette::SlotPalette(const RGBQUAD* pPalette, uint32_t nEntries) noexcept : nColors(nEntries) {
    std::fill_n(entries, kMostColors, kFreeSlot);
    for (uint32_t i = 0; i < nColors; ++i) {
        if (pPalette && !(pPalette[i].rgbReserved & 2)) entries[i] = pPalette[i];
        if (!isFree(i)) continue;
        if (i != nFree) bRun = false;
        ++nFree;
    }
}

uint32_t SlotPalette::fixedEntries(RGBQUAD* pFixed) const noexcept {
    uint32_t n = 0;
    for (uint32_t i = 0; i < nColors; ++i)
        if (!isFree(i)) pFixed[n++] = entries[i];
    return n;
}

void SlotPalette::fill(const RGBQUAD* pBest, uint32_t nBest, RGBQUAD* pPalette) noexcept {
    uint32_t nUsed = 0;  // slots up to the last one that is not free any more
    for (uint32_t i = 0, k = 0; i < nColors; ++i) {
        if (isFree(i) && k < nBest) {
            entries[i] = pBest[k++];
            if (pPalette) pPalette[i] = entries[i];
        }
        if (!isFree(i)) nUsed = i + 1;
    }
    nColors = std::max(nUsed, 1u);
}

void ChosenPalette::pad() noexcept {
    const auto isColor = [](const RGBQUAD& q) { return plainColor(q) != 0 && plainColor(q) != 0xFFFFFF; };
    const RGBQUAD* const pEnd = entries + nColors;
    const RGBQUAD* const pFirst = std::find_if(static_cast<const RGBQUAD*>(entries), pEnd, isColor);
    const RGBQUAD color = pFirst != pEnd ? *pFirst : RGBQUAD{127, 127, 127, 0};
    std::fill(entries + nColors, entries + kMostColors, color);
}

int32_t choosePalette(ChosenPalette& chosen, BITMAPRECORD& src, const Resolution& r) noexcept {
    std::memset(chosen.entries, 0, sizeof chosen.entries);
    chosen.nColors = r.uColors;
    int32_t nStatus;
    if (r.isUserPalette())
        nStatus = takeUser(chosen, r);
    else if (r.choice() & (CRF_FIXEDPALETTE | CRF_NETSCAPEPALETTE))
        nStatus = takeFixed(chosen, r);
    else
        nStatus = takeBest(chosen, src, r);
    if (nStatus == 1) chosen.pad();
    return nStatus;
}

}  // namespace rv
