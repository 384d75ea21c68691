// Source rows: by address, from the row source, or from a cache of whole rows. The cache serves a picture that shrinks
// and goes out in several chunks: each of them needs all rows of a box again.
#include <algorithm>
#include <cstring>
#include <new>

#include "internal/resizerows_.h"

namespace rv {

// ---- the cache ---------------------------------------------------------------------------------------------------

RowCache::~RowCache() {
    while (m_pFirst) delete std::exchange(m_pFirst, m_pFirst->pNext);
}

// The node of the row, moved to the front.
RowCache::Node* RowCache::find(int32_t nRow) noexcept {
    if (nRow < m_nLow || nRow > m_nHigh) return nullptr;
    for (Node** pp = &m_pFirst; *pp; pp = &(*pp)->pNext) {
        if ((*pp)->nRow != nRow) continue;
        Node* p = std::exchange(*pp, (*pp)->pNext);
        p->pNext = std::exchange(m_pFirst, p);
        return p;
    }
    return nullptr;
}

// An empty node at the front: a new one, or the one that was used longest ago.
RowCache::Node* RowCache::takeNode(uint32_t uRowBytes) noexcept {
    if (m_nCount < m_nCapacity) {
        auto* p = new (std::nothrow) Node;
        if (p && p->bytes.allocate(uRowBytes)) {
            ++m_nCount;
            p->pNext = std::exchange(m_pFirst, p);
            return p;
        }
        delete p;
        m_nCapacity = std::max(m_nCount, 1u);
        return nullptr;
    }
    if (!m_pFirst) return nullptr;
    Node** pp = &m_pFirst;
    while ((*pp)->pNext) pp = &(*pp)->pNext;
    Node* p = std::exchange(*pp, nullptr);
    p->pNext = std::exchange(m_pFirst, p);
    if (p->nRow >= 0 && p->nRow == m_nLow) ++m_nLow;
    if (p->nRow >= 0 && p->nRow == m_nHigh) --m_nHigh;
    p->nRow = -1;
    return p;
}

// ---- the source --------------------------------------------------------------------------------------------------

namespace {

int32_t readBitmapRow(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t uBytes,
                      void*) noexcept {
    return R_GetBitmapRowCol(pBitmap, pBuffer, nRow, nCol, uBytes) == int32_t(uBytes) ? 1 : -7;  // Error reading file
}

}  // namespace

void SourceRows::start(BITMAPRECORD& bm, RESIZEROWCALLBACK pfn, void* pUser) noexcept {
    m_pBitmap = &bm;
    m_bDefault = !pfn;
    m_pfn = pfn ? pfn : readBitmapRow;
    m_pUser = pUser;
    // Compressed strips of 8 bits count columns in their own way.
    m_bWholeRows = m_bDefault && (bm.Flags & BMF_SUPERCOMPRESSED) && bm.BitsPerPixel == 8;
}

void SourceRows::keep(uint32_t nRows) noexcept {
    if (!m_bDefault || !flatRow(*m_pBitmap, 0)) m_cache.setCapacity(nRows);
}

uint64_t SourceRows::bufferBytes(const ColumnWindow& w) const noexcept {
    return w.uFetchBytes + (m_bWholeRows ? uint64_t(w.nAlignedCol) : 0);
}

const uint8_t* SourceRows::inMemory(int32_t nRow, const ColumnWindow& w) const noexcept {
    const uint8_t* p = m_bDefault ? flatRow(*m_pBitmap, nRow) : nullptr;
    return p ? p + columnByte(w.nAlignedCol, m_pBitmap->BitsPerPixel) : nullptr;
}

int32_t SourceRows::read(int32_t nRow, const ColumnWindow& w, uint8_t* pBuffer, const uint8_t*& pRow) noexcept {
    pRow = inMemory(nRow, w);
    if (pRow) return 1;
    const auto nByte = size_t(columnByte(w.nAlignedCol, m_pBitmap->BitsPerPixel));
    const uint64_t uRowBytes = packedBytes(uint32_t(m_pBitmap->Width), uint32_t(m_pBitmap->BitsPerPixel));
    if (m_cache && uRowBytes <= UINT32_MAX) {
        int32_t nStatus = 1;
        const uint8_t* p = m_cache.get(nRow, uint32_t(uRowBytes), nStatus,
                                       [&](uint8_t* pTo) { return fetch(pTo, nRow, 0, uRowBytes); });
        if (p) pRow = p + nByte;
        if (p || nStatus != 1) return nStatus;
    }
    pRow = pBuffer + (m_bWholeRows ? nByte : 0);
    return fetch(pBuffer, nRow, m_bWholeRows ? 0 : w.nAlignedCol, bufferBytes(w));
}

}  // namespace rv
