// The best palette of a picture or a list: the exact one where its colours fit, else a cut of its histogram.
#include <algorithm>
#include <cstring>
#include <utility>

#include "internal/bgrrows.h"
#include "internal/list_.h"
#include "internal/optpal_.h"
#include "internal/progress.h"
#include "ravokit/frame.h"
#include "ravokit/optpal.h"

namespace rv {
namespace {

constexpr uint32_t kExactLimit = 256;       // of a list of one bitmap
constexpr uint64_t kAllColors = 0x1000000;  // no list of 24-bit colours is longer

constexpr uint32_t rankOf(const RGBQUAD& q) noexcept {
    return uint32_t(q.rgbRed) << 16 | uint32_t(q.rgbGreen) << 8 | q.rgbBlue;
}
constexpr bool isBefore(const RGBQUAD& a, const RGBQUAD& b) noexcept { return rankOf(a) < rankOf(b); }

// What the calls share: where the result goes, and how much of it there is to be.
struct Result {
    RGBQUAD* pPalette;
    uint32_t* puColors;
    uint32_t** ppMatchTable;
    int32_t* pbProcessed;

    bool isComplete() const noexcept { return pPalette && puColors && *puColors && pbProcessed; }
    void preset() const noexcept {
        if (ppMatchTable) *ppMatchTable = nullptr;
        *pbProcessed = 1;
    }
    void clear() const noexcept { std::fill_n(pPalette, *puColors, RGBQUAD{}); }
    // Ends the job with colours that are the palette.
    int32_t exact(uint32_t nColors) const noexcept {
        *puColors = nColors;
        *pbProcessed = 0;
        return 1;
    }
};

// The region is put back where it was.
class RegionSetAside {
    BITMAPRECORD& m_bm;
    decltype(BITMAPRECORD::pRgnInfo) m_pRegion;

public:
    explicit RegionSetAside(BITMAPRECORD& bm) noexcept : m_bm(bm), m_pRegion(std::exchange(bm.pRgnInfo, nullptr)) {}
    RegionSetAside(const RegionSetAside&) = delete;
    RegionSetAside& operator=(const RegionSetAside&) = delete;
    ~RegionSetAside() { m_bm.pRgnInfo = m_pRegion; }
};

// ---- the exact pass ----------------------------------------------------------------------------------------------

// The colours of a picture, without the fixed ones, sorted. 1: they are the palette; 0: they don't fit; or a status.
int32_t exactColors(BITMAPRECORD& bm, const Result& result, uint32_t uMaxColors, const RGBQUAD* pFixed,
                    uint32_t uFixed) noexcept {
    Buffer<RGBQUAD> colors(std::min<uint64_t>(uMaxColors, kAllColors));
    if (!colors) return -1;
    uint32_t nColors = uint32_t(std::min<uint64_t>(uMaxColors, kAllColors));
    {
        const StatusSetAside noStatus;
        const RegionSetAside noRegion(bm);
        if (const int32_t n = R_GetBitmapColorCountExt(&bm, &nColors, colors.get()); n != 1) return n;
    }
    if (nColors > uMaxColors || nColors > uint64_t(*result.puColors) + uFixed) return 0;
    RGBQUAD* pEnd = colors.get() + nColors;
    for (uint32_t i = 0; i < uFixed; ++i)
        pEnd = std::remove_if(colors.get(), pEnd, [&](const RGBQUAD& q) { return rankOf(q) == rankOf(pFixed[i]); });
    const auto nLeft = uint32_t(pEnd - colors.get());
    if (nLeft > *result.puColors) return 0;
    result.clear();
    std::sort(colors.get(), pEnd, isBefore);
    std::copy(colors.get(), pEnd, result.pPalette);
    return result.exact(nLeft);
}

// ---- the cut -----------------------------------------------------------------------------------------------------

int32_t addBitmap(Histogram& histogram, BITMAPRECORD& bm) noexcept {
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    BgrRows rows(bm);
    if (rows.status() != 1) return rows.status();
    for (int32_t y = 0; y < bm.Height; ++y) {
        const uint8_t* pRow = rows.read(y);
        if (!pRow) return rows.status();
        histogram.addRow(pRow, size_t(bm.Width));
    }
    return lock.release(1);
}

constexpr uint8_t expanded(uint32_t nMean) noexcept { return uint8_t(nMean << 3 | nMean >> 2); }

// Boxes to entries, sorted; the cells to places in the palette.
void takeBoxes(Histogram& histogram, const OPTBOX* pBoxes, uint32_t* pOrder, uint32_t nBoxes,
               const Result& result) noexcept {
    const auto entryOf = [](const OPTBOX& box) {
        return RGBQUAD{expanded(box.nAvgBlue), expanded(box.nAvgGreen), expanded(box.nAvgRed), 0};
    };
    for (uint32_t i = 0; i < nBoxes; ++i) pOrder[i] = i;
    // A selection exchange: the first of the smallest entries changes places with the one whose turn it is.
    const auto isBoxBefore = [&](uint32_t a, uint32_t b) { return isBefore(entryOf(pBoxes[a]), entryOf(pBoxes[b])); };
    for (uint32_t i = 0; i < nBoxes; ++i)
        std::swap(pOrder[i], *std::min_element(pOrder + i, pOrder + nBoxes, isBoxBefore));
    result.clear();
    for (uint32_t i = 0; i < nBoxes; ++i) result.pPalette[i] = entryOf(pBoxes[pOrder[i]]);
    if (!result.ppMatchTable) return;
    for (uint32_t i = 0; i < nBoxes; ++i) {
        const OPTBOX& box = pBoxes[pOrder[i]];
        for (uint32_t k = box.nFirst; k < box.nFirst + box.nCount; ++k) histogram.cells()[histogram.keys()[k]] = i + 1;
    }
    *result.ppMatchTable = histogram.takeCells();
}

// One histogram of all bitmaps, and its cut.
int32_t cutColors(BITMAPRECORD* pBitmaps, uint32_t nBitmaps, const Result& result, bool bFast) noexcept {
    // No picture fills more boxes than there are keys.
    const uint32_t nMost = std::min(*result.puColors, kColorKeys);
    Histogram histogram;
    Buffer<OPTBOX> boxes(nMost);
    Buffer<uint32_t> order(nMost);
    if (!histogram || !boxes || !order) return -1;
    for (uint32_t i = 0; i < nBitmaps; ++i)
        if (const int32_t n = addBitmap(histogram, pBitmaps[i]); n != 1) return n;
    histogram.finish();
    const int32_t nBoxes = cutHistogram(histogram, boxes.get(), nMost, bFast);
    if (nBoxes < 0) return nBoxes;
    takeBoxes(histogram, boxes.get(), order.get(), uint32_t(nBoxes), result);
    return 1;
}

int32_t optimize(BITMAPRECORD& bm, const Result& result, uint32_t uMaxColors, const RGBQUAD* pFixed, uint32_t uFixed,
                 bool bFast) noexcept {
    if (bm.BitsPerPixel <= 8 && bm.nColors <= *result.puColors) {
        const PaletteOf palette(bm);
        const uint32_t nColors = std::min(bm.nColors, 1u << bm.BitsPerPixel);
        result.clear();
        std::copy_n(palette.entries, nColors, result.pPalette);
        return result.exact(nColors);
    }
    const int32_t n = exactColors(bm, result, uMaxColors, pFixed, uFixed);
    return n != 0 ? n : cutColors(&bm, 1, result, bFast);
}

// ---- lists -------------------------------------------------------------------------------------------------------

// The palettes of all bitmaps as one, sorted. False when a bitmap has none or they don't fit.
bool mergePalettes(const BITMAPLIST& list, const Result& result) noexcept {
    result.clear();
    uint32_t nColors = 0;
    for (uint32_t i = 0; i < list.nCount; ++i) {
        const BITMAPRECORD& bm = list.pItems[i];
        if (bm.BitsPerPixel > 8) return false;
        const PaletteOf palette(bm);
        for (uint32_t k = 0; k < std::min(bm.nColors, 1u << bm.BitsPerPixel); ++k) {
            RGBQUAD* const pEnd = result.pPalette + nColors;
            const auto isSame = [&](const RGBQUAD& q) { return rankOf(q) == rankOf(palette.entries[k]); };
            if (std::any_of(result.pPalette, pEnd, isSame)) continue;
            if (nColors == *result.puColors) return false;
            *pEnd = palette.entries[k];
            ++nColors;
        }
    }
    std::sort(result.pPalette, result.pPalette + nColors, isBefore);
    result.exact(nColors);
    return true;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CreateBitmapOptPal(BITMAPRECORD* pBitmap, RGBQUAD* pPalette, uint32_t* puColors, uint32_t uMaxColors,
                             const RGBQUAD* pFixedEntries, uint32_t uFixedEntries, uint32_t** ppMatchTable,
                             int32_t* pbProcessed, int32_t bFast) noexcept {
    const Result result{pPalette, puColors, ppMatchTable, pbProcessed};
    if (!pBitmap || !result.isComplete() || (!pFixedEntries && uFixedEntries)) return -13;
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    result.preset();
    return optimize(*pBitmap, result, uMaxColors, pFixedEntries, uFixedEntries, bFast != 0);
}

int32_t R_CreateBitmapListOptPal(HBITMAPLIST pList, RGBQUAD* pPalette, uint32_t* puColors, uint32_t** ppMatchTable,
                                 int32_t* pbProcessed) noexcept {
    const Result result{pPalette, puColors, ppMatchTable, pbProcessed};
    if (!pList || !result.isComplete()) return -13;
    if (pList->nCount == 0) return -2;
    for (uint32_t i = 0; i < pList->nCount; ++i) {
        if (!isAllocated(&pList->pItems[i])) return -2;
        if (!isKnownRecordSize(pList->pItems[i].uStructSize)) return -789;
    }
    result.preset();
    if (pList->nCount == 1) {
        BITMAPRECORD copy;  // what the passes set aside is the item's own meanwhile
        R_CopyBitmapHandle(&copy, &pList->pItems[0], pList->pItems[0].uStructSize);
        return optimize(copy, result, kExactLimit, nullptr, 0, false);
    }
    if (mergePalettes(*pList, result)) return 1;
    return cutColors(pList->pItems, pList->nCount, result, false);
}

}  // extern "C"
