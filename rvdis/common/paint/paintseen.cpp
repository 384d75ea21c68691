// Rows as a view sees them: from either end, mirrored, or turned block by block.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/mirror.h"
#include "internal/paintwork.h"
#include "internal/pixels.h"
#include "ravokit/rotate.h"

namespace rv {

PaintView::PaintView(int32_t nView) noexcept : bColumns(seesColumns(nView)), bFlipX(false), bFlipY(false) {
    BITMAPRECORD bm{};
    bm.uStructSize = sizeof bm;
    bm.Width = bm.Height = 2;
    bm.ViewPerspective = nView;
    POINT corner{0, 0};
    toStored(bm, corner);
    bFlipX = corner.x == 1;
    bFlipY = corner.y == 1;
}

int32_t SeenRows::prepare() noexcept {
    if (!m_view.bColumns) {
        m_nStatus = m_maker.make(m_x, m_y, m_pRows);
        if (m_nStatus != 1) return m_nStatus;
        m_format = m_pRows->format();
        m_mirror = mirrorKernel(m_format.BitsPerPixel);
        const uint64_t uBytes = packedBytes(uint32_t(m_x.nCount), uint32_t(m_format.BitsPerPixel));
        if (m_view.bFlipX && !m_row.allocate(uBytes)) m_nStatus = -1;  // Not enough memory available
        return m_nStatus;
    }
    const auto nBits = uint32_t(m_maker.bits());
    const uint64_t uSeenStride = rowBytes(uint32_t(m_y.nCount), nBits);
    if (uSeenStride > INT32_MAX) return m_nStatus = -1;  // Not enough memory available
    m_uSeenStride = uint32_t(uSeenStride);
    m_nBlockRows = std::clamp(int32_t(kBandBytes / m_uSeenStride), 1, m_x.nCount);
    if (m_nBlockRows > 8 && m_nBlockRows < m_x.nCount) m_nBlockRows -= m_nBlockRows % 8;
    const uint64_t uStride = rowBytes(uint32_t(m_nBlockRows), nBits);
    if (!m_block.allocate(uStride * uint32_t(m_y.nCount)) || !m_seen.allocate(uSeenStride * uint32_t(m_nBlockRows)))
        return m_nStatus = -1;  // Not enough memory available
    if (turnBlock(0)) m_format = m_pRows->format();
    return m_nStatus;
}

// The stored row, of all resized ones, of a row or column of the painted part.
int32_t SeenRows::storedRow(int32_t nRow) const noexcept {
    return m_y.nFrom + (m_view.bFlipY ? m_y.nCount - 1 - nRow : nRow);
}

// Brings the columns of a block to m_seen. They are put down from the last seen one on, so that a turn to the right
// makes rows of them.
bool SeenRows::turnBlock(int32_t nBlock) noexcept {
    const int32_t nStart = nBlock * m_nBlockRows, nCols = std::min(m_nBlockRows, m_x.nCount - nStart);
    PaintAxis x = m_x;
    x.nFrom += m_view.bFlipX ? m_x.nCount - nStart - nCols : nStart;
    x.nCount = nCols;
    m_nBlock = -1;
    m_pRows.reset();
    m_nStatus = m_maker.make(x, m_y, m_pRows);
    if (m_nStatus != 1) return false;
    const int32_t nBits = m_maker.bits();
    const auto uBytes = size_t(packedBytes(uint32_t(nCols), uint32_t(nBits)));
    const auto uStride = size_t(rowBytes(uint32_t(nCols), uint32_t(nBits)));
    const uint8_t* pBefore = nullptr;
    for (int32_t i = 0; i < m_y.nCount; ++i) {
        // In the order of the store.
        const int32_t nSeen = m_view.bFlipY ? m_y.nCount - 1 - i : i;
        uint8_t* const pTo = m_block.get() + uStride * size_t(m_y.nCount - 1 - nSeen);
        const int32_t nRow = m_y.nFrom + i;
        const bool bSame = pBefore && m_pRows->areSame(nRow, nRow - 1);
        const uint8_t* const p = bSame ? pBefore : m_pRows->row(nRow, pTo);
        if (!p) {
            m_nStatus = m_pRows->status();
            return false;
        }
        if (p != pTo) std::memcpy(pTo, p, uBytes);
        pBefore = pTo;
    }
    m_nStatus = R_RotateBuffer90(m_block.get(), m_seen.get(), 1, nCols, m_y.nCount, nBits);
    if (m_nStatus == 1) m_nBlock = nBlock;
    return m_nStatus == 1;
}

const uint8_t* SeenRows::row(int32_t nRow, uint8_t* pBuffer) noexcept {
    if (m_view.bColumns) {
        const int32_t nBlock = nRow / m_nBlockRows, nStart = nBlock * m_nBlockRows;
        if (nBlock != m_nBlock && !turnBlock(nBlock)) return nullptr;
        const int32_t nLast = std::min(m_nBlockRows, m_x.nCount - nStart) - 1;
        const int32_t n = m_view.bFlipX ? nLast - (nRow - nStart) : nRow - nStart;
        return m_seen.get() + size_t(m_uSeenStride) * size_t(n);
    }
    const uint8_t* p = m_pRows->row(storedRow(nRow), m_view.bFlipX ? m_row.get() : pBuffer);
    if (!p) m_nStatus = m_pRows->status();
    if (!p || !m_view.bFlipX) return p;
    m_mirror(p, pBuffer, size_t(m_x.nCount));
    return pBuffer;
}

bool SeenRows::areSame(int32_t nRow, int32_t nOther) const noexcept {
    return !m_view.bColumns && m_pRows->areSame(storedRow(nRow), storedRow(nOther));
}

}  // namespace rv
