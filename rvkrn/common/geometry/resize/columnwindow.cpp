// Which source columns a stretch of a resized row takes, by exact division.
#include <algorithm>

#include "internal/pixels.h"
#include "internal/resizerows_.h"

namespace rv {
namespace {

constexpr int32_t ceilTo(int64_t n, int64_t d, int32_t nMost) noexcept {
    return int32_t(std::min<int64_t>((n + d - 1) / d, nMost));
}

// The column at or before nCol that starts on a byte.
int32_t alignedColumn(int32_t nCol, int32_t nBits) noexcept {
    switch (nBits) {
        case 1:
        case 3:
        case 5:
        case 7:
            return nCol & ~7;
        case 2:
        case 6:
            return nCol & ~3;
        case 4:
        case 12:
            return nCol & ~1;
        default:
            return nCol;
    }
}

// An average starts with the part of a source column that its first pixel covers; so do chosen columns.
void windowOfArea(ColumnWindow& w, const ResizeShape& shape, int32_t nCol) noexcept {
    const int64_t nSrc = shape.nSrcWidth, nDst = shape.nDstWidth;
    w.nFirstOutCol = w.nFirstCol = nCol;
    w.nFirstSrcCol = w.nFetchCol = int32_t(nCol * nSrc / nDst);
    w.nAccX = int32_t(nCol * nSrc % nDst);
    w.nEndSrcCol = ceilTo((int64_t(w.nOutPixels) + nCol) * nSrc, nDst, shape.nSrcWidth);
}

// What comes before the first pixel in its run isn't made: a run may be as long as numbers go.
void leaveOutSkipped(ColumnWindow& w) noexcept {
    w.nLeftOut = w.nFirstOutCol - w.nFirstCol;
    w.nFirstCol = w.nFirstOutCol;
}

// Straight lines start with the whole run of a source column. The picture stands half a run further to the right, for
// which the first column makes up by copies where it is in the window.
void windowOfLines(ColumnWindow& w, const ResizeShape& shape, int32_t nCol) noexcept {
    const int64_t nSrc = shape.nSrcWidth, nDst = shape.nDstWidth;
    w.nFirstOutCol = std::max(0, nCol - int32_t(nDst / nSrc / 2));
    w.nFirstSrcCol = w.nFetchCol = int32_t(((w.nFirstOutCol + 1) * nSrc - 1) / nDst);
    w.nFirstCol = int32_t(w.nFirstSrcCol * nDst / nSrc);
    w.nAccX = int32_t(w.nFirstSrcCol * (nDst % nSrc) % nSrc);
    if (w.nFirstSrcCol == 0 && nCol != 0) w.nFirstOutCol = nCol;
    leaveOutSkipped(w);
    w.nEndSrcCol = ceilTo((int64_t(w.nOutPixels) + w.nFirstOutCol) * nSrc + nDst, nDst, shape.nSrcWidth);
}

// A spline's curvature hardly feels what is more than some columns away.
void windowOfSpline(ColumnWindow& w, const ResizeShape& shape, int32_t nCol) noexcept {
    constexpr int32_t kPriming = 5, kBehind = 6;
    const int64_t nSrc = shape.nSrcWidth, nDst = shape.nDstWidth;
    const double dScale = double(nSrc) / double(nDst);
    w.nFirstOutCol = w.nFirstCol = std::max(0, nCol - int32_t(0.5 / dScale));
    w.nFirstSrcCol = std::min(int32_t(w.nFirstOutCol * dScale), shape.nSrcWidth - 1);
    w.nFetchCol = std::max(0, w.nFirstSrcCol - kPriming);
    if (w.nFirstSrcCol == 0) w.nFirstOutCol = nCol;
    leaveOutSkipped(w);  // copies
    w.nEndSrcCol = ceilTo((int64_t(w.nOutPixels) + w.nFirstOutCol) * nSrc + kBehind * nDst, nDst, shape.nSrcWidth);
}

}  // namespace

ColumnWindow columnWindow(const ResizeShape& shape, int32_t nSrcBits, int32_t nDstBits, int32_t nCol,
                          uint32_t uBytes) noexcept {
    ColumnWindow w{};
    const int64_t nFirstBit = int64_t(nDstBits) * nCol;
    const int64_t nPixels = (int64_t(uBytes) * 8 - nFirstBit % 8) / nDstBits;
    w.nOutPixels = int32_t(std::clamp<int64_t>(nPixels, 0, shape.nDstWidth - nCol));
    if (!shape.bEnlargeX || shape.choosesColumns())
        windowOfArea(w, shape, nCol);
    else if (shape.scaling == Scaling::spline)
        windowOfSpline(w, shape, nCol);
    else
        windowOfLines(w, shape, nCol);
    w.nAlignedCol = alignedColumn(w.nFetchCol, nSrcBits);
    w.uFetchBytes = packedBytes(uint64_t(w.fetched()), uint32_t(nSrcBits));
    return w;
}

}  // namespace rv
