// Searches: the nearest entry of a table, translation between two tables, exact match tables, the user match table.
//
// All nearest-entry searches share one body that finds the least distance and the first and last entry at it; the calls
// differ in which of the equal ones they take.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internal/palette_.h"
#include "internal/simd.h"
#include "ravokit/memory.h"

#ifdef RV_X86
#include <immintrin.h>
#endif

namespace rv {
namespace {

// Modulo 2^32, which only channels far outside 0 to 255 reach.
uint32_t distance(const uint8_t* p, int32_t c0, int32_t c1, int32_t c2) noexcept {
    const uint32_t d0 = p[0] - uint32_t(c0), d1 = p[1] - uint32_t(c1), d2 = p[2] - uint32_t(c2);
    return d0 * d0 + d1 * d1 + d2 * d2;
}

bool areBytes(int32_t c0, int32_t c1, int32_t c2) noexcept { return ((c0 | c1 | c2) & ~255) == 0; }

#ifdef RV_X86
constexpr uint32_t kLanes = 8;

// The distance of bytes has 18 bits, so one word holds it above an index: the least word of distance and index is the
// first of the nearest, that of distance and 255 - index the last. The loads end with the table, so the last two may
// overlap, which only repeats a word.
RV_AVX2 Nearest nearestAvx2(const uint8_t* pEntries, uint32_t nCount, int32_t c0, int32_t c1, int32_t c2) noexcept {
    if (nCount < kLanes || nCount > kMostColors || !areBytes(c0, c1, c2))
        return nearestPlain(pEntries, nCount, c0, c1, c2);
    const __m256i mask02 = _mm256_set1_epi32(0x00FF00FF), mask1 = _mm256_set1_epi32(0xFF);
    const __m256i want02 = _mm256_set1_epi32(c2 << 16 | c0), want1 = _mm256_set1_epi32(c1);
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), top = _mm256_set1_epi32(255);
    __m256i first = _mm256_set1_epi32(INT32_MAX), last = first;
    for (uint32_t i = 0;;) {
        const __m256i entry = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pEntries + i * 4));
        const __m256i d02 = _mm256_sub_epi16(_mm256_and_si256(entry, mask02), want02);
        const __m256i d1 = _mm256_sub_epi16(_mm256_and_si256(_mm256_srli_epi32(entry, 8), mask1), want1);
        const __m256i d = _mm256_add_epi32(_mm256_madd_epi16(d02, d02), _mm256_madd_epi16(d1, d1));
        const __m256i index = _mm256_add_epi32(_mm256_set1_epi32(int(i)), lanes), high = _mm256_slli_epi32(d, 8);
        first = _mm256_min_epi32(first, _mm256_or_si256(high, index));
        last = _mm256_min_epi32(last, _mm256_or_si256(high, _mm256_sub_epi32(top, index)));
        if (i + kLanes >= nCount) break;
        i = std::min(i + kLanes, nCount - kLanes);
    }
    alignas(32) uint32_t words[2 * kLanes];
    _mm256_store_si256(reinterpret_cast<__m256i*>(words), first);
    _mm256_store_si256(reinterpret_cast<__m256i*>(words + kLanes), last);
    const uint32_t nFirst = *std::min_element(words, words + kLanes);
    const uint32_t nLast = *std::min_element(words + kLanes, words + 2 * kLanes);
    return {nFirst >> 8, nFirst & 255, 255 - (nLast & 255)};
}
#endif

// How the three channels rank, as three comparisons. Which of red and blue is larger is one of them; the other two go
// by the larger and the smaller of the pair.
int32_t rankClass(int32_t nRed, int32_t nGreen, int32_t nBlue) noexcept {
    const int32_t nHigh = std::max(nRed, nBlue), nLow = std::min(nRed, nBlue);
    return (nRed < nBlue) << 2 | (nGreen < nLow) << 1 | (nHigh < std::max(nGreen, nLow));
}

bool isGray(const RGBQUAD& q, uint8_t v) noexcept { return q.rgbRed == v && q.rgbGreen == v && q.rgbBlue == v; }

int32_t findEntry(const RGBQUAD* pPalette, uint32_t nCount, int32_t nRed, int32_t nGreen, int32_t nBlue,
                  NearestFn nearest) noexcept {
    if (nCount == 0) return -1;
    const uint32_t nEnd = nCount - 1;
    if ((nRed | nGreen | nBlue) == 0) {
        if (isGray(pPalette[0], 0)) return 0;
        if (isGray(pPalette[nEnd], 0)) return int32_t(nEnd);
    } else if (nRed == 255 && nGreen == 255 && nBlue == 255) {
        if (isGray(pPalette[nEnd], 255)) return int32_t(nEnd);
        if (isGray(pPalette[0], 255)) return 0;
    }
    const auto* pBytes = reinterpret_cast<const uint8_t*>(pPalette);
    const Nearest hit = nearest(pBytes, nCount, nBlue, nGreen, nRed);
    if (hit.nDistance == 0 || hit.nFirst == hit.nLast) return int32_t(hit.nFirst);

    const int32_t nClass = rankClass(nRed, nGreen, nBlue);
    for (uint32_t i = hit.nLast; i > hit.nFirst; --i) {
        const RGBQUAD& q = pPalette[i];
        if (distance(pBytes + i * 4, nBlue, nGreen, nRed) == hit.nDistance &&
            rankClass(q.rgbRed, q.rgbGreen, q.rgbBlue) == nClass)
            return int32_t(i);
    }
    return int32_t(hit.nFirst);
}

MatchCell* newMatchLevel() noexcept {
    constexpr size_t nBytes = kMatchCells * sizeof(MatchCell);
    auto* p = static_cast<MatchCell*>(std::malloc(nBytes));
    if (p) std::memset(p, 0xFF, nBytes);
    return p;
}

MatchCell cellOf(const MatchCell* pLevel) noexcept { return reinterpret_cast<MatchCell>(pLevel); }

// The reds of one blue and green; the first entry of a colour keeps it.
MatchCell* buildReds(const RGBQUAD* pPalette, uint32_t nCount, const RGBQUAD& key) noexcept {
    MatchCell* pLevel = newMatchLevel();
    for (uint32_t i = 0; pLevel && i < nCount; ++i) {
        const RGBQUAD& q = pPalette[i];
        if (q.rgbBlue == key.rgbBlue && q.rgbGreen == key.rgbGreen && pLevel[q.rgbRed] == kNoMatch)
            pLevel[q.rgbRed] = i;
    }
    return pLevel;
}

// The greens of one blue. Equal colours don't make another level.
MatchCell* buildGreens(const RGBQUAD* pPalette, uint32_t nCount, uint8_t nBlue) noexcept {
    MatchCell* pLevel = newMatchLevel();
    for (uint32_t i = 0; pLevel && i < nCount; ++i) {
        const RGBQUAD& q = pPalette[i];
        if (q.rgbBlue != nBlue) continue;
        MatchCell& cell = pLevel[q.rgbGreen];
        if (cell == kNoMatch) {
            cell = i;
        } else if (cell < kMatchCells && pPalette[cell].rgbRed != q.rgbRed) {
            const MatchCell* pReds = buildReds(pPalette, nCount, q);
            if (!pReds) {
                freeMatchTable(pLevel);
                return nullptr;
            }
            cell = cellOf(pReds);
        }
    }
    return pLevel;
}

}  // namespace

Nearest nearestPlain(const uint8_t* pEntries, uint32_t nCount, int32_t c0, int32_t c1, int32_t c2) noexcept {
    Nearest best{UINT32_MAX, 0, 0};
    for (uint32_t i = 0; i < nCount; ++i) {
        const uint32_t d = distance(pEntries + i * 4, c0, c1, c2);
        if (d < best.nDistance)
            best = {d, i, i};
        else if (d == best.nDistance)
            best.nLast = i;
    }
    return best;
}

NearestFn bestNearest() noexcept {
#ifdef RV_X86
    static const NearestFn best = cpuHasAvx2() ? nearestAvx2 : nearestPlain;
    return best;
#else
    return nearestPlain;
#endif
}

bool buildTranslation(const RGBQUAD* pSrc, uint32_t nSrc, const RGBQUAD* pDst, uint32_t nDst,
                      uint8_t* pTable) noexcept {
    if (!pSrc && !pDst) return true;
    if (pSrc && pDst && nDst >= nSrc && std::memcmp(pSrc, pDst, nSrc * sizeof(RGBQUAD)) == 0) {
        for (uint32_t i = 0; i < nSrc; ++i) pTable[i] = uint8_t(i);
        return true;
    }
    const NearestFn nearest = bestNearest();
    for (uint32_t i = 0; i < nSrc; ++i) {
        const auto v = uint8_t(i);
        const RGBQUAD q = pSrc ? pSrc[i] : RGBQUAD{v, v, v, 0};
        pTable[i] = uint8_t(pDst ? uint32_t(findEntry(pDst, nDst, q.rgbRed, q.rgbGreen, q.rgbBlue, nearest))
                                 : grayOf(q.rgbBlue, q.rgbGreen, q.rgbRed));
    }
    return false;
}

MatchCell* buildMatchTable(const RGBQUAD* pPalette, uint32_t nCount) noexcept {
    if (!pPalette) return nullptr;
    nCount = std::min(nCount, kMatchCells);  // a larger index would read as an address
    MatchCell* pRoot = newMatchLevel();
    for (uint32_t i = 0; pRoot && i < nCount; ++i) {
        MatchCell& cell = pRoot[pPalette[i].rgbBlue];
        if (cell == kNoMatch) {
            cell = i;
        } else if (cell < kMatchCells) {
            const MatchCell* pGreens = buildGreens(pPalette, nCount, pPalette[i].rgbBlue);
            if (!pGreens) {
                freeMatchTable(pRoot);
                return nullptr;
            }
            cell = cellOf(pGreens);
        }
    }
    return pRoot;
}

void freeMatchTable(MatchCell* pRoot) noexcept {
    for (uint32_t i = 0; pRoot && i < kMatchCells; ++i)
        if (pRoot[i] >= kMatchCells && pRoot[i] != kNoMatch) freeMatchTable(reinterpret_cast<MatchCell*>(pRoot[i]));
    std::free(pRoot);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_FindPaletteIndex(const RGBQUAD* pPalette, uint32_t uCount, int32_t nRed, int32_t nGreen,
                           int32_t nBlue) noexcept {
    if (!pPalette) return 0;
    return findEntry(pPalette, uCount, nRed, nGreen, nBlue, bestNearest());
}

uint32_t* R_CreateUserMatchTable(const RGBQUAD* pPalette, uint32_t uCount) noexcept {
    constexpr uint32_t nCells = 32768;
    if (!pPalette) return nullptr;
    auto* pTable = static_cast<uint32_t*>(R_LocalAlloc(nCells, sizeof(uint32_t), 0, nullptr));
    const NearestFn nearest = bestNearest();
    for (uint32_t i = 0; pTable && i < nCells; ++i) {
        const auto channel = [i](uint32_t nShift) { return uint8_t((i >> nShift & 31) * 8); };
        pTable[i] = uint32_t(findEntry(pPalette, uCount, channel(10), channel(5), channel(0), nearest)) + 1;
    }
    return pTable;
}

int32_t R_FreeUserMatchTable(uint32_t* pTable) noexcept {
    R_LocalFree(pTable);
    return 1;
}

}  // extern "C"
