// The duplicate with other dimensions or depth, from which every operation that rebuilds a bitmap starts.
#include <algorithm>
#include <cstring>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/palette_.h"
#include "ravokit/copy.h"
#include "ravokit/extradata.h"

namespace rv {
namespace {

constexpr uint32_t kCarriedFlags =
    BMF_RGN_NOCLIP | BMF_PREMULTIPLIED | BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK | BMF_SIGNED;

void carryGeometry(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept {
    dst.Flags |= src.Flags & kCarriedFlags;
    dst.ViewPerspective = src.ViewPerspective;
    dst.XResolution = src.XResolution;
    dst.YResolution = src.YResolution;
    dst.nCarriedTag = src.nCarriedTag;
    dst.Order = src.Order == ORDER_GRAY && dst.BitsPerPixel == 24 ? int32_t(ORDER_BGR) : src.Order;
    if (dst.Order == ORDER_GRAY) dst.Flags |= src.Flags & BMF_NONLINEAR_LUT;
}

uint32_t memoryFlagsOf(const BITMAPRECORD& src) noexcept {
    if (src.Flags & BMF_COMPRESSED) return BMMEM_COMPRESSED | BMMEM_CONVENTIONAL;
    if (src.Flags & BMF_SUPERCOMPRESSED) return BMMEM_SUPERCOMPRESSED;
    return src.Flags & BMF_DISK ? BMMEM_DISK : BMMEM_CONVENTIONAL;
}

// The callbacks' part in a duplicate after its begin, then its storage and locks.
int32_t allocateLike(BITMAPRECORD& dst, BITMAPRECORD& src, uint32_t uMemory, uint32_t uFlags) noexcept {
    if (uFlags & DUP_BEGIN_COPY) {
        if (const int32_t n = R_IntBeginCopyBitmap(&dst, &src, 1, &uMemory); n != 1) return n;
        R_IntEndCopyBitmap(&src, 1);
    }
    if (uFlags & DUP_ALLOCATE)
        if (const int32_t n = allocateBitmap(dst, uMemory, src.pPalette); n != 1) return n;
    return uFlags & DUP_BEGIN_REPLACE ? copyLockCount(dst, src) : 1;
}

int32_t copyPalette(BITMAPRECORD& dst, const BITMAPRECORD& src, bool bDeep) noexcept {
    if (dst.BitsPerPixel > 8 || src.BitsPerPixel > 8) return 1;
    dst.nColors = std::min(src.nColors, 1u << dst.BitsPerPixel);
    if (!src.pPalette || !dst.nColors) return 1;
    dst.pPalette = bDeep ? newTable(src.pPalette, dst.nColors) : src.pPalette;
    return dst.pPalette ? 1 : -1;
}

int32_t copyRegion(BITMAPRECORD& dst, const BITMAPRECORD& src, bool bWhole) noexcept {
    const uint32_t uFlags = dst.Flags;
    if (bWhole) dst.Flags |= BMF_RGN_NOCLIP;
    const int32_t n = attachments().copyRegion(dst, src);
    dst.Flags = uFlags;
    return n;
}

int32_t copyBelongings(BITMAPRECORD& dst, BITMAPRECORD& src, uint32_t uFlags) noexcept {
    if (const int32_t n = copyPalette(dst, src, uFlags & DUP_PALETTE); n != 1) return n;
    R_CopyPlaybackParms(&dst, &src);
    if (!(uFlags & DUP_REGION))
        dst.pRgnInfo = src.pRgnInfo;
    else if (src.pRgnInfo)
        if (const int32_t n = copyRegion(dst, src, uFlags & kDupWholeRegion); n != 1) return n;
    if (!(uFlags & DUP_OVERLAYS))
        dst.pOverlays = src.pOverlays;
    else if (src.pOverlays)
        if (const int32_t n = attachments().copyOverlays(dst, src); n != 1) return n;
    if (dst.Order == ORDER_GRAY && src.Order == ORDER_GRAY && dst.BitsPerPixel == src.BitsPerPixel)
        if (const int32_t n = R_CopyGrayParams(&dst, &src, (uFlags & DUP_PALETTE) != 0); n != 1) return n;
    copyPaintTables(dst, src);
    return R_CopyBitmapExtraData(&dst, &src, 0);
}

}  // namespace

void copyPaintTables(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept {
    const auto carry = [&] {
        dst.Flags |= src.Flags & BMF_PAINT_LUT;
        dst.PaintGamma = src.PaintGamma;
        dst.PaintIntensity = src.PaintIntensity;
        dst.PaintContrast = src.PaintContrast;
    };
    if (dst.pPaintLUT && src.pPaintLUT) {
        std::memcpy(dst.pPaintLUT, src.pPaintLUT, 256);
        carry();
    }
    if (!hasWideFields(dst) || !hasWideFields(src) || !src.pPaintLUT16) return;
    const bool bSameKind = dst.BitsPerPixel == src.BitsPerPixel && dst.Order == src.Order;
    if (bSameKind && !dst.pPaintLUT16) dst.pPaintLUT16 = newBlock<uint16_t>(65536);
    if (dst.pPaintLUT16) {
        std::memcpy(dst.pPaintLUT16, src.pPaintLUT16, 65536 * sizeof(uint16_t));
        carry();
    }
}

void dropDuplicate(BITMAPRECORD& fresh, BITMAPRECORD& src, uint32_t uFlags) noexcept {
    R_FreeDuplicateBitmap(&fresh, uFlags);
    if (uFlags & DUP_BEGIN_REPLACE) R_IntEndCopyBitmap(&src, 0);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_DupBitmapNewDim(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t Width, int32_t Height,
                          int32_t BitsPerPixel, uint32_t uFlags) noexcept {
    if (!pDst || !pSrc) return -13;
    if (!(pSrc->Flags & BMF_ALLOCATED)) return -13;
    if (!isKnownRecordSize(pSrc->uStructSize) || !isKnownRecordSize(uStructSize)) return -789;
    if (const int32_t n = R_InitBitmap(pDst, uStructSize, Width, Height, BitsPerPixel); n != 1) return n;
    carryGeometry(*pDst, *pSrc);
    uint32_t uMemory = memoryFlagsOf(*pSrc);
    if (uFlags & DUP_BEGIN_REPLACE)
        if (const int32_t n = R_IntBeginCopyBitmap(pDst, pSrc, 0, &uMemory); n != 1) {
            R_FreeDuplicateBitmap(pDst, uFlags);
            return n;
        }
    int32_t nStatus = allocateLike(*pDst, *pSrc, uMemory, uFlags);
    if (nStatus == 1) nStatus = copyBelongings(*pDst, *pSrc, uFlags);
    if (nStatus != 1) dropDuplicate(*pDst, *pSrc, uFlags);
    return nStatus;
}

void R_FreeDuplicateBitmap(BITMAPRECORD* pBitmap, uint32_t uFlags) noexcept {
    if (!pBitmap || !isKnownRecordSize(pBitmap->uStructSize)) return;
    if (!(uFlags & DUP_PALETTE)) {
        pBitmap->pPalette = nullptr;
        pBitmap->pLUT = nullptr;
        if (hasWideFields(*pBitmap)) pBitmap->pLUT16 = nullptr;
    }
    if (!(uFlags & DUP_REGION)) pBitmap->pRgnInfo = nullptr;
    if (!(uFlags & DUP_OVERLAYS)) pBitmap->pOverlays = nullptr;
    if (uFlags & DUP_BEGIN_REPLACE) releaseAll(*pBitmap);
    // Without storage R_FreeBitmap leaves the tables and the extra data alone.
    if (!(pBitmap->Flags & BMF_ALLOCATED)) {
        R_FreeGrayParams(pBitmap);
        R_FreeBitmapExtraData(pBitmap);
    }
    R_FreeBitmap(pBitmap);
}

}  // extern "C"
