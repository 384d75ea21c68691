// Sizes of 1-bit pictures by counting black pixels.
//
// A pixel stands for a box of the source, of as many columns and rows as the two steps tell, with one more where a
// remainder carries; it is black if its box holds a threshold of black pixels, which is about the root of the box's
// area. Along an axis that grows a box is one pixel, so such columns are counted in the source's width and spread
// afterwards. Rows come as run lists from bitmaps that hold such, as bits from all others: a box is counted by words,
// and boxes of 1, 2, 4 and 8 columns in all bytes at once.
#include <algorithm>
#include <bit>

#include "internal/bitcounts.h"
#include "internal/progress.h"
#include "internal/resize_.h"
#include "internal/rowaccess.h"
#include "internal/rowblocks.h"
#include "internal/rowstore.h"
#include "internal/runs.h"
#include "internal/scanline.h"
#include "ravokit/compressed.h"
#include "ravokit/grayscale.h"
#include "ravokit/numeric.h"
#include "ravokit/palette.h"

namespace rv {

uint32_t inkOfLine(uint64_t nBox) noexcept {
    const uint32_t t = R_SQRT(uint32_t(std::min<uint64_t>(nBox, UINT32_MAX)));
    return t <= 2 ? 1 : t <= 4 ? t - 1 : t;
}

namespace {

uint32_t thresholdOf(const AxisSteps& x, const AxisSteps& y) noexcept {
    return inkOfLine(uint64_t(std::max(x.nStep, 1)) * uint64_t(std::max(y.nStep, 1)));
}

// ---- boxes of any width, counted in 32 bits

struct BoxRow {
    const uint32_t* starts;  // nBoxes + 1 columns
    const uint32_t* boxOf;   // a column's box; for runs
    uint32_t* counts;
    uint32_t nBoxes;
    uint32_t nInside;  // as many of the first ones fit a word that the row holds
};
constexpr uint32_t kFits = 57;  // columns, at any bit of the word's first byte

// Black is 0-bits if uFlip is all ones, else 0.
[[gnu::always_inline]] inline void countBoxes(const BoxRow& boxes, const uint8_t* row, uint64_t uFlip) noexcept {
    uint32_t i = 0, nFrom = boxes.starts[0];
    for (; i < boxes.nInside; ++i) {
        const uint32_t nTo = boxes.starts[i + 1];
        const uint64_t v = __builtin_bswap64(loadLittle<uint64_t>(row + nFrom / 8)) ^ uFlip;
        boxes.counts[i] += uint32_t(std::popcount(v << nFrom % 8 >> (64 - (nTo - nFrom))));
        nFrom = nTo;
    }
    for (; i < boxes.nBoxes; ++i) {
        const uint32_t nTo = boxes.starts[i + 1], nOnes = countOnes(row, nFrom, nTo);
        boxes.counts[i] += uFlip ? nTo - nFrom - nOnes : nOnes;
        nFrom = nTo;
    }
}
void countBoxesPlain(const BoxRow& boxes, const uint8_t* row, uint64_t uFlip) noexcept {
    countBoxes(boxes, row, uFlip);
}
#ifdef RV_X86
RV_AVX2 void countBoxesAvx2(const BoxRow& boxes, const uint8_t* row, uint64_t uFlip) noexcept {
    countBoxes(boxes, row, uFlip);
}
#endif

// The columns from nFrom up to nTo go to the boxes that they cross.
void countColumns(const BoxRow& boxes, uint32_t nFrom, uint32_t nTo) noexcept {
    if (nFrom >= nTo) return;
    const uint32_t nFirst = boxes.boxOf[nFrom], nLast = boxes.boxOf[nTo - 1];
    if (nFirst == nLast) {
        boxes.counts[nFirst] += nTo - nFrom;
        return;
    }
    boxes.counts[nFirst] += boxes.starts[nFirst + 1] - nFrom;
    for (uint32_t i = nFirst + 1; i < nLast; ++i) boxes.counts[i] += boxes.starts[i + 1] - boxes.starts[i];
    boxes.counts[nLast] += nTo - boxes.starts[nLast];
}

void countRuns(const BoxRow& boxes, RunCursor runs, uint32_t nBlack) noexcept {
    const uint32_t nEnd = boxes.starts[boxes.nBoxes];
    uint32_t x = 0;
    do {
        const uint32_t nTo = runs.nRun < nEnd - x ? x + runs.nRun : nEnd;
        if (runs.nColour == nBlack) countColumns(boxes, x, nTo);
        x = nTo;
    } while (x < nEnd && runs.next());
    if (nBlack == 0) countColumns(boxes, x, nEnd);  // a list that ends early stands for 0-bits
}

void boxesToBits(const uint32_t* counts, uint32_t n, uint32_t nThreshold, uint8_t uFlip, uint8_t* bits) noexcept {
    const auto gather = [&](uint32_t i, uint32_t nBoxes) {
        uint32_t v = 0;
        for (uint32_t k = 0; k < nBoxes; ++k) v = v << 1 | uint32_t(counts[i + k] >= nThreshold);
        bits[i / 8] = uint8_t((v ^ uFlip) << (8 - nBoxes));
    };
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8) gather(i, 8);
    if (i < n) gather(i, n - i);
}

// ---- boxes of 1, 2, 4 and 8 columns, counted in bytes
//
// The k-th plane has a byte for each source byte: the count of its k-th box.

constexpr uint32_t kMostInByte = 127;  // so that a comparison is an addition

using CountPlanes = void (*)(const uint8_t* row, uint8_t uFlip, uint8_t* planes, size_t nPlane, size_t nBytes) noexcept;
using PlanesToBits = void (*)(const uint8_t* planes, size_t nPlane, uint32_t nThreshold, uint8_t uFlip, uint8_t* bits,
                              size_t nBits) noexcept;

template <int Step>
[[gnu::always_inline]] inline void countPlanes(const uint8_t* row, uint8_t uFlip, uint8_t* p, size_t nPlane,
                                               size_t nBytes) noexcept {
    for (size_t i = 0; i < nBytes; ++i) {
        auto v = uint8_t(row[i] ^ uFlip);
        if constexpr (Step == 1) {
            for (size_t k = 0; k < 8; ++k) p[k * nPlane + i] = uint8_t(p[k * nPlane + i] + (v >> (7 - k) & 1));
            continue;
        }
        v = uint8_t(v - (v >> 1 & 0x55));
        if constexpr (Step == 2) {
            for (size_t k = 0; k < 4; ++k) p[k * nPlane + i] = uint8_t(p[k * nPlane + i] + (v >> (6 - 2 * k) & 3));
        } else {
            v = uint8_t((v & 0x33) + (v >> 2 & 0x33));
            if constexpr (Step == 4) {
                p[i] = uint8_t(p[i] + (v >> 4));
                p[nPlane + i] = uint8_t(p[nPlane + i] + (v & 15));
            } else {
                p[i] = uint8_t(p[i] + (v >> 4) + (v & 15));
            }
        }
    }
}

// The top Kept bits of each byte, gathered.
template <int Kept>
[[gnu::always_inline]] inline uint64_t gatherTops(uint64_t v) noexcept {
    if constexpr (Kept == 8) return v;
    constexpr auto repeated = [](int nBits, int nEvery) {
        uint64_t u = 0;
        for (int i = 0; i < 64; i += nEvery) u |= ((uint64_t(1) << nBits) - 1) << i;
        return u;
    };
    v = v >> (8 - Kept) & repeated(Kept, 8);
    v = (v | v >> (8 - Kept)) & repeated(2 * Kept, 16);
    v = (v | v >> (16 - 2 * Kept)) & repeated(4 * Kept, 32);
    return (v | v >> (32 - 4 * Kept)) & repeated(8 * Kept, 64);
}

// Eight source bytes at a time; planes are as long as whole words.
template <int Step>
[[gnu::always_inline]] inline void planesToBits(const uint8_t* p, size_t nPlane, uint32_t nThreshold, uint8_t uFlip,
                                                uint8_t* bits, size_t nBits) noexcept {
    constexpr int kBoxes = 8 / Step;  // in a source byte, and bytes written at a time
    constexpr uint64_t kEach = 0x0101010101010101, kTop = 0x80 * kEach;
    const uint64_t uAdd = (kMostInByte + 1 - nThreshold) * kEach, uFlips = uFlip * kEach;
    const auto eight = [&](size_t i) {
        uint64_t u = 0;
        for (int k = 0; k < kBoxes; ++k) u |= ((loadLittle<uint64_t>(p + size_t(k) * nPlane + i) + uAdd) & kTop) >> k;
        return __builtin_bswap64(gatherTops<kBoxes>(__builtin_bswap64(u)) << (64 - 8 * kBoxes)) ^ uFlips;
    };
    size_t nLeft = (nBits + 7) / 8, i = 0;
    for (; nLeft >= kBoxes; nLeft -= kBoxes, i += 8, bits += kBoxes) {
        const uint64_t u = eight(i);
        std::memcpy(bits, &u, kBoxes);
    }
    if (nLeft) {
        const uint64_t u = eight(i);
        std::memcpy(bits, &u, nLeft);
    }
}

struct PlaneKernels {
    CountPlanes count;
    PlanesToBits finish;
};
template <int Step>
struct Plain {
    static void count(const uint8_t* row, uint8_t uFlip, uint8_t* p, size_t nPlane, size_t n) noexcept {
        countPlanes<Step>(row, uFlip, p, nPlane, n);
    }
    static void finish(const uint8_t* p, size_t nPlane, uint32_t t, uint8_t uFlip, uint8_t* bits, size_t n) noexcept {
        planesToBits<Step>(p, nPlane, t, uFlip, bits, n);
    }
};
#ifdef RV_X86
template <int Step>
struct Avx2 {
    RV_AVX2 static void count(const uint8_t* row, uint8_t uFlip, uint8_t* p, size_t nPlane, size_t n) noexcept {
        countPlanes<Step>(row, uFlip, p, nPlane, n);
    }
    RV_AVX2 static void finish(const uint8_t* p, size_t nPlane, uint32_t t, uint8_t uFlip, uint8_t* bits,
                               size_t n) noexcept {
        planesToBits<Step>(p, nPlane, t, uFlip, bits, n);
    }
};
#endif
template <int Step>
PlaneKernels planeKernels() noexcept {
#ifdef RV_X86
    if (cpuHasAvx2()) return {Avx2<Step>::count, Avx2<Step>::finish};
#endif
    return {Plain<Step>::count, Plain<Step>::finish};
}

PlaneKernels planeKernelsOf(int32_t nBox) noexcept {
    switch (nBox) {
        case 1:
            return planeKernels<1>();
        case 2:
            return planeKernels<2>();
        case 4:
            return planeKernels<4>();
        case 8:
            return planeKernels<8>();
        default:
            return {};
    }
}

// ---- a row of boxes

// Counts source rows into the boxes of a row, and makes its pixels.
class BlackCounter {
    Buffer<uint32_t> m_starts, m_boxOf, m_counts;
    BoxRow m_boxes{};
    Buffer<uint8_t> m_planes;
    size_t m_nPlanes = 0, m_nPlane = 0;
    PlaneKernels m_kernels{};
    NearestColumns m_columns;
    Buffer<uint8_t> m_narrow;  // the row before its columns are spread
    AxisSteps m_x{};
    size_t m_nSrcBytes = 0;
    uint32_t m_nThreshold = 0;
    uint8_t m_uFlip = 0;  // all ones where black is 0-bits

    int32_t prepareBoxes(uint32_t nSrcWidth, uint32_t nRowBytes, bool bRuns) noexcept {
        const uint32_t n = m_boxes.nBoxes;
        if (!m_starts.allocate(uint64_t(n) + 1) || !m_counts.allocate(n)) return -1;
        AxisWalk walk(m_x);
        for (uint32_t i = 0; i <= n; ++i) m_starts[i] = m_x.bEnlarge ? i : uint32_t(walk.next());
        if (bRuns) {
            if (!m_boxOf.allocate(nSrcWidth)) return -1;
            for (uint32_t i = 0; i < n; ++i) std::fill(&m_boxOf[m_starts[i]], &m_boxOf[m_starts[i + 1]], i);
        }
        uint32_t nInside = 0;
        while (nInside < n && m_starts[nInside + 1] - m_starts[nInside] <= kFits &&
               m_starts[nInside] / 8 + 8 <= nRowBytes)
            ++nInside;
        m_boxes = {m_starts.get(), m_boxOf.get(), m_counts.get(), n, nInside};
        return 1;
    }

public:
    int32_t prepare(const BITMAPRECORD& src, const BITMAPRECORD& dst, bool bRuns) noexcept {
        m_x = axisSteps(src.Width, dst.Width);
        const AxisSteps y = axisSteps(src.Height, dst.Height);
        m_nThreshold = thresholdOf(m_x, y);
        m_uFlip = R_IntIsGrayScaleBitmap(&src, 0) == GRAYKIND_DESCENDING ? 0 : 0xFF;
        m_boxes.nBoxes = uint32_t(m_x.bEnlarge ? src.Width : dst.Width);
        m_nSrcBytes = size_t(packedBytes(uint32_t(src.Width), 1));
        if (m_x.bEnlarge) {
            if (!m_narrow.allocateCleared(m_nSrcBytes)) return -1;
            if (const int32_t n = m_columns.prepare(1, src.Width, dst.Width); n != 1) return n;
        }
        const int32_t nBox = m_x.bEnlarge ? 1 : m_x.nRem == 0 ? m_x.nStep : 0;
        if (!bRuns && int64_t(nBox) * (int64_t(y.nStep) + 1) <= kMostInByte) m_kernels = planeKernelsOf(nBox);
        if (!m_kernels.count) return prepareBoxes(uint32_t(src.Width), src.BytesPerLine, bRuns);
        m_nPlane = (m_nSrcBytes + 7) / 8 * 8;
        m_nPlanes = m_nPlane * size_t(8 / nBox);
        return m_planes.allocateCleared(m_nPlanes) ? 1 : -1;
    }

    void clear() noexcept {
        if (m_kernels.count)
            std::memset(m_planes.get(), 0, m_nPlanes);
        else
            std::fill_n(m_counts.get(), m_boxes.nBoxes, 0u);
    }
    void add(const uint8_t* row) noexcept {
        if (m_kernels.count) return m_kernels.count(row, m_uFlip, m_planes.get(), m_nPlane, m_nSrcBytes);
#ifdef RV_X86
        if (cpuHasAvx2()) return countBoxesAvx2(m_boxes, row, m_uFlip ? ~uint64_t(0) : 0);
#endif
        countBoxesPlain(m_boxes, row, m_uFlip ? ~uint64_t(0) : 0);
    }
    void add(const RunCursor& runs) noexcept { countRuns(m_boxes, runs, m_uFlip ? 0 : 1); }

    // Whether a single source row is the row already, but for its columns to be spread.
    bool isRowItself(int32_t nRows) const noexcept { return m_x.bEnlarge && nRows == 1 && m_nThreshold == 1; }
    void spread(const uint8_t* row, uint8_t* bits, size_t nBytes) const noexcept { m_columns.apply(row, bits, nBytes); }

    void finish(uint8_t* bits, size_t nBytes) noexcept {
        uint8_t* const pTo = m_x.bEnlarge ? m_narrow.get() : bits;
        if (m_kernels.count)
            m_kernels.finish(m_planes.get(), m_nPlane, m_nThreshold, m_uFlip, pTo, m_boxes.nBoxes);
        else
            boxesToBits(m_counts.get(), m_boxes.nBoxes, m_nThreshold, m_uFlip, pTo);
        if (m_x.bEnlarge) return spread(pTo, bits, nBytes);
        clearBehindPixels(1, bits, m_boxes.nBoxes, nBytes);
    }
};

// ---- rows in and out

int32_t storedRow(const BITMAPRECORD& bm, int32_t y) noexcept {
    return bm.ViewPerspective == BOTTOM_LEFT ? bm.Height - 1 - y : y;
}

// A record of a row's list, for bitmaps that hold such; nothing for others.
class RowRecord {
    Buffer<uint16_t> m_record;
    Buffer<uint8_t> m_work;  // where compression is given up on the way

public:
    int32_t prepare(const BITMAPRECORD& bm) noexcept {
        if (!(bm.Flags & BMF_COMPRESSED)) return 1;
        const uint64_t nWords = kRecordHead + mostRuns(uint32_t(bm.Width));
        return m_record.allocate(nWords) && m_work.allocate(bm.BytesPerLine) ? 1 : -1;
    }
    explicit operator bool() const noexcept { return bool(m_record); }
    int32_t read(BITMAPRECORD& bm, int32_t nRow) noexcept {
        return R_GetBitmapRowCompressed(&bm, m_work.get(), m_record.get(), nRow, 1);
    }
    RunCursor runs() const noexcept { return recordRuns(m_record.get()); }
    int32_t write(BITMAPRECORD& bm, const uint8_t* bits, int32_t nRow) noexcept {
        if (bits) writeRecord(m_record.get(), bits, 0, uint32_t(bm.Width));
        return R_PutBitmapRowCompressed(&bm, m_work.get(), m_record.get(), nRow, 1);
    }
};

class BlackRows {
    BITMAPRECORD &m_src, &m_dst;
    BlackCounter m_counter;
    RowRecord m_in, m_out;
    RowReader m_reader;
    RowEditor m_editor;
    uint8_t* m_pLast = nullptr;

    int32_t makeRow(int32_t nFirst, int32_t nRows, uint8_t* pPlace) noexcept {
        const size_t nBytes = m_dst.BytesPerLine;
        const bool bItself = !m_in && m_counter.isRowItself(nRows);
        if (!bItself) m_counter.clear();
        for (int32_t y = nFirst; y < nFirst + nRows; ++y) {
            const int32_t nRow = storedRow(m_src, std::min(y, m_src.Height - 1));
            if (m_in) {
                if (const int32_t n = m_in.read(m_src, nRow); n != 1) return n;
                m_counter.add(m_in.runs());
                continue;
            }
            const uint8_t* pRow = m_reader.read(nRow);
            if (!pRow) return m_reader.status();
            if (bItself)
                m_counter.spread(pRow, pPlace, nBytes);
            else
                m_counter.add(pRow);
        }
        if (!bItself) m_counter.finish(pPlace, nBytes);
        return 1;
    }

public:
    BlackRows(BITMAPRECORD& src, BITMAPRECORD& dst) noexcept
        : m_src(src), m_dst(dst), m_reader(src, src.BytesPerLine), m_editor(dst) {}

    int32_t prepare() noexcept {
        if (m_reader.status() != 1) return m_reader.status();
        if (m_editor.status() != 1) return m_editor.status();
        if (const int32_t n = m_in.prepare(m_src); n != 1) return n;
        if (const int32_t n = m_out.prepare(m_dst); n != 1) return n;
        return m_counter.prepare(m_src, m_dst, bool(m_in));
    }
    // Row y from nRows source rows, or, for none, the last row once more.
    int32_t put(int32_t y, int32_t nFirst, int32_t nRows) noexcept {
        const int32_t nPut = storedRow(m_dst, y);
        if (m_out && nRows == 0) return m_out.write(m_dst, nullptr, nPut);
        uint8_t* pPlace = m_editor.place(nPut);
        if (nRows == 0) {
            if (pPlace != m_pLast) copyRow(pPlace, m_pLast, m_dst.BytesPerLine);
        } else if (const int32_t n = makeRow(nFirst, nRows, pPlace); n != 1) {
            return n;
        }
        m_pLast = pPlace;
        return m_out ? m_out.write(m_dst, pPlace, nPut) : m_editor.write(nPut);
    }
};

}  // namespace

int32_t favourBlack(BITMAPRECORD& src, BITMAPRECORD& dst) noexcept {
    BlackRows rows(src, dst);
    if (const int32_t n = rows.prepare(); n != 1) return n;
    ProgressStepper progress(dst.Height);
    if (const int32_t n = progress.start(); n != 1) return n;
    AxisWalk walk(axisSteps(src.Height, dst.Height));
    int64_t nLast = -1;
    for (int32_t y = 0; y < dst.Height; ++y) {
        const int64_t nFirst = int64_t(walk.next());
        const int64_t nRows = nFirst == nLast ? 0 : std::max<int64_t>(walk.nAt - nFirst, 1);
        nLast = nFirst;
        if (const int32_t n = rows.put(y, int32_t(nFirst), int32_t(nRows)); n != 1) return n;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

}  // namespace rv
