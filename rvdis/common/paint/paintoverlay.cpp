// The overlays that are shown with a picture: each is a paint of its own, in its place.
#include <algorithm>

#include "internal/opening.h"
#include "internal/overlay_.h"
#include "internal/paintwork.h"

namespace rv {
namespace {

// A span of the source and the one of the destination that it goes to.
struct SpanPair {
    int64_t nSource, nSourceEnd, nDest, nDestEnd;

    // Grown by whole lengths, which leaves the scale and its steps as they are, until 0 to nEnd is inside.
    SpanPair around(int64_t nEnd) const noexcept {
        const int64_t nLength = nSourceEnd - nSource, nNewLength = nDestEnd - nDest;
        const auto periods = [&](int64_t n) { return n > 0 ? (n + nLength - 1) / nLength : 0; };
        const int64_t nBefore = periods(nSource), nBehind = periods(nEnd - nSourceEnd);
        return {nSource - nBefore * nLength, nSourceEnd + nBehind * nLength, nDest - nBefore * nNewLength,
                nDestEnd + nBehind * nNewLength};
    }
    bool fits() const noexcept {
        const auto isPlace = [](int64_t a, int64_t b) {
            return a >= INT32_MIN && b <= INT32_MAX && b - a <= INT32_MAX;
        };
        return isPlace(nSource, nSourceEnd) && isPlace(nDest, nDestEnd);
    }
};

// From stored pixels of the picture to stored pixels of the overlay. False where they don't fit a rectangle.
bool toOverlay(const BITMAPRECORD& bm, const OVERLAYSLOT& slot, RECT& r) noexcept {
    if (R_RectFromBitmap(&bm, TOP_LEFT, &r) != 1) return false;
    const int64_t left = int64_t(r.left) - slot.nOriginX, top = int64_t(r.top) - slot.nOriginY;
    const int64_t right = int64_t(r.right) - slot.nOriginX, bottom = int64_t(r.bottom) - slot.nOriginY;
    if (std::min(left, top) < INT32_MIN || std::max(right, bottom) > INT32_MAX) return false;
    r = {int32_t(left), int32_t(top), int32_t(right), int32_t(bottom)};
    return true;
}

int32_t paintOverlay(const PAINTCALLBACKS& calls, const PaintJob& job, const OVERLAYSLOT& slot,
                     BITMAPRECORD& overlay) noexcept {
    RECT source = job.source, clip{0, 0, job.bm.Width, job.bm.Height};
    const bool bLetOut = slot.uFlags & OVERLAY_LET_OUT;
    if (job.pSourceClip) clip = bLetOut ? *job.pSourceClip : both(clip, *job.pSourceClip);
    if (job.pRows) {
        const int64_t nRows = job.nRows < 0 ? -int64_t(job.nRows) : job.nRows;
        clip.top = std::max(clip.top, job.nRow);
        clip.bottom = int32_t(std::min<int64_t>(clip.bottom, job.nRow + nRows));
    }
    if (isEmpty(clip)) return 1;
    if (!toOverlay(job.bm, slot, source) || !toOverlay(job.bm, slot, clip)) return 1;  // It lies nowhere near.

    RECT dest = job.dest;
    if (bLetOut) {
        const SIZE size = seenSize(overlay);
        const SpanPair x = SpanPair{source.left, source.right, dest.left, dest.right}.around(size.width);
        const SpanPair y = SpanPair{source.top, source.bottom, dest.top, dest.bottom}.around(size.height);
        if (x.fits()) {
            source.left = int32_t(x.nSource), source.right = int32_t(x.nSourceEnd);
            dest.left = int32_t(x.nDest), dest.right = int32_t(x.nDestEnd);
        }
        if (y.fits()) {
            source.top = int32_t(y.nSource), source.bottom = int32_t(y.nSourceEnd);
            dest.top = int32_t(y.nDest), dest.bottom = int32_t(y.nDestEnd);
        }
    }
    if (toStored(overlay, source) != 1 || toStored(overlay, clip) != 1) return 1;

    const RGBQUAD color{slot.Colour[2], slot.Colour[1], slot.Colour[0], 0};
    const bool bClipped = !bLetOut || job.pSourceClip || job.pRows;
    const PaintJob overlayJob{.bm = overlay,
                              .source = source,
                              .pSourceClip = bClipped ? &clip : nullptr,
                              .dest = dest,
                              .pDestClip = job.pDestClip,
                              .uRop = job.uRop | PAINTROP_OVERLAY,
                              .pOverlayColor = &color};
    PaintSink sink;
    if (const int32_t n = sink.open(calls, overlay, job.pDestClip); n != 1) return n == -815 ? 1 : n;
    return paintJob(sink, overlayJob);
}

}  // namespace

int32_t paintOverlays(const PaintSink& sink, const PaintJob& job, const RECT& area) noexcept {
    return forOverlays(job.bm, [&](const OVERLAYSLOT& slot, BITMAPRECORD& overlay) {
        if (!(slot.uFlags & OVERLAY_SHOW) || !isAllocated(&overlay)) return 1;
        const bool bLetOut = slot.uFlags & OVERLAY_LET_OUT;
        if (!bLetOut) {
            sink.saveState();
            sink.intersectClip(area);
        }
        const int32_t n = paintOverlay(sink.calls(), job, slot, overlay);
        if (!bLetOut) sink.restoreState();
        return n;
    });
}

}  // namespace rv
