// Rectangle helpers: half-open rectangles of 32-bit coordinates.
#include <algorithm>

#include "ravokit/objects.h"

namespace rv {
namespace {

int32_t wrappingSum(int32_t a, int32_t b) noexcept { return int32_t(uint32_t(a) + uint32_t(b)); }
int32_t wrappingDifference(int32_t a, int32_t b) noexcept { return int32_t(uint32_t(a) - uint32_t(b)); }

bool isEmpty(const RECT& r) noexcept { return r.left >= r.right || r.top >= r.bottom; }

// What is empty is stored as all 0.
int32_t store(RECT& dst, const RECT& r) noexcept {
    const bool bEmpty = isEmpty(r);
    dst = bEmpty ? RECT{} : r;
    return bEmpty ? 0 : 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t SetRect(RECT* pRect, int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) noexcept {
    if (!pRect) return 0;
    *pRect = {nLeft, nTop, nRight, nBottom};
    return 1;
}

int32_t IsRectEmpty(const RECT* pRect) noexcept { return pRect && isEmpty(*pRect) ? 1 : 0; }

int32_t PtInRect(const RECT* pRect, POINT pt) noexcept {
    if (!pRect) return 0;
    return pt.x >= pRect->left && pt.x < pRect->right && pt.y >= pRect->top && pt.y < pRect->bottom ? 1 : 0;
}

int32_t IntersectRect(RECT* pDst, const RECT* pSrc1, const RECT* pSrc2) noexcept {
    if (!pDst || !pSrc1 || !pSrc2) return 0;
    return store(*pDst, {std::max(pSrc1->left, pSrc2->left), std::max(pSrc1->top, pSrc2->top),
                         std::min(pSrc1->right, pSrc2->right), std::min(pSrc1->bottom, pSrc2->bottom)});
}

int32_t InflateRect(RECT* pRect, int32_t dx, int32_t dy) noexcept {
    if (!pRect) return 0;
    *pRect = {wrappingDifference(pRect->left, dx), wrappingDifference(pRect->top, dy), wrappingSum(pRect->right, dx),
              wrappingSum(pRect->bottom, dy)};
    return 1;
}

int32_t CopyRect(RECT* pDst, const RECT* pSrc) noexcept {
    if (!pDst || !pSrc) return 0;
    *pDst = *pSrc;
    return 1;
}

int32_t UnionRect(RECT* pDst, const RECT* pSrc1, const RECT* pSrc2) noexcept {
    if (!pDst || !pSrc1 || !pSrc2) return 0;
    if (isEmpty(*pSrc1)) return store(*pDst, *pSrc2);
    if (isEmpty(*pSrc2)) return store(*pDst, *pSrc1);
    return store(*pDst, {std::min(pSrc1->left, pSrc2->left), std::min(pSrc1->top, pSrc2->top),
                         std::max(pSrc1->right, pSrc2->right), std::max(pSrc1->bottom, pSrc2->bottom)});
}

int32_t OffsetRect(RECT* pRect, int32_t dx, int32_t dy) noexcept {
    if (!pRect) return 0;
    *pRect = {wrappingSum(pRect->left, dx), wrappingSum(pRect->top, dy), wrappingSum(pRect->right, dx),
              wrappingSum(pRect->bottom, dy)};
    return 1;
}

}  // extern "C"
