// Where a paint goes: the painted part along both axes of the store, and in the destination.
#include "internal/paintwork.h"

namespace rv {
namespace {

// The new pixels of an axis that come from the stored pixels nFirst to nEnd.
struct NewRange {
    int64_t nFrom, nTo;
};
NewRange newRange(int32_t nSrcFirst, int64_t nSrc, int64_t nDst, int32_t nFirst, int32_t nEnd) noexcept {
    const auto up = [&](int32_t n) {
        const int64_t nOffset = int64_t(n) - nSrcFirst;
        return (nOffset * nDst + nSrc - 1) / nSrc;
    };
    return {up(nFirst), up(nEnd)};
}

}  // namespace

bool PaintPlace::find(const PaintJob& job, const RECT& source, const RECT& dest) noexcept {
    const auto nDestWidth = int32_t(int64_t(job.dest.right) - job.dest.left),
               nDestHeight = int32_t(int64_t(job.dest.bottom) - job.dest.top);
    x.nSrcFirst = job.source.left;
    y.nSrcFirst = job.source.top;
    x.nSrc = int32_t(int64_t(job.source.right) - job.source.left);
    y.nSrc = int32_t(int64_t(job.source.bottom) - job.source.top);
    x.nDst = view.bColumns ? nDestHeight : nDestWidth;
    y.nDst = view.bColumns ? nDestWidth : nDestHeight;

    // The clipped destination, as it is seen, and in the order of the store.
    const int32_t i0 = int32_t(int64_t(dest.left) - job.dest.left), j0 = int32_t(int64_t(dest.top) - job.dest.top);
    const NewRange across{i0, i0 + int64_t(dest.right) - dest.left}, down{j0, j0 + int64_t(dest.bottom) - dest.top};
    const auto stored = [](bool bFlip, const NewRange& r, int32_t nDst) {
        return bFlip ? NewRange{nDst - r.nTo, nDst - r.nFrom} : r;
    };
    const NewRange cx = stored(view.bFlipX, view.bColumns ? down : across, x.nDst);
    const NewRange cy = stored(view.bFlipY, view.bColumns ? across : down, y.nDst);
    const auto cut = [](PaintAxis& a, const NewRange& clip, int32_t nFirst, int32_t nEnd) {
        const NewRange r = newRange(a.nSrcFirst, a.nSrc, a.nDst, nFirst, nEnd);
        const int64_t nFrom = std::max(r.nFrom, clip.nFrom), nTo = std::min(r.nTo, clip.nTo);
        a.nFrom = int32_t(nFrom);
        a.nCount = int32_t(std::max<int64_t>(nTo - nFrom, 0));
        return a.nCount > 0;
    };
    if (!cut(x, cx, source.left, source.right) || !cut(y, cy, source.top, source.bottom)) return false;

    const auto seen = [](bool bFlip, const PaintAxis& a) { return bFlip ? a.nDst - a.nFrom - a.nCount : a.nFrom; };
    nSeenColumn = view.bColumns ? seen(view.bFlipY, y) : seen(view.bFlipX, x);
    nSeenRow = view.bColumns ? seen(view.bFlipX, x) : seen(view.bFlipY, y);
    area.left = int32_t(int64_t(job.dest.left) + nSeenColumn);
    area.top = int32_t(int64_t(job.dest.top) + nSeenRow);
    area.right = area.left + (view.bColumns ? y.nCount : x.nCount);
    area.bottom = area.top + (view.bColumns ? x.nCount : y.nCount);
    return true;
}

}  // namespace rv
