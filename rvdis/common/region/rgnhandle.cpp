// Regions in display coordinates, as handles and lists of rectangles. The handle that was made last stays with the
// region: painting asks for one each time, and panning changes nothing but the offsets, by which it is moved then.
#include "internal/bitmap_.h"
#include "internal/bitmaprgn_.h"
#include "internal/rvclasses_.h"
#include "ravokit/copy.h"
#include "ravokit/objects.h"

namespace rv {
namespace {

// A handle to the union of a list's rectangles, of which there may be none.
RVHANDLE RgnListToHandle(RECT* pList, uint32_t nRects) noexcept {
    if (!nRects) return CreateRectRgn(0, 0, 0, 0);
    const RGNDATA header{sizeof(RGNDATA), 1, nRects, uint32_t(nRects * sizeof(RECT)), {}};
    std::memcpy(pList, &header, sizeof header);
    return ExtCreateRegion(nullptr, header.uHeaderSize + header.uRectBytes, reinterpret_cast<const RGNDATA*>(pList));
}

constexpr size_t kHeaderRects = sizeof(RGNDATA) / sizeof(RECT);

// Rows with the same spans are one rectangle for each.
int32_t makeHandle(const BITMAPRECORD& bm, const RgnMapping* pMapping, RVHANDLE* ph) noexcept {
    const RavoRgn& rgn = *bm.pRgnInfo;
    const uint64_t nCapacity = spanCount(rgn) + uint64_t(kHeaderRects);
    Buffer<RECT> list(nCapacity * sizeof(RECT) > UINT32_MAX ? UINT64_MAX : nCapacity);
    if (!list) return -1;  // Not enough memory available
    uint32_t nRects = 0;
    for (uint32_t i = 0, iNext; i < rowCount(rgn); i = iNext) {
        const auto words = rowWords(rgn, i);
        for (iNext = i + 1; iNext < rowCount(rgn) && std::ranges::equal(words, rowWords(rgn, iNext));) ++iNext;
        const auto yOf = [&](uint32_t n) { return int32_t(uint32_t(rgn.rcBounds.top) + n); };
        for (size_t k = 0; k < words.size(); k += 2) {
            RECT r{words[k], yOf(i), words[k + 1], yOf(iNext)};
            if (const int32_t n = RgnMapRect(&bm, pMapping, &r); n != 1) return n;
            if (!isEmptyBox(r)) list[kHeaderRects + nRects++] = r;
        }
    }
    *ph = RgnListToHandle(list.get(), nRects);
    return *ph ? 1 : -1;
}

// Without a region the bitmap's rectangle.
int32_t rectHandle(const BITMAPRECORD& bm, const RgnMapping* pMapping, RVHANDLE* ph) noexcept {
    RECT r = wholeOf(bm);
    if (const int32_t n = RgnMapRect(&bm, pMapping, &r); n != 1) return n;
    *ph = CreateRectRgn(r.left, r.top, r.right, r.bottom);
    return *ph ? 1 : -1;
}

bool fits(int64_t n) noexcept { return n == int32_t(n); }

// Whether the handle that is kept serves, moved where it has to be.
bool serveKept(const BITMAPRECORD& bm, const RgnMapping& mapping) noexcept {
    RavoRgn& rgn = *bm.pRgnInfo;
    RgnMapping& kept = rgn.DisplayMapping;
    if (!rgn.hDisplayRgn || rgn.DisplayBitmapView != bm.ViewPerspective) return false;
    if (kept.MapViewPerspective != mapping.MapViewPerspective || kept.XScaleNum != mapping.XScaleNum ||
        kept.XScaleDen != mapping.XScaleDen || kept.YScaleNum != mapping.YScaleNum ||
        kept.YScaleDen != mapping.YScaleDen)
        return false;
    const int64_t dx = int64_t(mapping.XOffset) - kept.XOffset, dy = int64_t(mapping.YOffset) - kept.YOffset;
    if (!fits(dx) || !fits(dy) || OffsetRgn(rgn.hDisplayRgn, int32_t(dx), int32_t(dy)) != 1) return false;
    kept = mapping;
    return true;
}

RgnMapping mappingOr(const BITMAPRECORD& bm, const RgnMapping* pMapping) noexcept {
    return pMapping ? *pMapping : RgnMapping{bm.ViewPerspective, 1, 1, 1, 1, 0, 0};
}

// A handle that is the caller's in any case.
int32_t makePrivate(RVHANDLE* ph, int32_t* pbOwned) noexcept {
    if (*pbOwned) return 1;
    *ph = DuplicateRgnHandle(*ph);
    *pbOwned = *ph != nullptr;
    return *ph ? 1 : -1;
}

// The bitmap or a part of it, shown in a rectangle.
int32_t sizedHandle(const BITMAPRECORD& bm, const RECT& dst, RVHANDLE* ph, int32_t* pbOwned) noexcept {
    const bool bTurned = hasRowsAsColumns(bm);
    const RgnMapping mapping{TOP_LEFT,
                             int32_t(uint32_t(dst.right) - uint32_t(dst.left)),
                             bTurned ? bm.Height : bm.Width,
                             int32_t(uint32_t(dst.bottom) - uint32_t(dst.top)),
                             bTurned ? bm.Width : bm.Height,
                             dst.left,
                             dst.top};
    return R_IntGetBitmapRgnHandle(&bm, &mapping, ph, pbOwned);
}

int32_t partHandle(BITMAPRECORD& bm, const RECT& src, const RECT& dst, RVHANDLE* ph, int32_t* pbOwned) noexcept {
    const int64_t nWidth = int64_t(src.right) - src.left, nHeight = std::abs(int64_t(src.bottom) - src.top);
    if (!fits(nWidth) || !fits(nHeight) || src.left == INT32_MIN || src.top == INT32_MIN) return -13;
    BITMAPRECORD part;
    if (const int32_t n =
            R_DupBitmapNewDim(&part, &bm, bm.uStructSize, int32_t(nWidth), int32_t(nHeight), bm.BitsPerPixel, 0);
        n != 1)
        return n;
    int32_t n = R_CopyBitmapRgn(&part, &bm, -src.left, -src.top);
    if (n == 1) n = sizedHandle(part, dst, ph, pbOwned);
    if (n == 1) n = makePrivate(ph, pbOwned);
    R_FreeDuplicateBitmap(&part, DUP_REGION);
    return n;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_IntGetBitmapRgnHandle(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RVHANDLE* ph,
                                int32_t* pbOwned) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!ph || !pbOwned) return -13;                            // Invalid parameter passed
    const BITMAPRECORD& bm = *pBitmap;
    const RgnMapping mapping = mappingOr(bm, pMapping);
    if (pMapping && !isMapping(*pMapping)) return -13;
    RVHANDLE h = nullptr;
    if (!bm.pRgnInfo) {
        if (const int32_t n = rectHandle(bm, pMapping, &h); n != 1) return n;
        *ph = h;
        *pbOwned = 1;
        return 1;
    }
    RavoRgn& rgn = *bm.pRgnInfo;
    if (!serveKept(bm, mapping)) {
        if (const int32_t n = makeHandle(bm, pMapping, &h); n != 1) return n;
        DeleteObject(std::exchange(rgn.hDisplayRgn, h));
        rgn.DisplayBitmapView = bm.ViewPerspective;
        rgn.DisplayMapping = mapping;
    }
    *ph = rgn.hDisplayRgn;
    *pbOwned = 0;
    return 1;
}

int32_t R_GetBitmapRgnHandle(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RVHANDLE* ph) noexcept {
    if (!ph) return -13;
    RVHANDLE h = nullptr;
    int32_t bOwned = 0;
    if (R_IntGetBitmapRgnHandle(pBitmap, pMapping, &h, &bOwned) != 1) return 0;
    const int32_t n = makePrivate(&h, &bOwned);
    if (n == 1) *ph = h;
    return n;
}

int32_t R_GetResizedRgnHandle(BITMAPRECORD* pBitmap, const RECT* pSrcRect, const RECT* pDstRect, RVHANDLE* ph,
                              int32_t* pbOwned) noexcept {
    if (!pBitmap || !pDstRect) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (!ph || !pbOwned) return -13;
    RVHANDLE h = nullptr;
    int32_t bOwned = 0;
    const int32_t n = pSrcRect ? partHandle(*pBitmap, *pSrcRect, *pDstRect, &h, &bOwned)
                               : sizedHandle(*pBitmap, *pDstRect, &h, &bOwned);
    if (n != 1) return n;
    *ph = h;
    *pbOwned = bOwned;
    return 1;
}

int32_t R_GetBitmapRgnData(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, int32_t nSize,
                           RGNDATA* pData) noexcept {
    if (nSize < 0) return -13;
    if (!pBitmap || !pBitmap->pRgnInfo) return 0;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    RVHANDLE h = nullptr;
    int32_t bOwned = 0;
    if (R_IntGetBitmapRgnHandle(pBitmap, pMapping, &h, &bOwned) != 1) return 0;
    const uint32_t n = GetRegionData(h, uint32_t(nSize), nSize ? pData : nullptr);
    if (bOwned) DeleteObject(h);
    return n && n <= INT32_MAX ? int32_t(n) : -1;
}

}  // extern "C"
