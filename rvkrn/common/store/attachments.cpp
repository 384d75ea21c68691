// The bodies of attachments.h for bitmaps that carry neither region nor overlays.
#include "internal/attachments.h"

#include <atomic>

namespace rv {
namespace {

void deleteRegion(RavoRgn*) noexcept {}
int32_t copyRegion(BITMAPRECORD& dst, const BITMAPRECORD&) noexcept {
    dst.pRgnInfo = nullptr;
    return 1;
}
int32_t mirrorNothing(BITMAPRECORD&) noexcept { return 1; }
int32_t sizeNothing(BITMAPRECORD&, int32_t, int32_t) noexcept { return 1; }
int32_t shearNothing(BITMAPRECORD&, int32_t) noexcept { return 1; }
int32_t rotateNothing(BITMAPRECORD&, int32_t, int32_t, int32_t) noexcept { return 1; }

RECT wholeBitmap(const BITMAPRECORD& bm) noexcept { return {0, 0, bm.Width, bm.Height}; }

uint32_t wholeRowMax(const BITMAPRECORD&) noexcept { return 2; }
int32_t wholeRow(const BITMAPRECORD& bm, int32_t, uint32_t* pWords, uint32_t* pnWords) noexcept {
    pWords[0] = 0;
    pWords[1] = uint32_t(bm.Width);
    *pnWords = 2;
    return 1;
}
bool isInBitmap(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept {
    return nRow >= 0 && nRow < bm.Height && nCol >= 0 && nCol < bm.Width;
}
void closeRegionHandle(MEMHANDLE&) noexcept {}

void freeOverlays(BITMAPRECORD& bm) noexcept { bm.pOverlays = nullptr; }
int32_t copyOverlays(BITMAPRECORD& dst, const BITMAPRECORD&) noexcept {
    dst.pOverlays = nullptr;
    return 1;
}
void offsetOverlays(BITMAPRECORD&, int32_t, int32_t, int32_t, int32_t) noexcept {}
void viewOverlays(BITMAPRECORD&, int32_t) noexcept {}

std::atomic<const Attachments*> g_bodies{&kNoAttachments};

}  // namespace

constexpr Attachments kNoAttachments{
    deleteRegion, copyRegion,     sizeNothing,  mirrorNothing, mirrorNothing, sizeNothing,       rotateNothing,
    shearNothing, wholeBitmap,    wholeRowMax,  wholeRow,      isInBitmap,    closeRegionHandle, freeOverlays,
    copyOverlays, offsetOverlays, viewOverlays, mirrorNothing, mirrorNothing, sizeNothing,       rotateNothing};

const Attachments& attachments() noexcept { return *g_bodies.load(std::memory_order_acquire); }
void registerAttachments(const Attachments& bodies) noexcept { g_bodies.store(&bodies, std::memory_order_release); }

}  // namespace rv
