// Half turns. Rows are exchanged from both ends, each in reverse. The exchange undoes itself, which is how a turn that
// is stopped gives the bitmap back as it was.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/mirror.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rotate_.h"
#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "internal/runlists_.h"

namespace rv {
namespace {

constexpr uint64_t kBlockBytes = 1 << 20;  // of rows from each end

constexpr int32_t kAngle = 18000;

class HalfTurn {
    BITMAPRECORD& m_bm;
    const MirrorKernel m_mirror;
    const MirrorExchange m_exchange;
    const bool m_bFlat;
    const size_t m_nLine;
    const int32_t m_nBlock;  // pairs at one time
    Buffer<uint8_t> m_buffer, m_row;

    int32_t lastRow() const noexcept { return m_bm.Height - 1; }

    void exchangeFlat(uint8_t* pFirst, uint8_t* pSecond) noexcept {
        const auto nWidth = size_t(m_bm.Width);
        if (pFirst == pSecond) return m_mirror(pFirst, pFirst, nWidth);
        if (m_exchange) return m_exchange(pFirst, pSecond, nWidth);
        m_mirror(pFirst, m_row.get(), nWidth);
        m_mirror(pSecond, pFirst, nWidth);
        copyRow(pSecond, m_row.get(), size_t(packedBytes(nWidth, uint32_t(m_bm.BitsPerPixel))));
    }

    uint8_t* bufferRow(int32_t i) const noexcept { return m_buffer.get() + m_nLine * size_t(i); }

    // Pairs from number i on, through buffers: n rows from the top and, as far as they are others, from the bottom.
    int32_t exchangeBlock(int32_t i, int32_t n) noexcept {
        const int32_t nBottom = std::max(lastRow() - i - n + 1, i + n), nRows = n + lastRow() - i - nBottom + 1;
        const auto rowOf = [&](int32_t k) { return k < n ? i + k : nBottom + k - n; };
        for (int32_t k = 0; k < nRows; ++k)
            if (const int32_t nRead = readRow(m_bm, bufferRow(k), rowOf(k), uint32_t(m_nLine)); nRead < 0) return nRead;
        std::memset(m_row.get(), 0, m_nLine);
        for (int32_t k = 0; k < nRows; ++k) {
            m_mirror(bufferRow(nRows - 1 - k), m_row.get(), size_t(m_bm.Width));
            const int32_t nStatus = putWholeRow(m_bm, m_row.get(), rowOf(k));
            if (nStatus == 1) continue;
            for (; k >= 0; --k) putWholeRow(m_bm, bufferRow(k), rowOf(k));
            return nStatus;
        }
        return 1;
    }

    // Without expanding them: false where the rows have no table in common, else with the status.
    bool exchangeLists(int32_t nRow, int32_t nOther, int32_t& nStatus) noexcept {
        if (!(m_bm.Flags & BMF_COMPRESSED) || !swapRunLists(m_bm, nRow, nOther)) return false;
        nStatus = mirrorRunList(m_bm, nRow);
        if (nStatus == 1 && nRow != nOther) {
            nStatus = mirrorRunList(m_bm, nOther);
            if (nStatus != 1) mirrorRunList(m_bm, nRow);
        }
        if (nStatus != 1) swapRunLists(m_bm, nRow, nOther);
        return true;
    }

public:
    explicit HalfTurn(BITMAPRECORD& bm) noexcept
        : m_bm(bm),
          m_mirror(mirrorKernel(bm.BitsPerPixel)),
          m_exchange(mirrorExchange(bm.BitsPerPixel)),
          m_bFlat(flatRow(bm, 0) != nullptr),
          m_nLine(bm.BytesPerLine),
          m_nBlock(m_bFlat || (bm.Flags & BMF_COMPRESSED) ? 1 : int32_t(std::max<uint64_t>(kBlockBytes / m_nLine, 1))) {
    }

    bool allocate() noexcept {
        return m_row.allocate(m_nLine) &&
               (m_bFlat || m_buffer.allocate(2 * m_nLine * uint64_t(uint32_t(std::min(m_nBlock, rowPairs(m_bm))))));
    }
    int32_t block() const noexcept { return m_nBlock; }

    // Exchanges n pairs from number i on. 1, or a status, and nothing has changed then.
    int32_t exchange(int32_t i, int32_t n) noexcept {
        int32_t nStatus;
        if (m_nBlock == 1 && exchangeLists(i, lastRow() - i, nStatus)) return nStatus;
        if (!m_bFlat) return exchangeBlock(i, n);
        for (int32_t k = i; k < i + n; ++k) exchangeFlat(flatRow(m_bm, k), flatRow(m_bm, lastRow() - k));
        return 1;
    }
};

int32_t turnInPlace(BITMAPRECORD& bm, int32_t nStart, int32_t nEnd) noexcept {
    HalfTurn turn(bm);
    if (!turn.allocate()) return -1;
    const int32_t nPairs = rowPairs(bm), nBlock = turn.block();
    ProgressStepper progress(nPairs, nStart, nEnd);
    int32_t nStatus = progress.start(), nDone = 0;
    while (nStatus == 1 && nDone < nPairs) {
        const int32_t n = std::min(nBlock, nPairs - nDone);
        nStatus = turn.exchange(nDone, n);
        if (nStatus != 1) break;
        nDone += n;
        for (int32_t k = 0; k < n && nStatus == 1; ++k) nStatus = progress.step();
    }
    if (nStatus == 1) nStatus = turnAttachments(bm, bm, kAngle, kAngle);
    if (nStatus != 1)
        for (int32_t i = 0; i < nDone; i += nBlock) turn.exchange(i, std::min(nBlock, nDone - i));
    return nStatus;
}

// Strips that were written can't be counted on to be written again: they are made anew, each from one end of the old
// ones to the other.
int32_t turnStrips(BITMAPRECORD& bm, int32_t nStart, int32_t nEnd) noexcept {
    BITMAPRECORD turned;
    if (const int32_t n =
            R_DupBitmapNewDim(&turned, &bm, bm.uStructSize, bm.Width, bm.Height, bm.BitsPerPixel, kDuplicateShared);
        n != 1)
        return n;
    return replaceByTurned(turned, bm, kAngle, kAngle, [&]() noexcept {
        const MirrorKernel mirror = mirrorKernel(bm.BitsPerPixel);
        const uint32_t nLine = bm.BytesPerLine;
        RowReader from(bm, nLine);
        Buffer<uint8_t> row;
        if (from.status() != 1 || !row.allocateCleared(nLine)) return -1;
        ProgressShare progress(rowPairs(bm), bm.Height, nStart, nEnd);
        int32_t nStatus = progress.start();
        for (int32_t y = 0; y < bm.Height && nStatus == 1; ++y) {
            const uint8_t* p = from.read(bm.Height - 1 - y);
            if (!p) return from.status();
            mirror(p, row.get(), size_t(bm.Width));
            nStatus = putWholeRow(turned, row.get(), y);
            if (nStatus == 1) nStatus = progress.done(y + 1);
        }
        return nStatus;
    });
}

}  // namespace

int32_t rotate180(BITMAPRECORD& bm, int32_t nStart, int32_t nEnd) noexcept {
    if (!isAllocated(&bm)) return -2;
    if (bm.Flags & BMF_SUPERCOMPRESSED) return turnStrips(bm, nStart, nEnd);
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(turnInPlace(bm, nStart, nEnd));
}

}  // namespace rv

using namespace rv;

extern "C" int32_t R_RotateBuffer180(const uint8_t* pSource, uint8_t* pDest, int32_t nWidth, int32_t nHeight,
                                     int32_t nBitsPerPixel) noexcept {
    if (!pSource || !pDest || nWidth < 0 || nHeight < 0 || !isKnownDepth(nBitsPerPixel)) return -13;
    const MirrorKernel mirror = mirrorKernel(nBitsPerPixel);
    const auto nLine = size_t(rowBytes(uint32_t(nWidth), uint32_t(nBitsPerPixel)));
    for (int32_t y = 0; y < nHeight; ++y)
        mirror(pSource + nLine * size_t(y), pDest + nLine * size_t(nHeight - 1 - y), size_t(nWidth));
    return 1;
}
