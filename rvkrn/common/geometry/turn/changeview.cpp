// The picture stored for another view: a flip and a turn of the stored pixels, which look the same then.
#include <utility>

#include "internal/bitmap_.h"
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
    if (n != 1) dropDuplicate(dst, src, uCopyFlags);
    return n;
}

// The view through which a bitmap whose stored rows were exchanged looks as it did.
constexpr int32_t kRowsExchanged[] = {0, 4, 3, 2, 1, 6, 5, 8, 7};

// A failed turn leaves a picture that looks as it did, through the view that stands until then.
int32_t movePixels(BITMAPRECORD& bm, bool bFlip, int32_t nAngle) noexcept {
    if (bFlip && nAngle == 180) return R_IntReverseBitmap(&bm);
    if (bFlip) {
        if (const int32_t n = R_IntFlipBitmap(&bm); n != 1) return n;
        bm.ViewPerspective = kRowsExchanged[bm.ViewPerspective];
    }
    if (nAngle == 0) return 1;
    const int32_t nView = std::exchange(bm.ViewPerspective, TOP_LEFT);
    const int32_t n = R_RotateBitmap(&bm, nAngle * 100, ROT_RESIZE, 0);
    bm.ViewPerspective = nView;
    return n;
}

int32_t movePicture(BITMAPRECORD& bm, int32_t nView) noexcept {
    if (bm.ViewPerspective == nView) return 1;
    int32_t bFlip = 0, nAngle = 0;
    if (const int32_t n = R_GetChangeViewPerspectiveParams(bm.ViewPerspective, nView, &bFlip, &nAngle); n != 1)
        return n;
    const StatusSetAside noStatus;
    void* const pOverlays = std::exchange(bm.pOverlays, nullptr);  // they lie on what is seen, which stays
    const int32_t n = movePixels(bm, bFlip != 0, nAngle);
    bm.pOverlays = pOverlays;
    if (n == 1) bm.ViewPerspective = nView;
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
    if (n != 1) dropDuplicate(*pDest, *pSource, uCopyFlags);
    return n;
}

}  // extern "C"
