// The mapping between a bitmap's coordinates and those of a second space, both ways.
#include <cmath>

#include "internal/bitmaprgn_.h"
#include "internal/muldiv.h"
#include "ravokit/view.h"

namespace rv {
namespace {

int32_t changeView(const BITMAPRECORD& bm, int32_t nFromView, RavoRgn& rgn) noexcept {
    const bool bOdd = seesColumns(nFromView) != hasRowsAsColumns(bm);
    return UpdateRegionViewPerspective(&rgn, nFromView, bm.ViewPerspective, bOdd ? bm.Height : bm.Width,
                                       bOdd ? bm.Width : bm.Height);
}

int32_t moved(int32_t n, int32_t nBy) noexcept { return int32_t(uint32_t(n) + uint32_t(nBy)); }

}  // namespace

bool isMapping(const RgnMapping& mapping) noexcept {
    return isView(mapping.MapViewPerspective) && mapping.XScaleDen && mapping.YScaleDen;
}

int32_t RgnApplyMapping(const BITMAPRECORD& bm, const RgnMapping* pMapping, RavoRgn& rgn) noexcept {
    if (!pMapping) return 1;
    if (!isMapping(*pMapping)) return -13;
    const RgnMapping& m = *pMapping;
    if (const int32_t n = R_OffsetRavoRgn(&rgn, m.XOffset, m.YOffset); n != 1) return n;
    if (const int32_t n = R_ScaleRavoRgn(&rgn, m.XScaleNum, m.XScaleDen, m.YScaleNum, m.YScaleDen); n != 1) return n;
    return m.MapViewPerspective == bm.ViewPerspective ? 1 : changeView(bm, m.MapViewPerspective, rgn);
}

int32_t RgnMapValue(int32_t nValue, int32_t nNum, int32_t nDen, bool bRoundUp) noexcept {
    if (!nValue) return 0;
    const int64_t nMore = bRoundUp ? int64_t(nDen) - 1 : 0;
    if (INT32_MAX / std::abs(int64_t(nValue)) >= std::abs(int64_t(nNum)))
        return saturated((int64_t(nValue) * nNum + nMore) / nDen);
    const double d = (double(nValue) * nNum + double(nMore)) / nDen;
    return int32_t(std::clamp(std::trunc(d), double(INT32_MIN), double(INT32_MAX)));
}

int32_t RgnMapRect(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RECT* pRect) noexcept {
    if (!pBitmap) return -2;  // Invalid image
    if (!pRect) return -13;   // Invalid parameter passed
    if (!pMapping) return 1;
    if (!isMapping(*pMapping)) return -13;
    const RgnMapping& m = *pMapping;
    RECT r = *pRect;
    if (m.MapViewPerspective != pBitmap->ViewPerspective)
        if (const int32_t n = R_ChangeRectViewPerspective(pBitmap->ViewPerspective, pBitmap->Width, pBitmap->Height,
                                                          m.MapViewPerspective, &r);
            n != 1)
            return n;
    const bool bUp = m.MapViewPerspective == TOP_LEFT || m.MapViewPerspective == BOTTOM_LEFT;
    const auto x = [&](int32_t n) { return moved(RgnMapValue(n, m.XScaleNum, m.XScaleDen, true), m.XOffset); };
    const auto y = [&](int32_t n) { return moved(RgnMapValue(n, m.YScaleNum, m.YScaleDen, bUp), m.YOffset); };
    *pRect = {x(r.left), y(r.top), x(r.right), y(r.bottom)};
    return 1;
}

}  // namespace rv
