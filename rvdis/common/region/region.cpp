// Making, copying and ending regions, and what can be asked of one.
#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/region_.h"

namespace rv {
namespace {

int32_t createRect(RavoRgn** ppRgn, const RECT* pRect) noexcept {
    if (!ppRgn || !pRect) return -13;
    const RECT box = isEmptyBox(*pRect) ? RECT{} : *pRect;
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, box, 2); n != 1) return n;
    while (builder.CurrentY < box.bottom) {
        builder.add(box.left, box.right);
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    *ppRgn = RgnBuilderFinish(builder);
    return 1;
}

int32_t copyRegion(RavoRgn** ppDst, const RavoRgn& src) noexcept {
    RegionOwner copy;
    if (const int32_t n = copyShape(copy.out(), src); n != 1) return n;
    if (src.hDisplayRgn && !((*copy).hDisplayRgn = DuplicateRgnHandle(src.hDisplayRgn))) return -1;
    (*copy).DisplayMapping = src.DisplayMapping;
    *ppDst = copy.take();
    return 1;
}

int32_t isInRegion(const RavoRgn* pRgn, int32_t nRow, int32_t nCol) noexcept {
    return pRgn && isInWords(wordsAt(*pRgn, nRow), nCol) ? 1 : 0;
}

}  // namespace

bool regionOfHandle(const MEMHANDLE* h, RavoRgn** ppRgn) noexcept {
    if (!isHandleOf(h, kHandleRegion)) return false;
    *ppRgn = static_cast<RavoRgn*>(h->pBlock);
    return true;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CreateRavoRgnRect(RavoRgn** ppRgn, const RECT* pRect) noexcept { return createRect(ppRgn, pRect); }
int32_t CreateRavoRgnRect(RavoRgn** ppRgn, const RECT* pRect) noexcept { return createRect(ppRgn, pRect); }

int32_t R_CopyRavoRgn(RavoRgn** ppDst, const RavoRgn* pSrc) noexcept {
    if (!ppDst) return -13;
    if (pSrc) return copyRegion(ppDst, *pSrc);
    *ppDst = nullptr;
    return 1;
}

RavoRgn* R_CopyRavoRgnPtr(const RavoRgn* pSrc, int32_t* pnStatus) noexcept {
    RavoRgn* pDst = nullptr;
    const int32_t nStatus = R_CopyRavoRgn(&pDst, pSrc);
    if (pnStatus) *pnStatus = nStatus;
    return pDst;
}

int32_t R_DeleteRavoRgn(RavoRgn* pRgn) noexcept {
    if (!pRgn) return -13;
    releaseContents(*pRgn);
    freeBlock(pRgn);
    return 1;
}

int32_t R_IsPtInRavoRgn(const RavoRgn* pRgn, int32_t nRow, int32_t nCol) noexcept {
    return isInRegion(pRgn, nRow, nCol);
}
int32_t R_IsPtInRgn(const RavoRgn* pRgn, int32_t nRow, int32_t nCol) noexcept { return isInRegion(pRgn, nRow, nCol); }

int32_t R_GetRavoRgnBounds(const RavoRgn* pRgn, RECT* pRect) noexcept {
    *pRect = pRgn->rcBounds;
    return 1;
}

int32_t R_ConvertHandleToRgn(RVHANDLE h, RavoRgn** ppRgn) noexcept {
    RavoRgn* pRgn = nullptr;
    return ppRgn && regionOfHandle(h, &pRgn) ? R_CopyRavoRgn(ppRgn, pRgn) : -13;
}

}  // extern "C"
