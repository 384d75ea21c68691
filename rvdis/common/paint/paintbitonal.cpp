// Rows of painting that count the bits of 1-bit pictures.
//
// A new pixel stands for a box of the stored ones, of at least one column and one row. Its gray is the part of the box
// that is white. The smooth methods grow the ink of each stored row first, by about the root of a box's area, so that
// lines which are thinner than a box stay dark.
#include <algorithm>
#include <new>

#include "internal/bitboxes.h"
#include "internal/paintwork.h"
#include "internal/resize_.h"
#include "internal/runlists_.h"
#include "internal/scanline.h"
#include "ravokit/bitmap.h"

namespace rv {
namespace {

struct Growth {
    uint32_t nBefore, nBehind;
};

// The area of a box is taken at full precision, with sides of at least one pixel.
Growth growthFor(const PaintAxis& x, const PaintAxis& y) noexcept {
    const uint64_t nSource = uint64_t(std::max(x.nSrc, x.nDst)) * uint64_t(std::max(y.nSrc, y.nDst));
    const uint32_t nRadius = inkOfLine(nSource / (uint64_t(x.nDst) * uint64_t(y.nDst)));
    return {nRadius / 2, nRadius - nRadius / 2};
}

// Stored rows, from a column at the start of a byte on.
class StoredRows {
    PaintStore m_store;
    int32_t m_nCol = 0;
    uint32_t m_nBytes = 0;
    Buffer<uint8_t> m_buffer;
    int32_t m_nStatus = 1;

public:
    explicit StoredRows(BITMAPRECORD& bm) noexcept : m_store{bm} {}
    bool prepare(int32_t nCol, uint32_t nBytes) noexcept {
        m_nCol = nCol;
        m_nBytes = nBytes;
        return m_store.inMemory(0) || m_buffer.allocate(nBytes);
    }
    int32_t status() const noexcept { return m_nStatus; }
    // Whether a row is known to be of 0-bits: one of run lists that has none, or a single run.
    bool isClear(int32_t nRow) const noexcept {
        const BITMAPRECORD& bm = m_store.bm;
        return bm.Flags & BMF_COMPRESSED && !bm.pCallbacks && rowPlace(bm, nRow).entry.nWords <= 1;
    }
    // The row, or null with status().
    const uint8_t* read(int32_t nRow) noexcept {
        return m_store.read(nRow, m_nCol, m_nBytes, m_buffer.get(), m_nStatus);
    }
};

// The boxes of the painted columns, and their sums over the rows of one new row.
class BoxSums {
    Buffer<uint32_t> m_starts, m_ends, m_counts;
    Buffer<BoxLanes> m_lanes;
    Buffer<float> m_floats;       // inverse widths, where no box is large
    Buffer<double> m_doubles;     // where counts fit 31 bits
    Buffer<uint64_t> m_counts64;  // where they don't
    BitBoxes m_boxes{};
    BitPlanes m_planes;
    const BitBoxOps& m_ops = bestBitBoxes();
    int32_t m_nMostRows = kMostPlaneRows;  // for which counts fit 31 bits
    bool m_bSingles = false;               // all boxes are one column wide
    bool m_bCounted = false;

    bool prepareGrays(uint32_t nWidest, uint64_t nTallest) noexcept {
        const size_t n = m_boxes.n;
        const auto invert = [&](auto& inverses) {
            using Real = std::remove_reference_t<decltype(inverses[0])>;
            if (!inverses.allocate(n)) return false;
            for (size_t i = 0; i < n; ++i) inverses[i] = Real(1) / Real(m_ends[i] - m_starts[i]);
            return true;
        };
        const uint64_t nLargest = nWidest * nTallest;
        if (nLargest <= kMostFloat) return invert(m_floats);
        if (nLargest <= INT32_MAX) return invert(m_doubles);
        m_nMostRows = int32_t(std::min<uint64_t>(kMostPlaneRows, INT32_MAX / nWidest));
        return m_counts64.allocateCleared(n);
    }

    // Counts the rows that are in the planes.
    void count() noexcept {
        if (m_planes.rows() == 0) return;
        m_ops.count(m_boxes, m_planes, m_bCounted && !m_counts64, m_counts.get());
        m_bCounted = true;
        m_planes.clear();
        if (m_counts64)
            for (size_t i = 0; i < m_boxes.n; ++i) m_counts64[i] += m_counts[i];
    }

public:
    // Boxes along an axis, of columns that count from nFirst on and end before nEnd. nTallest is the most rows of one.
    bool prepare(const PaintAxis& x, int32_t nFirst, int32_t nEnd, uint64_t nTallest) noexcept {
        const auto n = size_t(x.nCount);
        if (!m_starts.allocate(n) || !m_ends.allocate(n) || !m_counts.allocate(uint64_t(n) + kBoxPadding)) return false;
        AxisWalk walk(x.nSrc, x.nDst, x.nFrom, int64_t(nFirst) - x.nSrcFirst);
        uint32_t nWidest = 1;
        for (size_t i = 0; i < n; ++i) {
            const auto nFrom = int64_t(walk.next());
            m_starts[i] = uint32_t(nFrom);
            m_ends[i] = uint32_t(std::min(std::max(nFrom + 1, walk.nAt), int64_t(nEnd) - nFirst));
            nWidest = std::max(nWidest, m_ends[i] - m_starts[i]);
        }
        m_boxes = {m_starts.get(), m_ends.get(), n, nullptr, 0};
        m_bSingles = nWidest == 1;
        return makeBoxLanes(m_boxes, nWidest, m_lanes) && prepareGrays(nWidest, nTallest) &&
               m_planes.allocate(size_t(packedBytes(m_ends[n - 1], 1)));
    }
    uint32_t columns() const noexcept { return m_ends[m_boxes.n - 1]; }

    void start() noexcept {
        m_bCounted = false;
        if (m_counts64) std::fill_n(m_counts64.get(), m_boxes.n, 0);
    }
    void add(const uint8_t* row) noexcept {
        m_planes.add(row);
        if (m_planes.rows() == m_nMostRows) count();
    }
    // White where a box has a 1-bit, however large it is.
    void finishAny(uint8_t* out) noexcept {
        count();
        if (!m_bCounted) {
            std::memset(out, 0, m_boxes.n);
        } else if (m_counts64) {
            for (size_t i = 0; i < m_boxes.n; ++i) out[i] = m_counts64[i] ? 255 : 0;
        } else {
            for (size_t i = 0; i < m_boxes.n; ++i) out[i] = m_counts[i] ? 255 : 0;
        }
    }
    // The gray of boxes of nRows rows.
    void finish(uint32_t nRows, uint8_t uFlip, uint8_t* out) noexcept {
        if (m_bSingles && nRows == 1 && m_planes.rows() == 1) {
            m_ops.spread(m_boxes, m_planes, uFlip, out);
            return m_planes.clear();
        }
        count();
        if (!m_bCounted) {
            std::memset(out, uFlip, m_boxes.n);
        } else if (m_floats) {
            graysOfCounts(m_counts.get(), m_floats.get(), nRows, uFlip, out, m_boxes.n);
        } else if (m_doubles) {
            graysOfCounts(m_counts.get(), m_doubles.get(), nRows, uFlip, out, m_boxes.n);
        } else {
            for (size_t i = 0; i < m_boxes.n; ++i)
                out[i] = uint8_t(grayOfCount(m_counts64[i], uint64_t(m_ends[i] - m_starts[i]) * nRows) ^ uFlip);
        }
    }
};

class BitonalRows final : public PaintRows {
    BITMAPRECORD m_format{};
    int32_t m_nHeight;
    PaintAxis m_y;
    StoredRows m_rows;
    BoxSums m_sums;
    InkGrower m_grower;
    bool m_bGrows, m_bClearIsInk, m_bAny;
    uint8_t m_uFlip;

    // The rows of the box of new row nRow end before it.
    int32_t boxEnd(int32_t nRow, int32_t nFirst) const noexcept {
        const int64_t nNext = m_y.nSrcFirst + (int64_t(nRow) + 1) * m_y.nSrc / m_y.nDst;
        return int32_t(std::min<int64_t>(std::max<int64_t>(nNext, int64_t(nFirst) + 1), m_nHeight));
    }
    bool make(int32_t nFirst, int32_t nEnd, uint8_t* pOut) noexcept {
        m_sums.start();
        for (int32_t y = nFirst; y < nEnd; ++y) {
            if (!m_bClearIsInk && m_rows.isClear(y)) continue;
            const uint8_t* pRow = m_rows.read(y);
            if (!pRow) return false;
            m_sums.add(m_bGrows ? m_grower.grow(pRow) : pRow);
        }
        if (m_bAny)
            m_sums.finishAny(pOut);
        else
            m_sums.finish(uint32_t(nEnd - nFirst), m_uFlip, pOut);
        return true;
    }

public:
    // The smooth methods count ink, the others 1-bits.
    BitonalRows(BITMAPRECORD& bm, PaintMethod method, const PaintAxis& y) noexcept
        : m_nHeight(bm.Height),
          m_y(y),
          m_rows(bm),
          m_bGrows(method == PaintMethod::smooth || method == PaintMethod::smoothInverted),
          m_bClearIsInk(method == PaintMethod::smooth),
          m_bAny(method == PaintMethod::anyBit),
          m_uFlip(method == PaintMethod::coverage ? 0 : 0xFF) {}

    int32_t prepare(const PaintAxis& x, int32_t nWidth) noexcept {
        if (const int32_t n = R_InitBitmap(&m_format, sizeof m_format, x.nCount, m_y.nCount, 8); n != 1) return n;
        m_format.Order = ORDER_GRAY;
        const Growth growth = m_bGrows ? growthFor(x, m_y) : Growth{0, 0};
        const int32_t nSource = x.source(x.nFrom),
                      nFirst = int32_t(std::max<int64_t>(0, int64_t(nSource) - growth.nBehind) / 8 * 8);
        const uint64_t nTallest = uint64_t(m_y.nSrc) / uint64_t(m_y.nDst) + 1;
        if (!m_sums.prepare(x, nFirst, nWidth, std::min(nTallest, uint64_t(m_nHeight)))) return -1;
        const uint32_t nColumns = uint32_t(
            std::min<uint64_t>(uint64_t(m_sums.columns()) + growth.nBefore, uint64_t(nWidth) - uint64_t(nFirst)));
        if (!m_rows.prepare(nFirst, uint32_t(packedBytes(nColumns, 1)))) return -1;
        if (m_bGrows && !m_grower.prepare(nColumns, m_sums.columns(), growth.nBefore, growth.nBehind, m_bClearIsInk))
            return -1;
        return 1;
    }

    const BITMAPRECORD& format() const noexcept override { return m_format; }
    const uint8_t* row(int32_t nRow, uint8_t* pBuffer) noexcept override {
        const int32_t nFirst = m_y.source(nRow);
        return make(nFirst, boxEnd(nRow, nFirst), pBuffer) ? pBuffer : nullptr;
    }
    // Boxes that start at one row have that row alone.
    bool areSame(int32_t nRow, int32_t nOther) const noexcept override {
        return m_y.source(nRow) == m_y.source(nOther);
    }
    int32_t status() const noexcept override { return m_rows.status(); }
};

}  // namespace

int32_t makeBitonalRows(BITMAPRECORD& bm, PaintMethod method, const PaintAxis& x, const PaintAxis& y,
                        std::unique_ptr<PaintRows>& pRows) noexcept {
    std::unique_ptr<BitonalRows> pNew(new (std::nothrow) BitonalRows(bm, method, y));
    if (!pNew) return -1;
    if (const int32_t n = pNew->prepare(x, bm.Width); n != 1) return n;
    pRows = std::move(pNew);
    return 1;
}

}  // namespace rv
