// Rectangles that lie upon each other in any depth to the region that they cover, in bands from one row at which some
// start or end to the next.
#include "internal/coverage.h"
#include "internal/region_.h"

namespace rv {

int32_t coverRegion(RavoRgn** ppRgn, const RECT* pRects, size_t nRects, bool bParity) noexcept {
    const Buffer<uint32_t> byBottom(nRects);
    if (!byBottom || nRects > UINT32_MAX / 2) return -1;
    RECT box = nRects ? pRects[0] : RECT{};
    for (size_t i = 0; i < nRects; ++i) {
        box = {std::min(box.left, pRects[i].left), box.top, std::max(box.right, pRects[i].right),
               std::max(box.bottom, pRects[i].bottom)};
        byBottom[i] = uint32_t(i);
    }
    const auto bottomOf = [&](size_t i) { return pRects[byBottom[i]].bottom; };
    std::sort(byBottom.get(), byBottom.get() + nRects,
              [=](uint32_t a, uint32_t b) { return pRects[a].bottom < pRects[b].bottom; });
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, box, uint32_t(2 * nRects)); n != 1) return n;
    Coverage coverage;
    if (!coverage.prepare(pRects, nRects, bParity)) return -1;
    for (size_t iNext = 0, iEnd = 0; iEnd < nRects;) {
        const int32_t y = iNext > iEnd ? bottomOf(iEnd) : INT32_MAX;
        const int32_t nUntil = iNext < nRects ? std::min(y, pRects[iNext].top) : y;
        if (iNext > iEnd) {
            coverage.forEachPiece([&](int32_t nLeft, int32_t nRight) { builder.addTouching(nLeft, nRight); });
            if (const int32_t n = RgnBuilderRepeatRow(builder, uint32_t(nUntil) - uint32_t(builder.CurrentY)); n != 1)
                return n;
        }
        RgnBuilderSkipTo(builder, nUntil);
        while (iEnd < iNext && bottomOf(iEnd) == nUntil) coverage.go(pRects[byBottom[iEnd++]]);
        while (iNext < nRects && pRects[iNext].top == nUntil) coverage.come(pRects[iNext++]);
    }
    *ppRgn = RgnBuilderFinish(builder);
    return 1;
}

}  // namespace rv
