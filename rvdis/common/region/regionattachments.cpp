// What the lower floors hear of regions and overlays: registered when the library starts.
#include "internal/attachments.h"

#include "internal/bitmaprgn_.h"
#include "internal/overlay_.h"

namespace rv {
namespace {

void deleteRegion(RavoRgn* pRegion) noexcept { R_DeleteRavoRgn(pRegion); }

int32_t copyRegion(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept { return R_CopyBitmapRgn(&dst, &src, 0, 0); }
int32_t offsetRegion(BITMAPRECORD& bm, int32_t nX, int32_t nY) noexcept { return R_OffsetBitmapRgn(&bm, nY, nX); }
int32_t flipRegion(BITMAPRECORD& bm) noexcept { return R_FlipBitmapRgn(&bm); }
int32_t reverseRegion(BITMAPRECORD& bm) noexcept { return R_ReverseBitmapRgn(&bm); }
int32_t sizeRegion(BITMAPRECORD& bm, int32_t nWidth, int32_t nHeight) noexcept {
    return R_SizeBitmapRgn(&bm, nWidth, nHeight);
}
int32_t rotateRegion(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight, int32_t nAngle) noexcept {
    return R_IntRotateBitmapRgn(&bm, nOldWidth, nOldHeight, nAngle);
}
int32_t shearRegion(BITMAPRECORD& bm, int32_t nAngle) noexcept { return R_IntShearBitmapRgn(&bm, nAngle); }

RECT regionBounds(const BITMAPRECORD& bm) noexcept {
    RECT r{};
    R_GetBitmapRgnBoundsClip(&bm, nullptr, &r);
    return r;
}
// Segments are cut to the bitmap, however far the region reaches.
uint32_t clipSegmentsMax(const BITMAPRECORD& bm) noexcept {
    uint32_t nWords = 0;
    R_GetBitmapClipSegmentsMax(&bm, &nWords);
    return std::min(nWords, (uint32_t(bm.Width) + 1) & ~1u);
}
int32_t clipSegments(const BITMAPRECORD& bm, int32_t nRow, uint32_t* pWords, uint32_t* pnWords) noexcept {
    return R_GetBitmapClipSegments(&bm, nRow, pWords, pnWords);
}
bool isInRegion(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept {
    return R_IsPtInBitmapRgn(&bm, nRow, nCol) != 0;
}

void closeRegionHandle(MEMHANDLE& h) noexcept {
    if (h.pBlock) R_DeleteRavoRgn(static_cast<RavoRgn*>(std::exchange(h.pBlock, nullptr)));
}

[[gnu::constructor]] void start() noexcept {
    static const Attachments bodies = [] {
        Attachments a = kNoAttachments;
        a.deleteRegion = deleteRegion;
        a.copyRegion = copyRegion;
        a.offsetRegion = offsetRegion;
        a.flipRegion = flipRegion;
        a.reverseRegion = reverseRegion;
        a.sizeRegion = sizeRegion;
        a.rotateRegion = rotateRegion;
        a.shearRegion = shearRegion;
        a.regionBounds = regionBounds;
        a.clipSegmentsMax = clipSegmentsMax;
        a.clipSegments = clipSegments;
        a.isInRegion = isInRegion;
        a.closeRegionHandle = closeRegionHandle;
        setOverlayBodies(a);
        return a;
    }();
    registerAttachments(bodies);
}

}  // namespace
}  // namespace rv
