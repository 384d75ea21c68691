// Compressed bitmaps turned by 90 degrees, from lists to lists.
//
// The run tables of all rows are walked at the same time, column by column. Each row waits in the queue of the column
// where its run ends; there its bit of the present column changes, and the rows whose turn it isn't cost nothing. A
// column without changes has the list of the one before.
#include <algorithm>

#include "internal/runlists_.h"
#include "internal/rvclasses_.h"

namespace rv {
namespace {

constexpr int32_t kNone = -1;

// A row on its way through its list.
struct Walk {
    const uint16_t* p;
    const uint16_t* pEnd;
    int32_t nNext;  // the next row in the same queue
};

class ColumnWalk {
    const BITMAPRECORD& m_bm;
    const bool m_bUp;
    Buffer<Walk> m_walks;
    Buffer<int32_t> m_queues;  // the first row that waits for each column
    Buffer<uint8_t> m_bits;    // the present column, from the row on that comes first
    const size_t m_nBytes;

    // Takes runs from nCol on; the row waits where one ends further on. Whether its colour has changed.
    bool advance(int32_t nRow, int32_t nCol) noexcept {
        Walk& walk = m_walks[size_t(nRow)];
        for (bool bChanged = true; walk.p != walk.pEnd; bChanged = !bChanged) {
            const int32_t n = *walk.p++;
            if (n == 0) continue;
            if (n < m_bm.Width - nCol) {
                int32_t& nQueue = m_queues[size_t(nCol) + size_t(n)];
                walk.nNext = std::exchange(nQueue, nRow);
            }
            return bChanged;
        }
        return false;
    }

    void flipBit(int32_t nRow) noexcept {
        const auto i = size_t(m_bUp ? m_bm.Height - 1 - nRow : nRow);
        m_bits[i / 8] ^= uint8_t(0x80 >> i % 8);
    }

public:
    ColumnWalk(const BITMAPRECORD& bm, bool bUp) noexcept
        : m_bm(bm), m_bUp(bUp), m_nBytes(size_t(packedBytes(uint32_t(bm.Height), 1))) {}

    bool allocate() noexcept {
        return m_walks.allocate(uint32_t(m_bm.Height)) && m_queues.allocate(uint32_t(m_bm.Width)) &&
               m_bits.allocateCleared(m_nBytes);
    }

    // Rows without a list are all of 0-bits, and wait nowhere.
    void start() noexcept {
        std::fill_n(m_queues.get(), m_bm.Width, kNone);
        for (int32_t y = m_bm.Height; y-- > 0;) {
            const RowPlace row = rowPlace(m_bm, y);
            if (!row.entry.nOffset) continue;
            const uint16_t* p = heapRuns(row.block.pHeap, row.entry.nOffset);
            m_walks[size_t(y)] = {p, p + row.entry.nWords, m_queues[0]};
            m_queues[0] = y;
        }
        // The first run is of 0-bits: none of them changes a colour.
        for (int32_t y = std::exchange(m_queues[0], kNone); y != kNone;) {
            const int32_t nNext = m_walks[size_t(y)].nNext;
            if (!advance(y, 0)) flipBit(y);
            y = nNext;
        }
    }

    // Goes to a column; whether it differs from the one before.
    bool go(int32_t nCol) noexcept {
        const int32_t nFirst = m_queues[size_t(nCol)];
        for (int32_t y = nFirst; y != kNone;) {
            const int32_t nNext = m_walks[size_t(y)].nNext;
            if (advance(y, nCol)) flipBit(y);
            y = nNext;
        }
        return nFirst != kNone;
    }

    const uint8_t* bits() const noexcept { return m_bits.get(); }
    bool isClear() const noexcept {
        return std::all_of(m_bits.get(), m_bits.get() + m_nBytes, [](uint8_t b) { return b == 0; });
    }
};

}  // namespace

int32_t turnRunLists(BITMAPRECORD& dst, const BITMAPRECORD& src, bool bUp, ProgressShare& progress) noexcept {
    ColumnWalk columns(src, bUp);
    Buffer<uint16_t> record(mostRuns(uint32_t(src.Height)) + kRecordHead);
    Buffer<uint8_t> work(dst.BytesPerLine);  // for a bitmap that compression has stopped to pay for
    if (!columns.allocate() || !record || !work) return -1;
    columns.start();
    bool bClear = true;
    for (int32_t x = 0; x < src.Width; ++x) {
        if (columns.go(x) || x == 0) {
            bClear = columns.isClear();
            if (!bClear) writeRecord(record.get(), columns.bits(), 0, uint32_t(src.Height));
        }
        if (!bClear) {
            const int32_t nRow = bUp ? x : src.Width - 1 - x;
            if (const int32_t n = R_PutBitmapRowCompressed(&dst, work.get(), record.get(), nRow, 1); n != 1) return n;
        }
        if (const int32_t n = progress.done((x + 1.0) * src.Height); n != 1) return n;
    }
    return 1;
}

}  // namespace rv
