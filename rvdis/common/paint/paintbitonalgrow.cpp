// Growing the runs of ink of a row: a run reaches as far as the row, shifted by each of some columns and put together.
// Shifts double what there is, so that few are needed.
#include <algorithm>

#include "internal/bitboxes.h"
#include "internal/pixels.h"
#include "internal/simd.h"

namespace rv {

// Columns as words, the first one in the highest bit. Nothing behind the last column is ink.
RV_CLONES void loadInk(const uint8_t* row, uint32_t nColumns, uint64_t uFlip, uint64_t* words) noexcept {
    const size_t n = nColumns / 64;
    for (size_t i = 0; i < n; ++i) words[i] = __builtin_bswap64(loadLittle<uint64_t>(row + i * 8)) ^ uFlip;
    if (const uint32_t nLeft = nColumns % 64) {
        uint64_t u = 0;
        std::memcpy(&u, row + n * 8, (nLeft + 7) / 8);
        words[n] = (__builtin_bswap64(u) ^ uFlip) & ~(~uint64_t(0) >> nLeft);
    }
}

// to = from with itself n columns further on.
RV_CLONES void smear(const uint64_t* __restrict from, uint64_t* __restrict to, size_t nWords, uint32_t n) noexcept {
    const size_t nSkip = std::min<size_t>(n / 64, nWords);
    const uint32_t k = n % 64;
    for (size_t i = 0; i < nSkip; ++i) to[i] = from[i];
    if (nSkip < nWords) to[nSkip] = from[nSkip] | from[0] >> k;
    for (size_t i = nSkip + 1; i < nWords; ++i)
        to[i] = from[i] | from[i - nSkip] >> k | from[i - nSkip - 1] << 1 << (63 - k);
}

// nWords words from column n on, as bytes.
RV_CLONES void storeInk(const uint64_t* __restrict from, uint64_t* __restrict to, size_t nWords, uint32_t n) noexcept {
    const size_t nSkip = n / 64;
    const uint32_t k = n % 64;
    for (size_t i = 0; i < nWords; ++i)
        to[i] = __builtin_bswap64(from[i + nSkip] << k | from[i + nSkip + 1] >> 1 >> (63 - k));
}

bool InkGrower::prepare(uint32_t nColumns, uint32_t nOut, uint32_t nBefore, uint32_t nBehind,
                        bool bInkIsZero) noexcept {
    m_nColumns = nColumns;
    m_nBefore = nBefore;
    m_nBehind = nBehind;
    m_uFlip = bInkIsZero ? ~uint64_t(0) : 0;
    m_nOut = (size_t(nOut) + 63) / 64;
    // Behind the columns there is room for what the ends of their runs reach, and for a word that is shifted in.
    m_nWords = std::max<size_t>((size_t(nColumns) + 63) / 64, m_nOut + nBefore / 64 + 1);
    return m_words.allocateCleared(m_nWords) && m_spare.allocateCleared(m_nWords);
}

const uint8_t* InkGrower::grow(const uint8_t* row) noexcept {
    uint64_t *pFrom = m_words.get(), *pTo = m_spare.get();
    loadInk(row, m_nColumns, m_uFlip, pFrom);
    const size_t nUsed = (size_t(m_nColumns) + 63) / 64;
    std::fill(pFrom + nUsed, pFrom + m_nWords, 0);
    // All runs are longer by nGrown at their ends.
    for (uint32_t nGrown = 0; nGrown < m_nBefore + m_nBehind;) {
        const uint32_t n = std::min(nGrown + 1, m_nBefore + m_nBehind - nGrown);
        smear(pFrom, pTo, m_nWords, n);
        std::swap(pFrom, pTo);
        nGrown += n;
    }
    storeInk(pFrom, pTo, m_nOut, m_nBefore);
    return reinterpret_cast<const uint8_t*>(pTo);
}

}  // namespace rv
