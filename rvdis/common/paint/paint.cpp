// Painting: the calls, and the ways into a paint.
#include <algorithm>

#include "internal/bitmap_.h"
#include "internal/muldiv.h"
#include "internal/opening.h"
#include "internal/paintwork.h"
#include "internal/runs.h"
#include "ravokit/compressed.h"
#include "ravokit/extradata.h"

namespace rv {
namespace {

constexpr int32_t kNothing = 1;  // There is nothing to paint, and that is well.

// The rows of a buffer, expanded if it holds run lists.
struct BufferRows {
    Buffer<uint8_t> expanded;
    const uint8_t* pRows;
    int32_t nCount;

    // 1 or a status.
    int32_t prepare(const PaintJob& job) noexcept {
        pRows = job.pRows;
        nCount = job.nRows;
        if (nCount >= 0) return 1;
        if (job.bm.BitsPerPixel != 1) return -27;  // Invalid bits per pixel
        if (nCount == INT32_MIN) return -13;       // Invalid parameter passed
        nCount = -nCount;
        const uint64_t uLeast = rowBytes(uint32_t(job.bm.Width), 1);
        if (!expanded.allocate(std::max<uint64_t>(job.bm.BytesPerLine, uLeast) * uint32_t(nCount))) return -1;
        pRows = expanded.get();
        auto* pList = reinterpret_cast<const uint16_t*>(job.pRows);
        uint8_t* pTo = expanded.get();
        for (int32_t i = 0; i < nCount; ++i, pList = nextRecord(pList), pTo += job.bm.BytesPerLine)
            R_ExpandRows(pList, pTo, job.bm.Width, 1);
        return 1;
    }
};

int32_t paintPicture(const PaintSink& sink, const PaintJob& job, const RECT& source, RECT& area) noexcept {
    RECT dest = job.dest;
    if (job.pDestClip) dest = both(dest, *job.pDestClip);
    PaintPlace place(job);
    if (isEmpty(dest) || !place.find(job, source, dest)) return kNothing;
    area = place.area;
    BufferRows buffer;
    if (job.pRows)
        if (const int32_t n = buffer.prepare(job); n != 1) return n;
    const PaintStore store{job.bm, job.pRows ? buffer.pRows : nullptr, job.nRow, job.pRows ? buffer.nCount : 0};
    if (job.pRows && !isAllocated(&job.bm)) return paintPlace(sink, job, place, store);
    BitmapLock lock(job.bm);
    if (lock.status() != 1) return lock.status();
    const int32_t n = paintPlace(sink, job, place, store);
    return lock.release(n);
}

RECT wholeOf(const BITMAPRECORD& bm) noexcept { return {0, 0, bm.Width, bm.Height}; }

}  // namespace

int32_t paintJob(const PaintSink& sink, const PaintJob& job) noexcept {
    RECT source = both(job.source, wholeOf(job.bm));
    if (job.pSourceClip) source = both(source, *job.pSourceClip);
    if (job.pRows) {
        const int64_t nRows = job.nRows < 0 ? -int64_t(job.nRows) : job.nRows;
        source = both(source, {0, job.nRow, job.bm.Width, saturated(job.nRow + nRows)});
    }
    if (isEmpty(source) || isEmpty(job.dest)) return kNothing;
    RECT area{};
    const int32_t n = paintPicture(sink, job, source, area);
    if (n != 1 || isEmpty(area) || job.pOverlayColor) return n;
    return paintOverlays(sink, job, area);
}

namespace {

bool isKnownSink(const PAINTCALLBACKS* pSink) noexcept {
    return pSink && (pSink->uStructSize == sizeof *pSink || pSink->uStructSize == PAINTCALLBACKS_OLD_SIZE);
}
bool isTooLarge(const RECT& r) noexcept {
    return int64_t(r.right) - r.left > INT32_MAX || int64_t(r.bottom) - r.top > INT32_MAX;
}

// What a call was given.
struct PaintArgs {
    const PAINTCALLBACKS* pSink;
    BITMAPRECORD* pBitmap;
    const RECT *pSource, *pSourceClip, *pDest, *pDestClip;
    uint32_t uRop;

    PaintJob job() const noexcept {
        return {*pBitmap, pSource ? *pSource : wholeOf(*pBitmap), pSourceClip, *pDest, pDestClip, uRop};
    }
};

// Opens the sink and paints, through the region or not.
int32_t paintChecked(const PaintArgs& args, PaintJob& job, bool bRegion) noexcept {
    if (!isKnownSink(args.pSink)) return -13;                        // Invalid parameter passed
    if (isTooLarge(job.source) || isTooLarge(job.dest)) return -13;  // Invalid parameter passed
    PaintSink sink;
    if (const int32_t n = sink.open(*args.pSink, job.bm, job.pDestClip); n != 1) return n;
    if (!bRegion) return paintJob(sink, job);
    const int32_t nMode = job.pRows ? PAINTCLIP_COPY : PAINTCLIP_AND;
    if (const int32_t n = selectRegion(sink, job, args.pSource, nMode); n != 1) return n;
    job.uRop &= ~PAINTROP_OVERLAY;
    const int32_t n = paintJob(sink, job);
    if (job.pRows || !(args.uRop & PAINTROP_OVERLAY)) sink.restoreState();
    return n;
}

int32_t paintBitmap(const PaintArgs& args, bool bRegion) noexcept {
    if (!isAllocated(args.pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(args.pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!args.pDest) return -13;                                     // Invalid parameter passed
    PaintJob job = args.job();
    return paintChecked(args, job, bRegion);
}

int32_t paintBuffer(const PaintArgs& args, const uint8_t* pRows, int32_t nRow, int32_t nRows, bool bRegion) noexcept {
    if (!args.pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(args.pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!args.pDest) return -13;                                     // Invalid parameter passed
    if (!R_IsBitmapLUTLengthValid(args.pBitmap)) return -1486;       // The LUT length is invalid
    if (!pRows) return -13;                                          // Invalid parameter passed
    PaintJob job = args.job();
    job.pRows = pRows;
    job.nRow = nRow;
    job.nRows = nRows;
    return paintChecked(args, job, bRegion);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_PaintDCCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                          const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip, uint32_t uRop) noexcept {
    return paintBitmap({pSink, pBitmap, pSource, pSourceClip, pDest, pDestClip, uRop}, false);
}

int32_t R_PaintDCBufferCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                                const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip, uint32_t uRop,
                                const uint8_t* pRows, int32_t nRow, int32_t nRows) noexcept {
    return paintBuffer({pSink, pBitmap, pSource, pSourceClip, pDest, pDestClip, uRop}, pRows, nRow, nRows, false);
}

int32_t R_PaintRgnDCCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                             const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip,
                             uint32_t uRop) noexcept {
    return paintBitmap({pSink, pBitmap, pSource, pSourceClip, pDest, pDestClip, uRop}, true);
}

int32_t R_PaintRgnDCBufferCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                                   const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip, uint32_t uRop,
                                   const uint8_t* pRows, int32_t nRow, int32_t nRows) noexcept {
    return paintBuffer({pSink, pBitmap, pSource, pSourceClip, pDest, pDestClip, uRop}, pRows, nRow, nRows, true);
}

}  // extern "C"
