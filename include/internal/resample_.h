// The sample filters, shared by the whole-bitmap calls and the rows on demand.
//
// A row in a work format is nSamples samples of one type a pixel. A RowFilter makes a stretch of a resized row from a
// stretch of a source row; what depends on the geometry alone is prepared once. The vertical filters combine resized
// rows, sample by sample.
#pragma once

#include "internal/rvclasses_.h"

namespace rv {

enum class SampleType { u8, u16, s16, u32 };

struct WorkFormat {
    SampleType type;
    int32_t nSamples;  // a pixel: 1, 3 or 4
};

enum class FilterKind {
    area,    // the axis shrinks
    linear,  // the axis grows, or stays
    spline   // the axis grows
};

constexpr uint32_t kFineWeights = 4096, kCoarseWeights = 1024;

// The stretch of a row that a filter makes, and the stretch of the source that it has.
struct RowWindow {
    int32_t nSrcWidth, nDstWidth;  // of whole rows
    int32_t nFetchCol;             // source column of the first pixel handed in
    int32_t nFirstSrcCol;          // source column where the first output starts; columns before it only prime a spline
    int32_t nEndSrcCol;            // exclusive end of the source columns handed in
    int32_t nAcc;                  // the position's remainder at the first output
    int32_t nFirstOutCol;          // destination column of the first output
    int32_t nCount;                // pixels to make
};
// A whole row.
constexpr RowWindow wholeRowWindow(int32_t nSrcWidth, int32_t nDstWidth) noexcept {
    return {nSrcWidth, nDstWidth, 0, 0, nSrcWidth, 0, 0, nDstWidth};
}

// Makes that stretch of a row, for each row of a picture or of a window.
class RowFilter {
public:
    // nWeights is kFineWeights or kCoarseWeights; bAlphaWeighted counts with four samples only. 1, or -1 for no memory.
    int32_t prepare(FilterKind kind, const WorkFormat& format, uint32_t nWeights, bool bAlphaWeighted,
                    const RowWindow& window) noexcept;
    // pSrc is the pixel of column nFetchCol, pDst has room for nCount pixels; they don't overlap.
    void apply(const void* pSrc, void* pDst) const noexcept;
};

// ---- vertical, on n samples of resized rows ----------------------------------------------------------------------

// Row nStep of the nRun rows from a on, that lead to b: a + floor((b - a) * nStep / nRun).
void linearBetween(SampleType type, const void* a, const void* b, void* pDst, size_t n, uint32_t nStep,
                   uint32_t nRun) noexcept;
// The natural spline of four rows at t of the way from p1 to p2; p1 itself where t is not above 0.
void splineBetween(SampleType type, const void* p0, const void* p1, const void* p2, const void* p3, void* pDst,
                   size_t n, float t) noexcept;

// Sums of rows, exact.
class RowSums {
public:
    // For up to nRows rows of n samples. 1, or -1 for no memory.
    int32_t prepare(SampleType type, size_t n, uint32_t nRows) noexcept;
    void clear() noexcept;
    void add(const void* pRow) noexcept;
    // Each sum divided by nCount, truncated.
    void mean(void* pDst, uint32_t nCount) const noexcept;
};

}  // namespace rv
