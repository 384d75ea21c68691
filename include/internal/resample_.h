// The sample filters, shared by the whole-bitmap calls and the rows on demand.
//
// A row in a work format is nSamples samples of one type a pixel. A RowFilter makes a stretch of a resized row from a
// stretch of a source row; what depends on the geometry alone is prepared once. The vertical filters combine resized
// rows, sample by sample.
#pragma once

#include "internal/rvclasses_.h"

namespace rv {

enum class SampleType { u8, u16, s16, u32 };

constexpr uint32_t bytesOf(SampleType type) noexcept {
    return type == SampleType::u8 ? 1 : type == SampleType::u32 ? 4 : 2;
}

struct WorkFormat {
    SampleType type;
    int32_t nSamples;  // a pixel: 1, 3 or 4
};

enum class FilterKind {
    area,    // the axis shrinks
    linear,  // the axis grows, or stays
    spline   // the axis grows, or stays
};

constexpr uint32_t kFineWeights = 4096, kCoarseWeights = 1024;

// Which loops may run: the best of this machine, or the plain ones. The results are the same; tests ask for either.
enum class FilterLoops { best, plain };

// The stretch of a row that a filter makes, and the stretch of the source that it has. Two filters centre a source
// sample on the pixels that are its own, by copies of the first pixel where nFirstSrcCol is 0; these count in nCount:
//   linear  nStep / 2 copies come first, nStep being nDstWidth / nSrcWidth
//   spline  trunc(0.5 / scale) copies come behind the first pixel, scale being double(nSrcWidth) / nDstWidth
struct RowWindow {
    int32_t nSrcWidth, nDstWidth;  // of whole rows
    int32_t nFetchCol;             // source column of the first pixel handed in
    int32_t nFirstSrcCol;          // source column where the first output starts; columns before it only prime a spline
    int32_t nEndSrcCol;            // exclusive end of the source columns handed in; the last one repeats behind it
    int32_t nAcc;                  // the position's remainder at the first output, of nDstWidth for an area, of
                                   // nSrcWidth for linear; a spline takes none
    int32_t nFirstOutCol;          // spline: destination column of the first output, as if nothing were centred
    int32_t nCount;                // pixels to make
    int32_t nSkipped = 0;          // linear and spline: pixels to leave out before them
};
// A whole row.
constexpr RowWindow wholeRowWindow(int32_t nSrcWidth, int32_t nDstWidth) noexcept {
    return {nSrcWidth, nDstWidth, 0, 0, nSrcWidth, 0, 0, nDstWidth};
}

// ---- what is prepared for a row. Columns count from the first pixel handed in -------------------------------------

// An area: nWhole samples of full weight stand between nFirst, of weight w0, and the one of weight w1 behind them.
struct AreaSpan {
    int32_t nFirst, nWhole;
    uint32_t w0, w1;  // w1 may be 0, and then its sample may not exist
    constexpr uint64_t weight(uint32_t nWeights) const noexcept {
        return w0 + w1 + uint64_t(nWeights) * uint32_t(nWhole);
    }
};
// The point nStep of nRun on the way from column nA to column nB.
struct LinearPoint {
    int32_t nA, nB;
    uint32_t nStep, nRun;
};
// The point at t of the way from column nA to nA + 1, with u = 1 - t and the factors of both curvatures. Behind the
// last column t is 0.
struct SplinePoint {
    int32_t nA;
    float t, u, fCurveA, fCurveB;
};

// The walks over a row that prepare them, nCount of each. bRounded: the length of an area is, or else truncated.
void walkAreas(const RowWindow& window, uint32_t nWeights, AreaSpan* pSpans, bool bRounded = true) noexcept;
void walkLinear(const RowWindow& window, LinearPoint* pPoints) noexcept;
void walkSpline(const RowWindow& window, SplinePoint* pPoints) noexcept;

// What the vector loops have besides.
struct Stretch {
    size_t nFrom = 0, nTo = 0;  // pixels
};
struct AreaBlocks {
    Stretch stretch;
    Buffer<int16_t> weights;     // eight for each load of each pixel
    size_t nLoads = 0;           // a pixel
    uint32_t nWeight = 0;        // of each area of the stretch
    uint32_t m = 0, nShift = 0;  // the division by it
};
struct LinearBlocks {
    struct Block;
    Stretch stretch;
    Buffer<Block> blocks;
    size_t nBlocks = 0;
    int32_t nShift = 0;
};

// Makes that stretch of a row, for each row of a picture or of a window.
class RowFilter {
    FilterKind m_kind = FilterKind::linear;
    WorkFormat m_format{};
    uint32_t m_nWeights = kFineWeights;
    bool m_bAlphaWeighted = false, m_bCopy = false, m_bFast = false;
    int32_t m_nColumns = 0;
    size_t m_nCount = 0;
    Buffer<AreaSpan> m_spans;
    Buffer<LinearPoint> m_points;
    Buffer<SplinePoint> m_spline;
    Buffer<float> m_curves;  // of a row of splines: planes of the work
    AreaBlocks m_areaBlocks;
    LinearBlocks m_linearBlocks;

public:
    // nWeights is kFineWeights or kCoarseWeights; bAlphaWeighted counts with four samples only. 1, or -1 for no memory.
    int32_t prepare(FilterKind kind, const WorkFormat& format, uint32_t nWeights, bool bAlphaWeighted,
                    const RowWindow& window, FilterLoops loops = FilterLoops::best) noexcept;
    // pSrc is the pixel of column nFetchCol, pDst has room for nCount pixels; they don't overlap.
    void apply(const void* pSrc, void* pDst) const noexcept;
};

// ---- vertical, on n samples of resized rows ----------------------------------------------------------------------

// Row nStep of the nRun rows from a on, that lead to b: a + floor((b - a) * nStep / nRun). pDst may be a.
void linearBetween(SampleType type, const void* a, const void* b, void* pDst, size_t n, uint32_t nStep, uint32_t nRun,
                   FilterLoops loops = FilterLoops::best) noexcept;
// The natural spline of four rows at t of the way from p1 to p2; p1 itself where t is not above 0.
void splineBetween(SampleType type, const void* p0, const void* p1, const void* p2, const void* p3, void* pDst,
                   size_t n, float t, FilterLoops loops = FilterLoops::best) noexcept;

struct LongSum;

// Sums of rows, exact.
class RowSums {
    SampleType m_type{};
    size_t m_nSamples = 0;
    bool m_bWide = false, m_bLong = false, m_bAlphaWeighted = false;
    Buffer<uint32_t> m_sums;
    Buffer<uint64_t> m_wide;
    Buffer<LongSum> m_long;
    Buffer<uint64_t> m_alpha;  // with alpha: the sums of the weights that the colours of a pixel have

public:
    // For up to nRows rows of n samples, or for rows of weights that add up to nRows. bAlphaWeighted: pixels of four
    // samples, whose colours count by their alpha. 1, or -1 for no memory.
    int32_t prepare(SampleType type, size_t n, uint64_t nRows, bool bAlphaWeighted = false) noexcept;
    void clear() noexcept;
    void add(const void* pRow, uint32_t nWeight = 1) noexcept;
    // Each sum divided by nCount, the sum of the weights, truncated.
    void mean(void* pDst, uint64_t nCount) const noexcept;
};

}  // namespace rv
