// Region handles of polygons and ellipses.
#include "internal/contours_.h"
#include "internal/region_.h"

namespace rv {
namespace {

// A handle that holds no region.
RVHANDLE emptyHandle() noexcept {
    return newRegionHandle([](RavoRgn**) { return 1; });
}

RVHANDLE polygonHandle(const POINT* pPoints, int32_t nCount, int32_t nFillMode) noexcept {
    if (nCount < 2) return emptyHandle();
    return newRegionHandle(
        [=](RavoRgn** ppRgn) { return R_SegmentsToRegion(ppRgn, pPoints, nullptr, nCount, nFillMode); });
}

RVHANDLE ellipseHandle(const RECT& box) noexcept {
    if (isEmptyBox(box)) return emptyHandle();
    POINT points[kEllipsePoints];
    ellipsePolygon(box.left, box.top, int64_t(box.right) - box.left, int64_t(box.bottom) - box.top, points);
    return polygonHandle(points, kEllipsePoints, 0);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

RVHANDLE CreatePolygonRgn(const POINT* pPoints, int32_t nCount, int32_t nFillMode) noexcept {
    return polygonHandle(pPoints, nCount, nFillMode);
}
RVHANDLE R_WinCreatePolygonRgn(const POINT* pPoints, int32_t nCount, int32_t nFillMode) noexcept {
    return polygonHandle(pPoints, nCount, nFillMode);
}
RVHANDLE CreateEllipticRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) noexcept {
    return ellipseHandle({nLeft, nTop, nRight, nBottom});
}
RVHANDLE R_WinCreateEllipticRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) noexcept {
    return ellipseHandle({nLeft, nTop, nRight, nBottom});
}
RVHANDLE R_WinCreateEllipticRgnIndirect(const RECT* pRect) noexcept { return pRect ? ellipseHandle(*pRect) : nullptr; }

}  // extern "C"
