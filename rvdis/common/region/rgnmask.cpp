// Regions and masks, 1-bit bitmaps with a 1 for each pixel of the region: made of each other, and turned by angles that
// only pixels can be turned by.
#include "internal/bitmaprgn_.h"
#include "internal/progress.h"
#include "internal/rgncolor_.h"
#include "ravokit/colorres.h"
#include "ravokit/copy.h"
#include "ravokit/grayscale.h"
#include "ravokit/palette.h"
#include "ravokit/rotate.h"
#include "ravokit/view.h"

namespace rv {
namespace {

constexpr COLORREF kFirstEntry = 0x01000000;  // palette references from here on
constexpr COLORREF kWhite = 0xFFFFFF;
constexpr uint32_t kInMemory = BMMEM_CONVENTIONAL | BMMEM_NO_TILED | BMMEM_NO_DISK;

// ---- masks of regions --------------------------------------------------------------------------------------------

// Makes a mask of a region, which may be null for all ones, and may reach out of it.
int32_t createMask(BITMAPRECORD* pMask, uint32_t uStructSize, uint32_t uMemoryFlags, SIZE size, int32_t nView,
                   RavoRgn* pRgn) noexcept {
    if (const int32_t n = R_CreateBitmap(pMask, uStructSize, uMemoryFlags, size.width, size.height, 1, ORDER_RGB,
                                         nullptr, nView, nullptr, 0);
        n != 1)
        return n;
    pMask->pRgnInfo = pRgn;  // for the time of the fill
    const int32_t n = R_FillBitmap(pMask, kFirstEntry + 1);
    pMask->pRgnInfo = nullptr;
    if (n != 1) R_FreeBitmap(pMask);
    return n;
}

// ---- turns -------------------------------------------------------------------------------------------------------

// Whether every pixel of the picture goes to one of the bitmap.
bool isExact(const BITMAPRECORD& bm, SIZE src, int32_t nAngle) noexcept {
    if (nAngle == 18000) return src.width == bm.Width && src.height == bm.Height;
    return nAngle % 9000 == 0 && src.width == bm.Height && src.height == bm.Width;
}

int32_t turnMask(BITMAPRECORD& bm, SIZE src, int32_t nAngle) noexcept {
    const StatusSetAside aside;
    BitmapOwner mask;
    BITMAPRECORD& record = mask.record;
    if (const int32_t n = createMask(&record, sizeof record, kInMemory, src, bm.ViewPerspective, bm.pRgnInfo); n != 1)
        return n;
    const bool bResize = src.width != bm.Width || src.height != bm.Height;
    if (const int32_t n = R_RotateBitmap(&record, nAngle, bResize ? ROT_RESIZE : 0, kFirstEntry); n != 1) return n;
    if (const int32_t n = R_IntChangeBitmapViewPerspective(nullptr, &record, sizeof record, bm.ViewPerspective, 0);
        n != 1)
        return n;
    RegionOwner turned;
    if (const int32_t n = regionOfColor(record, kWhite, turned.out()); n != 1) return n;
    const RECT box = wholeOf(bm);
    if (const int32_t n = R_ClipRavoRgnRect(turned.get(), &box); n != 1) return n;
    replaceContents(*bm.pRgnInfo, turned.take());
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CreateMaskFromBitmapRgn(const BITMAPRECORD* pBitmap, BITMAPRECORD* pMask, uint32_t uStructSize) noexcept {
    if (!pBitmap || !pMask) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize) || !isKnownRecordSize(uStructSize))
        return -789;  // The structure size is invalid
    const int32_t nView = pBitmap->ViewPerspective ? pBitmap->ViewPerspective : int32_t(TOP_LEFT);
    if (nView < TOP_LEFT || nView > LEFT_BOTTOM) return -13;
    return createMask(pMask, uStructSize, BMMEM_CONVENTIONAL, {pBitmap->Width, pBitmap->Height}, nView,
                      pBitmap->pRgnInfo);
}

int32_t R_SetBitmapRgnFromMask(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const BITMAPRECORD* pMask,
                               uint32_t uMode) noexcept {
    if (!pBitmap || !isAllocated(pMask)) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize) || !isKnownRecordSize(pMask->uStructSize)) return -789;
    BITMAPRECORD mask{};
    R_CopyBitmapHandle(&mask, pMask, sizeof mask);
    mask.pRgnInfo = nullptr;
    BitmapOwner resolved;
    const int32_t nKind = mask.BitsPerPixel == 1 ? R_IsGrayScaleBitmap(&mask) : 0;
    const bool bAsIs = nKind == GRAYKIND_ASCENDING || nKind == GRAYKIND_DESCENDING;
    if (!bAsIs)
        if (const int32_t n = R_ColorResBitmap(&mask, &resolved.record, sizeof resolved.record, 1, CRF_FIXEDPALETTE,
                                               nullptr, nullptr, 0, nullptr, nullptr);
            n != 1)
            return n;
    RegionOwner rgn;
    if (const int32_t n = regionOfColor(bAsIs ? mask : resolved.record, kWhite, rgn.out()); n != 1) return n;
    return R_SetBitmapRgn(pBitmap, pMapping, rgn.take(), uMode);
}

int32_t R_IntRotateBitmapRgn(BITMAPRECORD* pBitmap, int32_t nSrcWidth, int32_t nSrcHeight, int32_t nAngle) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    nAngle = (nAngle % 36000 + 36000) % 36000;
    if (!bm.pRgnInfo || !bm.pRgnInfo->RowTableSize || !nAngle) return 1;
    const SIZE src{nSrcWidth, nSrcHeight};
    if (!isExact(bm, src, nAngle)) return turnMask(bm, src, nAngle);
    return R_RotateRavoRgn(bm.pRgnInfo, src.width, src.height, bm.Width, bm.Height, isMirrored(bm) ? -nAngle : nAngle);
}

}  // extern "C"
