// Setting the region of a bitmap: each shape is made a region, which is brought into the bitmap's coordinates, combined
// with the one that is there, cut, and only then put in its place.
#include "internal/bitmaprgn_.h"
#include "internal/contours_.h"

namespace rv {
namespace {

constexpr uint32_t kModeBits = 7;

// The bitmap's rectangle, grown to hold a region that may reach out of it.
RECT clipBox(const BITMAPRECORD& bm, const RavoRgn& rgn) noexcept {
    const RECT& r = rgn.rcBounds;
    if (isClipped(bm)) return wholeOf(bm);
    return {std::min(r.left, 0), std::min(r.top, 0), std::max(r.right, bm.Width), std::max(r.bottom, bm.Height)};
}

// The combination of a new region with the bitmap's, for the modes that need more than the new one itself.
int32_t combine(RavoRgn** ppResult, const BITMAPRECORD& bm, const RavoRgn& rgn, uint32_t uMode) noexcept {
    const RECT box = clipBox(bm, rgn);
    RegionOwner full;
    if (!bm.pRgnInfo || uMode == RGN_MODE_SET_NOT)
        if (const int32_t n = R_CreateRavoRgnRect(full.out(), &box); n != 1) return n;
    const RavoRgn& old = full.get() ? *full : *bm.pRgnInfo;
    switch (uMode) {
        case RGN_MODE_AND:
            return combineRegions(ppResult, rgn, old, RowOp::kIntersection);
        case RGN_MODE_NEW_MINUS_OLD:
            return combineRegions(ppResult, rgn, old, RowOp::kDifference);
        case RGN_MODE_OLD_MINUS_NEW:
        case RGN_MODE_SET_NOT:
            return combineRegions(ppResult, old, rgn, RowOp::kDifference);
        case RGN_MODE_OR:
            return combineRegions(ppResult, rgn, old, RowOp::kUnion);
        case RGN_MODE_XOR:
            return combineRegions(ppResult, rgn, old, RowOp::kSymmetric);
        default:
            return -13;  // Invalid parameter passed
    }
}

int32_t setRegion(BITMAPRECORD& bm, const RgnMapping* pMapping, RegionOwner& rgn, uint32_t uMode) noexcept {
    if (const int32_t n = RgnApplyMapping(bm, pMapping, *rgn); n != 1) return n;
    if (uMode > RGN_MODE_SET_NOT) return -13;
    // What all of the bitmap has in common with a region is that region, cut.
    if (uMode != RGN_MODE_SET && (uMode != RGN_MODE_AND || bm.pRgnInfo)) {
        RegionOwner result;
        if (const int32_t n = combine(result.out(), bm, *rgn, uMode); n != 1) return n;
        std::swap(*rgn.out(), *result.out());
    }
    const RECT box = wholeOf(bm);
    if (isClipped(bm))
        if (const int32_t n = R_ClipRavoRgnRect(rgn.get(), &box); n != 1) return n;
    replaceBitmapRegion(bm, rgn.take());
    return 1;
}

// The frame of the calls that make a region first.
template <class Make>
int32_t setMade(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, uint32_t uMode, Make make) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    RegionOwner rgn;
    if (const int32_t n = make(rgn.out()); n != 1) return n;
    return R_SetBitmapRgn(pBitmap, pMapping, rgn.take(), uMode);
}

int32_t setRect(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect, uint32_t uMode) noexcept {
    return setMade(pBitmap, pMapping, uMode, [=](RavoRgn** pp) { return R_CreateRavoRgnRect(pp, pRect); });
}

int32_t setEllipseHandle(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT& r, uint32_t uMode) noexcept {
    const RVHANDLE h = CreateEllipticRgn(r.left, r.top, r.right, r.bottom);
    if (!h) return -1;  // Not enough memory available
    const int32_t n = R_SetBitmapRgnHandle(pBitmap, pMapping, h, uMode);
    DeleteObject(h);
    return n;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetBitmapRgn(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RavoRgn* pRgn, uint32_t uMode) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (pRgn && pRgn == pBitmap->pRgnInfo) return -13;          // Invalid parameter passed
    RegionOwner rgn(pRgn);
    if (rgn.get()) return setRegion(*pBitmap, pMapping, rgn, uMode);
    replaceBitmapRegion(*pBitmap, nullptr);
    return 1;
}

int32_t R_SetBitmapRgnRect(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect,
                           uint32_t uMode) noexcept {
    return setRect(pBitmap, pMapping, pRect, uMode);
}
int32_t R_IntSetBitmapRgnRect(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect,
                              uint32_t uMode) noexcept {
    return setRect(pBitmap, pMapping, pRect, uMode);
}

int32_t R_SetBitmapRgnEllipse(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect,
                              uint32_t uMode) noexcept {
    const bool bHandle = uMode & RGN_ELLIPSE_HANDLE;
    if (bHandle && (!pBitmap || !pRect)) return -13;
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (!pRect) return -13;
    uMode &= kModeBits;
    if (bHandle) return setEllipseHandle(pBitmap, pMapping, *pRect, uMode);
    return setMade(pBitmap, pMapping, uMode, [=](RavoRgn** ppRgn) {
        POINT points[kEllipsePoints];
        ellipsePolygon(pRect->left, pRect->top, int64_t(pRect->right) - pRect->left,
                       std::abs(int64_t(pRect->bottom) - pRect->top), points);
        return R_SegmentsToRegion(ppRgn, points, nullptr, kEllipsePoints, 0);
    });
}

int32_t R_SetBitmapRgnPolygon(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const POINT* pPoints, int32_t nCount,
                              int32_t nFillMode, uint32_t uMode) noexcept {
    return setMade(pBitmap, pMapping, uMode, [=](RavoRgn** ppRgn) {
        return nCount ? R_SegmentsToRegion(ppRgn, pPoints, nullptr, nCount, nFillMode) : 1;
    });
}

int32_t R_SetBitmapRgnHandle(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RVHANDLE h, uint32_t uMode) noexcept {
    if (!pBitmap) return -13;
    return setMade(pBitmap, pMapping, uMode, [=](RavoRgn** ppRgn) { return h ? R_ConvertHandleToRgn(h, ppRgn) : 1; });
}

int32_t R_SetBitmapRgnData(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, int32_t nSize, const RGNDATA* pData,
                           uint32_t uMode) noexcept {
    if (nSize < 0) return -13;
    if (nSize == 0) return R_FreeBitmapRgn(pBitmap);
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    const RVHANDLE h = ExtCreateRegion(nullptr, uint32_t(nSize), pData);
    if (!h) return -1;
    const int32_t n = R_SetBitmapRgnHandle(pBitmap, pMapping, h, uMode);
    DeleteObject(h);
    return n;
}

int32_t R_FreeBitmapRgn(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;
    return R_SetBitmapRgn(pBitmap, nullptr, nullptr, RGN_MODE_SET);
}

int32_t R_SetBitmapRgnClip(BITMAPRECORD* pBitmap, int32_t bClip) noexcept {
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    pBitmap->Flags = bClip ? pBitmap->Flags & ~uint32_t(BMF_RGN_NOCLIP) : pBitmap->Flags | BMF_RGN_NOCLIP;
    return 1;
}

int32_t R_GetBitmapRgnClip(const BITMAPRECORD* pBitmap) noexcept {
    return pBitmap && isKnownRecordSize(pBitmap->uStructSize) && isClipped(*pBitmap);
}

}  // extern "C"
