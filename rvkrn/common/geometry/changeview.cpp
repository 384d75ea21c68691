// The picture stored for another view: a flip and a turn of the stored pixels, which look the same then.
#include "internal/opening.h"
#include "internal/progress.h"
#include "ravokit/copy.h"
#include "ravokit/rotate.h"
#include "ravokit/view.h"

namespace rv {
namespace {

constexpr uint32_t kDuplicateAll = 191;  // all of its own, for a copy

int32_t copyPicture(BITMAPRECORD& dst, BITMAPRECORD& src, uint32_t uStructSize, uint32_t uCopyFlags) noexcept {
    if (const int32_t n =
            R_DupBitmapNewDim(&dst, &src, uStructSize, src.Width, src.Height, src.BitsPerPixel, uCopyFlags);
        n != 1)
        return n;
    const int32_t n = R_CopyBitmapData(&dst, &src);
    if (n != 1) R_FreeDuplicateBitmap(&dst, uCopyFlags);
    return n;
}

// The view through which rows in reverse order, or pixels in reverse order, look as they did.
constexpr int32_t kRowsExchanged[] = {0, 4, 3, 2, 1, 6, 5, 8, 7};
constexpr int32_t kRowsMirrored[] = {0, 2, 1, 4, 3, 8, 7, 6, 5};

int32_t movePicture(BITMAPRECORD& bm, int32_t nView) noexcept {
    if (bm.ViewPerspective == nView) return 1;
    int32_t bFlip = 0, nAngle = 0;
    if (const int32_t n = R_GetChangeViewPerspectiveParams(bm.ViewPerspective, nView, &bFlip, &nAngle); n != 1)
        return n;
    const StatusSetAside noStatus;
    int32_t nSame = bm.ViewPerspective;  // looks the same all along, so that a step that fails changes nothing to see
    if (bFlip) {
        const bool bMirror = nAngle == 180;  // a flip and a half turn
        if (const int32_t n = bMirror ? R_IntReverseBitmap(&bm) : R_IntFlipBitmap(&bm); n != 1) return n;
        nSame = (bMirror ? kRowsMirrored : kRowsExchanged)[nSame];
        if (bMirror) nAngle = 0;
    }
    bm.ViewPerspective = TOP_LEFT;
    const int32_t n = nAngle ? R_RotateBitmap(&bm, nAngle * 100, ROT_RESIZE, 0) : 1;
    bm.ViewPerspective = n == 1 ? nView : nSame;
    return n;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ChangeBitmapViewPerspective(BITMAPRECORD* pDest, BITMAPRECORD* pSource, uint32_t uStructSize,
                                      int32_t nViewPerspective) noexcept {
    if (!isAllocated(pSource)) return -13;                      // Invalid parameter passed
    if (!isKnownRecordSize(pSource->uStructSize)) return -789;  // The structure size is invalid
    if (!pDest || pDest == pSource)
        return R_IntChangeBitmapViewPerspective(nullptr, pSource, uStructSize, nViewPerspective, 0);
    if (!isKnownRecordSize(uStructSize)) return -789;
    pDest->uStructSize = uStructSize;
    return R_IntChangeBitmapViewPerspective(pDest, pSource, uStructSize, nViewPerspective, kDuplicateAll);
}

int32_t R_IntChangeBitmapViewPerspective(BITMAPRECORD* pDest, BITMAPRECORD* pSource, uint32_t uStructSize,
                                         int32_t nViewPerspective, uint32_t uCopyFlags) noexcept {
    if (!pSource) return -13;
    if (!pDest || pDest == pSource) return movePicture(*pSource, nViewPerspective);
    if (const int32_t n = copyPicture(*pDest, *pSource, uStructSize, uCopyFlags); n != 1) return n;
    const int32_t n = movePicture(*pDest, nViewPerspective);
    if (n != 1) R_FreeDuplicateBitmap(pDest, uCopyFlags);
    return n;
}

}  // extern "C"
