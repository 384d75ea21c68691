// The histogram of 15-bit colours.
//
// Even and odd pixels of a row count in tables of their own, because an increment that waits for the one before it is
// all that such a loop spends time on. The tables are joined before a cell could reach its limit, so that the limit
// holds for the sum.
#include <algorithm>
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/optpal_.h"

namespace rv {

Histogram::Histogram() noexcept
    : m_pCells(static_cast<uint32_t*>(R_LocalAllocInit(kColorKeys, sizeof(uint32_t), __LINE__, __FILE__))) {
    m_second.allocateCleared(kColorKeys);
    m_keys.allocate(kColorKeys);
}

void Histogram::join() noexcept {
    for (uint32_t i = 0; i < kColorKeys; ++i) m_pCells[i] += m_second[i];
    std::memset(m_second.get(), 0, kColorKeys * sizeof(uint32_t));
    m_nPixels = *std::max_element(m_pCells, m_pCells + kColorKeys);
}

// The plain way, for pixels that may fill a cell.
void Histogram::count(uint32_t nKey) noexcept {
    if (m_pCells[nKey] == 0) m_keys[m_nKeys++] = nKey;
    if (m_pCells[nKey] >= kFullCell)
        std::transform(m_pCells, m_pCells + kColorKeys, m_pCells, [](uint32_t n) { return n / 2 + (n & 1); });
    ++m_pCells[nKey];
}

void Histogram::addRow(const uint8_t* pBgr, size_t n) noexcept {
    if (m_nPixels + n >= kFullCell) {
        join();
        if (m_nPixels + n >= kFullCell) {
            forEachBgr(pBgr, n, [this](uint32_t v) { count(colorKey(v)); });
            m_nPixels = kFullCell;
            return;
        }
    }
    m_nPixels += n;
    constexpr size_t kBlock = 1024;
    uint16_t keys[kBlock];
    const auto row24 = bestColorKeys().row24;
    uint32_t *const pEven = m_pCells, *const pOdd = m_second.get();
    const auto add = [=, this](uint32_t* pOwn, const uint32_t* pOther, uint32_t nKey) {
        if (pOwn[nKey]++ == 0 && pOther[nKey] == 0) [[unlikely]]
            m_keys[m_nKeys++] = nKey;
    };
    for (size_t nBlock; n; n -= nBlock, pBgr += nBlock * 3) {
        nBlock = std::min(n, kBlock);
        row24(pBgr, keys, nBlock);
        size_t i = 0;
        for (; i + 1 < nBlock; i += 2) {
            add(pEven, pOdd, keys[i]);
            add(pOdd, pEven, keys[i + 1]);
        }
        if (i < nBlock) add(pEven, pOdd, keys[i]);
    }
}

}  // namespace rv
