// What the lower floors hear of regions: registered when the library starts.
#include "internal/attachments.h"

#include "internal/region_.h"

namespace rv {
namespace {

void deleteRegion(RavoRgn* pRegion) noexcept { R_DeleteRavoRgn(pRegion); }

// Not cut to dst: one who takes a part of the bitmap moves the region afterwards, one who resizes it scales it.
int32_t copyRegion(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept {
    dst.pRgnInfo = nullptr;
    return R_CopyRavoRgn(&dst.pRgnInfo, src.pRgnInfo);
}

void closeRegionHandle(MEMHANDLE& h) noexcept {
    if (h.pBlock) R_DeleteRavoRgn(static_cast<RavoRgn*>(std::exchange(h.pBlock, nullptr)));
}

[[gnu::constructor]] void start() noexcept {
    static const Attachments bodies = [] {
        Attachments a = kNoAttachments;
        a.deleteRegion = deleteRegion;
        a.copyRegion = copyRegion;
        a.closeRegionHandle = closeRegionHandle;
        return a;
    }();
    registerAttachments(bodies);
}

}  // namespace
}  // namespace rv
