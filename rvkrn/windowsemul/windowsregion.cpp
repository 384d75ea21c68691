// Region handles: the window system's region calls over the regions of this library.
//
// A list of rectangles becomes a region in bands: from one row at which rectangles start or end to the next the
// rectangles are the same, so that their spans are merged once and the row repeated.
#include <atomic>
#include <cmath>

#include "internal/handles.h"
#include "internal/region_.h"
#include "internal/rvclasses_.h"

namespace rv {
namespace {

enum : int32_t { kBadRegion = 0, kEmptyRegion = 1, kSimpleRegion = 2, kComplexRegion = 3 };

int32_t regionType(const RavoRgn* pRgn) noexcept {
    if (!pRgn || !pRgn->RowTableSize) return kEmptyRegion;
    return RgnIsRectangle(*pRgn) ? kSimpleRegion : kComplexRegion;
}

RVHANDLE rectHandle(const RECT& r) noexcept {
    const RECT box{std::min(r.left, r.right), std::min(r.top, r.bottom), std::max(r.left, r.right),
                   std::max(r.top, r.bottom)};
    return newRegionHandle([&](RavoRgn** ppRgn) { return R_CreateRavoRgnRect(ppRgn, &box); });
}

// Puts a region into a handle in place of its own, which is deleted.
void replaceRegion(MEMHANDLE& h, RavoRgn* pRgn) noexcept {
    const RegionOwner old(static_cast<RavoRgn*>(std::exchange(h.pBlock, pRgn)));
}

// ---- regions that a handle gave up, kept where a leak checker sees them ------------------------------------------

struct Kept {
    RavoRgn* pRgn;
    Kept* pNext;
};
std::atomic<Kept*> g_pKept{nullptr};

void keep(RavoRgn* pRgn) noexcept {
    auto* p = pRgn ? static_cast<Kept*>(std::malloc(sizeof(Kept))) : nullptr;
    if (!p) return;
    *p = {pRgn, g_pKept.load(std::memory_order_relaxed)};
    while (!g_pKept.compare_exchange_weak(p->pNext, p, std::memory_order_release, std::memory_order_relaxed)) continue;
}

// ---- lists of rectangles -----------------------------------------------------------------------------------------

// Toward zero, and to the nearest that 32 bits hold; 0 for what is no number.
int32_t truncated(float f) noexcept {
    if (std::isnan(f)) return 0;
    return int32_t(std::clamp(double(f), double(INT32_MIN), double(INT32_MAX)));
}

RECT transformed(const RECT& r, const float* m) noexcept {
    const auto xOf = [m](int32_t x, int32_t y) { return truncated(m[0] * float(x) - m[1] * float(y) + m[4]); };
    const auto yOf = [m](int32_t x, int32_t y) { return truncated(m[3] * float(y) - m[2] * float(x) + m[5]); };
    const int32_t x0 = xOf(r.left, r.top), x1 = xOf(r.right, r.bottom);
    const int32_t y0 = yOf(r.left, r.top), y1 = yOf(r.right, r.bottom);
    return {std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
}

// The list's rectangles that aren't empty, by top and then left; their count.
size_t sortedRects(RECT* pOut, const float* pTransform, const RGNDATA& data) noexcept {
    const auto* const pRects = reinterpret_cast<const RECT*>(&data + 1);
    size_t n = 0;
    for (uint32_t i = 0; i < data.nCount; ++i) {
        const RECT r = pTransform ? transformed(pRects[i], pTransform) : pRects[i];
        if (!isEmptyBox(r)) pOut[n++] = r;
    }
    const auto before = [](const RECT& a, const RECT& b) { return a.top != b.top ? a.top < b.top : a.left < b.left; };
    if (!std::is_sorted(pOut, pOut + n, before)) std::sort(pOut, pOut + n, before);
    return n;
}

void addMerged(RgnBuilder& builder, const RECT* p, const RECT* pEnd) noexcept {
    int32_t nLeft = p->left, nRight = p->right;
    for (++p; p != pEnd; ++p) {
        if (p->left > nRight) {
            builder.add(nLeft, nRight);
            nLeft = p->left;
            nRight = p->right;
        }
        nRight = std::max(nRight, p->right);
    }
    builder.add(nLeft, nRight);
}

// The rectangles that the current rows cross, in the order of their left edges.
struct Crossed {
    Buffer<RECT> rects;
    size_t n = 0;

    RECT* end() const noexcept { return rects.get() + n; }
    void drop(int32_t y) noexcept {
        n = size_t(std::remove_if(rects.get(), end(), [y](const RECT& r) { return r.bottom <= y; }) - rects.get());
    }
    void take(const RECT* p, const RECT* pEnd) noexcept {
        RECT* const pMiddle = end();
        n += size_t(pEnd - p);
        std::copy(p, pEnd, pMiddle);
        std::inplace_merge(rects.get(), pMiddle, end(), [](const RECT& a, const RECT& b) { return a.left < b.left; });
    }
    int32_t nextBottom() const noexcept {
        int32_t y = rects[0].bottom;
        for (size_t i = 1; i < n; ++i) y = std::min(y, rects[i].bottom);
        return y;
    }
};

int32_t unionOf(RavoRgn** ppRgn, const RECT* pRects, size_t nRects) noexcept {
    RECT box = nRects ? pRects[0] : RECT{};
    for (size_t i = 1; i < nRects; ++i)
        box = {std::min(box.left, pRects[i].left), box.top, std::max(box.right, pRects[i].right),
               std::max(box.bottom, pRects[i].bottom)};
    Crossed crossed;
    RgnBuilder builder;
    if (!crossed.rects.allocate(nRects)) return -1;
    if (const int32_t n = RgnBuilderBegin(builder, box, uint32_t(2 * nRects)); n != 1) return n;
    uint64_t nLookedAt = 0;
    for (size_t iNext = 0; crossed.n || iNext < nRects;) {
        if (isTooDeep(nLookedAt += crossed.n, builder)) return coverRegion(ppRgn, pRects, nRects, false);
        const int32_t y = crossed.n ? builder.CurrentY : pRects[iNext].top;
        const size_t iFirst = iNext;
        while (iNext < nRects && pRects[iNext].top == y) ++iNext;
        crossed.take(pRects + iFirst, pRects + iNext);
        const int32_t nBottom = crossed.nextBottom();
        const int32_t nEnd = iNext < nRects ? std::min(nBottom, pRects[iNext].top) : nBottom;
        RgnBuilderSkipTo(builder, y);
        addMerged(builder, crossed.rects.get(), crossed.end());
        if (const int32_t n = RgnBuilderRepeatRow(builder, uint32_t(nEnd) - uint32_t(y)); n != 1) return n;
        if (nEnd == nBottom) crossed.drop(nEnd);
    }
    *ppRgn = RgnBuilderFinish(builder);
    return 1;
}

RVHANDLE listHandle(const float* pTransform, uint32_t uSize, const RGNDATA* pData) noexcept {
    if (!pData || uSize < sizeof(RGNDATA) + 1 || (uint64_t(pData->nCount) + 2) * sizeof(RECT) > uSize) return nullptr;
    return newRegionHandle([=](RavoRgn** ppRgn) {
        if (pData->uHeaderSize != sizeof(RGNDATA) || pData->uType != 1) return -13;
        const Buffer<RECT> rects(pData->nCount);
        return rects ? unionOf(ppRgn, rects.get(), sortedRects(rects.get(), pTransform, *pData)) : -1;
    });
}

void writeList(RGNDATA* pData, uint32_t nCount, const RECT& bounds, const RavoRgn* pRgn) noexcept {
    *pData = {sizeof(RGNDATA), 1, nCount, uint32_t(nCount * sizeof(RECT)), bounds};
    auto* pOut = reinterpret_cast<RECT*>(pData + 1);
    if (pRgn)
        forEachSpan(*pRgn, [&](int32_t y, int32_t nLeft, int32_t nRight) { *pOut++ = {nLeft, y, nRight, y + 1}; });
    else
        *pOut = bounds;
}

}  // namespace

RVHANDLE DuplicateRgnHandle(RVHANDLE h) noexcept {
    RavoRgn* pRgn = nullptr;
    if (!regionOfHandle(h, &pRgn)) return nullptr;
    return newRegionHandle([=](RavoRgn** ppRgn) { return R_CopyRavoRgn(ppRgn, pRgn); });
}

}  // namespace rv

using namespace rv;

extern "C" {

RVHANDLE CreateRectRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) noexcept {
    return rectHandle({nLeft, nTop, nRight, nBottom});
}
RVHANDLE R_WinCreateRectRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) noexcept {
    return rectHandle({nLeft, nTop, nRight, nBottom});
}
RVHANDLE R_WinCreateRectRgnIndirect(const RECT* pRect) noexcept { return pRect ? rectHandle(*pRect) : nullptr; }

RVHANDLE ExtCreateRegion(const float* pTransform, uint32_t uSize, const RGNDATA* pData) noexcept {
    return listHandle(pTransform, uSize, pData);
}
RVHANDLE R_WinExtCreateRegion(const float* pTransform, uint32_t uSize, const RGNDATA* pData) noexcept {
    return listHandle(pTransform, uSize, pData);
}

int32_t SetRectRgn(RVHANDLE h, int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) noexcept {
    RavoRgn *pOld = nullptr, *pNew = nullptr;
    if (!regionOfHandle(h, &pOld)) return 0;
    const RECT box{nLeft, nTop, nRight, nBottom};
    if (R_CreateRavoRgnRect(&pNew, &box) != 1) {
        if (pOld) releaseContents(*pOld);
        return 0;
    }
    keep(pOld);
    h->pBlock = pNew;
    return 1;
}

int32_t CombineRgn(RVHANDLE hDst, RVHANDLE hFirst, RVHANDLE hSecond, int32_t nMode) noexcept {
    constexpr int32_t kModes[] = {0, 4, 5, 3, 1};
    RavoRgn *pDst = nullptr, *pFirst = nullptr, *pSecond = nullptr;
    if (!regionOfHandle(hDst, &pDst) || !regionOfHandle(hFirst, &pFirst) || !regionOfHandle(hSecond, &pSecond))
        return kBadRegion;
    if (nMode < 1 || nMode > 5) return kBadRegion;
    RavoRgn* pResult = nullptr;
    if (R_CombineRavoRgn(&pResult, pFirst, pSecond, kModes[nMode - 1]) != 1) return kBadRegion;
    replaceRegion(*hDst, pResult);
    return regionType(pResult);
}

int32_t OffsetRgn(RVHANDLE h, int32_t x, int32_t y) noexcept {
    RavoRgn* pRgn = nullptr;
    if (!regionOfHandle(h, &pRgn)) return 0;
    return pRgn ? R_OffsetRavoRgn(pRgn, x, y) : 1;
}

int32_t GetRgnBox(RVHANDLE h, RECT* pRect) noexcept {
    RavoRgn* pRgn = nullptr;
    if (!regionOfHandle(h, &pRgn) || !pRect) return kBadRegion;
    *pRect = pRgn ? pRgn->rcBounds : RECT{};
    return regionType(pRgn);
}

uint32_t GetRegionData(RVHANDLE h, uint32_t uSize, RGNDATA* pData) noexcept {
    RavoRgn* pRgn = nullptr;
    if (!regionOfHandle(h, &pRgn)) return 0;
    const bool bSingle = !pRgn || RgnIsRectangle(*pRgn);
    const uint32_t nCount = bSingle ? 1 : spanCount(*pRgn);
    const uint64_t nBytes = sizeof(RGNDATA) + uint64_t(nCount) * sizeof(RECT);
    if (nBytes > UINT32_MAX) return 0;
    if (pData && uSize >= nBytes) writeList(pData, nCount, pRgn ? pRgn->rcBounds : RECT{}, bSingle ? nullptr : pRgn);
    return uint32_t(nBytes);
}

int32_t PtInRegion(RVHANDLE h, int32_t x, int32_t y) noexcept {
    RavoRgn* pRgn = nullptr;
    return regionOfHandle(h, &pRgn) ? R_IsPtInRavoRgn(pRgn, y, x) : 0;
}

}  // extern "C"
