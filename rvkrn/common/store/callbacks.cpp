// Callbacks of a bitmap's data: keeping the bitmap's own copy, and asking them around a copy.
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/callbacks_.h"

namespace rv {

BITMAPALLOCATEINFO allocateInfo(const BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette) noexcept {
    BITMAPALLOCATEINFO info{};
    info.uStructSize = sizeof info;
    info.uMemoryFlags = uMemoryFlags;
    info.Width = bm.Width;
    info.Height = bm.Height;
    info.BitsPerPixel = bm.BitsPerPixel;
    info.BytesPerLine = bm.BytesPerLine;
    info.Order = bm.Order;
    info.ViewPerspective = bm.ViewPerspective;
    info.Size = dataSize(bm);
    info.pPalette = pPalette;
    return info;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetBitmapDataCallbacks(BITMAPRECORD* pBitmap, const BITMAPDATACALLBACKS* pCallbacks) noexcept {
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (dataSize(*pBitmap) == 0) return -11;
    BITMAPDATACALLBACKS* pCopy = nullptr;
    if (pCallbacks) {
        if (pCallbacks->uStructSize != sizeof *pCallbacks) return -789;
        pCopy = newBlock<BITMAPDATACALLBACKS>(1);
        if (!pCopy) return -1;
        *pCopy = *pCallbacks;
    }
    freeBlock(pBitmap->pCallbacks);
    pBitmap->pCallbacks = pCopy;
    return 1;
}

int32_t R_GetBitmapDataCallbacks(const BITMAPRECORD* pBitmap, BITMAPDATACALLBACKS** ppCallbacks) noexcept {
    if (!pBitmap || !ppCallbacks || !*ppCallbacks) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    **ppCallbacks = pBitmap->pCallbacks ? *pBitmap->pCallbacks : BITMAPDATACALLBACKS{};
    (*ppCallbacks)->uStructSize = sizeof **ppCallbacks;
    return 1;
}

int32_t R_IntBeginCopyBitmap(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, int32_t bFlag, uint32_t* puMemoryFlags) noexcept {
    if (!puMemoryFlags || !pDst || !pSrc) return -13;
    if (!pSrc->pCallbacks || !pSrc->pCallbacks->pfnBeginCopy) return 1;
    BITMAPALLOCATEINFO info = allocateInfo(*pDst, *puMemoryFlags, pDst->pPalette);
    BITMAPDATACALLBACKS fresh{};
    fresh.uStructSize = sizeof fresh;
    const int32_t nStatus = pSrc->pCallbacks->pfnBeginCopy(pSrc, bFlag, &info, &fresh, pSrc->pCallbacks->pUserData);
    if (nStatus != 1 && nStatus != 2) return nStatus;
    if (nStatus == 2) return 1;
    *puMemoryFlags = info.uMemoryFlags;
    const int32_t nSet = R_SetBitmapDataCallbacks(pDst, &fresh);
    if (nSet != 1) R_IntEndCopyBitmap(pSrc, bFlag);
    return nSet;
}

int32_t R_IntEndCopyBitmap(BITMAPRECORD* pBitmap, int32_t bFlag) noexcept {
    if (!pBitmap || !pBitmap->pCallbacks || !pBitmap->pCallbacks->pfnEndCopy) return 1;
    return pBitmap->pCallbacks->pfnEndCopy(pBitmap, bFlag, pBitmap->pCallbacks->pUserData, pBitmap->pCallbacks);
}

}  // extern "C"
