// Gray parameters: the bit ranges of deep gray samples and the lookup tables that go with them.
#include <algorithm>

#include "internal/bitmap_.h"
#include "internal/opening.h"
#include "ravokit/extradata.h"
#include "ravokit/memory.h"

namespace rv {
namespace {

void freeTables(BITMAPRECORD& bm) noexcept {
    freeBlock(bm.pLUT);
    bm.LUTLength = 0;
    if (!hasWideFields(bm)) return;
    freeBlock(bm.pLUT16);
    bm.LUT16Length = 0;
}

RGBQUAD64 widened(const RGBQUAD& q) noexcept {
    const auto wide = [](uint8_t v) { return uint16_t(v * 257); };
    return {wide(q.rgbBlue), wide(q.rgbGreen), wide(q.rgbRed), wide(q.rgbReserved)};
}

RGBQUAD narrowed(const RGBQUAD64& q) noexcept {
    const auto narrow = [](uint16_t v) { return uint8_t(v >> 8); };
    return {narrow(q.rgbBlue), narrow(q.rgbGreen), narrow(q.rgbRed), narrow(q.rgbReserved)};
}

template <class From, class To, class Convert>
int32_t convertTable(const From* pFrom, uint32_t nFrom, To*& pTo, uint32_t& nTo, Convert convert) noexcept {
    if (nFrom == 0) return 1;
    if (!pFrom) return -814;  // A NULL pointer was passed
    if (!pTo || nTo < nFrom) {
        To* pNew = newBlock<To>(nFrom);
        if (!pNew) return -1;  // Not enough memory available
        freeBlock(pTo);
        pTo = pNew;
    }
    std::transform(pFrom, pFrom + nFrom, pTo, convert);
    nTo = nFrom;
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_InitGrayParams(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    bm.HighBit = bm.PhysicalHighBit = bm.BitsPerPixel - 1;
    bm.LowBit = bm.PhysicalLowBit = bm.MinVal = 0;
    bm.MaxVal = bm.BitsPerPixel < 32 ? int32_t((1u << std::max(bm.BitsPerPixel, 0)) - 1) : -1;
    freeTables(bm);
    return 1;
}

int32_t R_CopyGrayParams(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc, int32_t bDeep) noexcept {
    if (!pDst || !pSrc) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pDst->uStructSize) || !isKnownRecordSize(pSrc->uStructSize)) return -789;
    if (pDst == pSrc) return 1;
    RGBQUAD* pLUT = pSrc->pLUT;
    RGBQUAD64* pLUT16 = hasWideFields(*pDst) && hasWideFields(*pSrc) ? pSrc->pLUT16 : nullptr;
    const bool b8 = pLUT, b16 = pLUT16;
    if (bDeep) {
        if (b8) pLUT = copyBlock(pLUT, pSrc->LUTLength);
        if (b16) pLUT16 = copyBlock(pLUT16, pSrc->LUT16Length);
        if ((b8 && !pLUT) || (b16 && !pLUT16)) {
            freeBlock(pLUT);
            freeBlock(pLUT16);
            return -1;  // Not enough memory available
        }
    }
    pDst->pLUT = pLUT;
    pDst->LUTLength = b8 ? pSrc->LUTLength : 0;
    if (hasWideFields(*pDst)) {
        pDst->pLUT16 = pLUT16;
        pDst->LUT16Length = b16 ? pSrc->LUT16Length : 0;
    }
    pDst->LowBit = pSrc->LowBit;
    pDst->HighBit = pSrc->HighBit;
    pDst->PhysicalLowBit = pSrc->PhysicalLowBit;
    pDst->PhysicalHighBit = pSrc->PhysicalHighBit;
    pDst->MinVal = pSrc->MinVal;
    pDst->MaxVal = pSrc->MaxVal;
    pDst->Flags = (pDst->Flags & ~uint32_t(BMF_USE_LUT)) | (pSrc->Flags & BMF_USE_LUT);
    return 1;
}

int32_t R_FreeGrayParams(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    freeTables(*pBitmap);
    freeBlock(pBitmap->pPaintLUT);
    if (hasWideFields(*pBitmap)) freeBlock(pBitmap->pPaintLUT16);
    return 1;
}

void R_GetGrayParams(int32_t nBits, int32_t nMaxBits, int32_t nLowBit, int32_t nHighBit, int32_t* pnUsedBits,
                     uint32_t* pnMask, int32_t* pnShift) noexcept {
    if (!pnMask || !pnShift) return;
    const int64_t nHigh = nHighBit < 0 ? int64_t(nBits) - 1 : nHighBit, nLow = std::max(nLowBit, 0);
    const int64_t nUsed = std::min<int64_t>(nHigh - nLow + 1, nMaxBits);
    if (pnUsedBits) *pnUsedBits = int32_t(nUsed);
    *pnMask = nUsed >= 32 ? UINT32_MAX : (1u << std::max<int64_t>(nUsed, 0)) - 1;
    *pnShift = int32_t(nHigh - nUsed + 1);
}

int32_t R_IsBitmapLUTLengthValid(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return 0;
    const BITMAPRECORD& bm = *pBitmap;
    if (bm.Order != ORDER_GRAY) return 1;
    const bool b16 = hasWideFields(bm) && bm.pLUT16;
    if (!bm.pLUT) return !b16;
    if (b16 && bm.LUTLength != bm.LUT16Length) return 0;
    const bool bPhysical = bm.Flags & BMF_USE_LUT;
    int64_t nHigh = bPhysical ? bm.PhysicalHighBit : bm.HighBit;
    if (nHigh == -1 || nHigh == -2) nHigh = bm.BitsPerPixel - 1;
    const int64_t nBits = nHigh - (bPhysical ? bm.PhysicalLowBit : bm.LowBit) + 1;
    return nBits >= 0 && nBits < 32 && bm.LUTLength == 1u << nBits;
}

int32_t R_HasLUT(const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return 0;
    return pBitmap->pLUT || (pBitmap->Order == ORDER_GRAY && hasWideFields(*pBitmap) && pBitmap->pLUT16);
}

RGBQUAD64* R_GetLUT16(const BITMAPRECORD* pBitmap, int32_t bForce) noexcept {
    if (!pBitmap || pBitmap->Order != ORDER_GRAY || !hasWideFields(*pBitmap)) return nullptr;
    return bForce || (pBitmap->Flags & (BMF_NONLINEAR_LUT | BMF_USE_LUT)) ? pBitmap->pLUT16 : nullptr;
}

int32_t R_DuplicateLUT(RGBQUAD** ppLUT8, uint32_t* pnLength8, RGBQUAD64** ppLUT16, uint32_t* pnLength16,
                       int32_t nDirection) noexcept {
    if (nDirection != 1 && nDirection != 2) return -13;                 // Invalid parameter passed
    if (!ppLUT8 || !pnLength8 || !ppLUT16 || !pnLength16) return -814;  // A NULL pointer was passed
    if (nDirection == 1) return convertTable(*ppLUT8, *pnLength8, *ppLUT16, *pnLength16, widened);
    return convertTable(*ppLUT16, *pnLength16, *ppLUT8, *pnLength8, narrowed);
}

}  // extern "C"
