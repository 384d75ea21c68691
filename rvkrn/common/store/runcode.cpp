// Kernels between rows of 1-bit pixels and run lists. The plain ones take a byte at a time, from a table of the runs in
// each byte; those of words find the places where the colour changes by bit scans, so that words of one colour cost
// next to nothing, and write runs of 1-bits by whole words.
#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstring>

#include "internal/bitplaces.h"
#include "internal/runs.h"
#include "internal/simd.h"

namespace rv {
namespace {

// ---- plain

// The runs in a byte, first bit first.
struct ByteRuns {
    uint8_t nRuns = 0;
    uint8_t runs[8] = {};
};

constexpr std::array<ByteRuns, 256> kByteRuns = [] {
    std::array<ByteRuns, 256> table{};
    for (uint32_t v = 0; v < 256; ++v) {
        ByteRuns& entry = table[v];
        uint32_t nLast = v >> 7 ^ 1;
        for (int nBit = 7; nBit >= 0; --nBit) {
            if ((v >> nBit & 1) != nLast) entry.nRuns++;
            entry.runs[entry.nRuns - 1]++;
            nLast = v >> nBit & 1;
        }
    }
    return table;
}();

// The first nBits of a byte.
void encodeByte(OpenRuns& runs, uint8_t v, uint32_t nBits) noexcept {
    const ByteRuns& entry = kByteRuns[v];
    if (uint32_t(v >> 7) != runs.nColour) runs.flip();
    for (uint32_t i = 0; nBits; ++i) {
        if (i) runs.flip();
        const uint32_t n = std::min<uint32_t>(entry.runs[i], nBits);
        runs.lengthen(n);
        nBits -= n;
    }
}

void EncodeRuns(OpenRuns& runs, const uint8_t* pBits, uint32_t nFirstBit, uint32_t nBits) noexcept {
    if (nFirstBit && nBits) {
        const uint32_t n = std::min(8 - nFirstBit, nBits);
        encodeByte(runs, uint8_t(*pBits++ << nFirstBit), n);
        nBits -= n;
    }
    for (; nBits >= 8; nBits -= 8) encodeByte(runs, *pBits++, 8);
    if (nBits) encodeByte(runs, *pBits, nBits);
}

// Sets the pixels from nFrom up to nTo: a mask at each end, bytes between.
void setBits(uint8_t* pBits, uint32_t nFrom, uint32_t nTo) noexcept {
    if (nFrom >= nTo) return;
    uint8_t *pFirst = pBits + nFrom / 8, *pLast = pBits + nTo / 8;
    const auto uHead = uint8_t(0xFF >> nFrom % 8), uTail = uint8_t(~(0xFF >> nTo % 8));
    if (pFirst == pLast) {
        *pFirst |= uHead & uTail;
        return;
    }
    *pFirst |= uHead;
    std::memset(pFirst + 1, 0xFF, size_t(pLast - pFirst - 1));
    if (uTail) *pLast |= uTail;
}

void ExpandRuns(RunCursor from, uint8_t* pBits, uint32_t nWidth) noexcept {
    uint32_t x = 0;
    do {
        const uint32_t nTo = std::min(x + from.nRun, nWidth);
        if (from.nColour) setBits(pBits, x, nTo);
        x = nTo;
    } while (x < nWidth && from.next());
}

// ---- by words

inline uint64_t loadBig(const uint8_t* p) noexcept { return __builtin_bswap64(loadLittle<uint64_t>(p)); }
inline uint64_t loadBig(const uint8_t* p, uint32_t nBytes) noexcept {
    uint64_t v = 0;
    std::memcpy(&v, p, nBytes);
    return __builtin_bswap64(v);
}

// The first bit as the last: scans and clearing of bits are cheapest from that end.
inline uint64_t reverseBits(uint64_t v) noexcept {
    v = (v >> 1 & 0x5555555555555555) | (v & 0x5555555555555555) << 1;
    v = (v >> 2 & 0x3333333333333333) | (v & 0x3333333333333333) << 2;
    v = (v >> 4 & 0x0F0F0F0F0F0F0F0F) | (v & 0x0F0F0F0F0F0F0F0F) << 4;
    return __builtin_bswap64(v);
}

// The most pixels at a time: their places fit a value.
constexpr uint32_t kChunk = 65536 - 64;

// One chunk. The places of the changes are written where the runs go, then each one is made the distance from the one
// before.
template <bool bBatch>
[[gnu::always_inline]] inline void encodeChunk(OpenRuns& runs, const uint8_t* pBits, uint32_t nFirstBit,
                                               uint32_t nBits) noexcept {
    uint16_t *const pFirst = runs.p, *p = pFirst;
    uint64_t uLast = runs.nColour;  // the pixel before, in bit 0
    uint32_t nBase = 0u - nFirstBit, nLeft = nFirstBit + nBits;
    const auto changes = [&](uint64_t v) {
        if (nBase == 0u - nFirstBit) {  // bits before the first pixel take the colour of the open run
            const uint64_t uKeep = ~uint64_t(0) >> nFirstBit;
            v = (v & uKeep) | ((0 - uLast) & ~uKeep);
        }
        const uint64_t uChanges = v ^ (v >> 1 | uLast << 63);
        uLast = v & 1;
        return uChanges;
    };
    // Batches keep clear of the end, so that they never write more values than there are pixels.
    for (; nLeft >= 64 + kBatch; nLeft -= 64, nBase += 64, pBits += 8)
        if (const uint64_t v = changes(loadBig(pBits))) p = writePlaces<bBatch>(p, reverseBits(v), nBase);
    while (nLeft) {
        const uint32_t n = std::min(nLeft, 64u);
        uint64_t v = changes(loadBig(pBits, (n + 7) / 8));
        if (n < 64) v &= ~(~uint64_t(0) >> n);
        if (v) p = writePlaces<false>(p, reverseBits(v), nBase);
        nLeft -= n;
        nBase += 64;
        pBits += 8;
    }
    if (p == pFirst) {
        runs.lengthen(nBits);
        return;
    }
    const uint32_t nFirst = *pFirst, nOpen = nBits - p[-1];
    for (uint16_t* q = p - 1; q > pFirst; --q) *q = uint16_t(*q - q[-1]);
    const auto nChanges = uint32_t(p - pFirst);
    if (runs.nRun + nFirst <= kLongestRun) [[likely]] {
        *pFirst = uint16_t(runs.nRun + nFirst);
    } else {
        std::memmove(pFirst + 2, pFirst, nChanges * sizeof *p);
        runs.lengthen(nFirst);
        *runs.p = uint16_t(runs.nRun);
    }
    runs.p += nChanges;
    runs.nRun = nOpen;
    runs.nColour ^= nChanges & 1;
}

template <bool bBatch>
[[gnu::always_inline]] inline void encodeWords(OpenRuns& runs, const uint8_t* pBits, uint32_t nFirstBit,
                                               uint32_t nBits) noexcept {
    while (nFirstBit + uint64_t(nBits) > kChunk) {
        encodeChunk<bBatch>(runs, pBits, nFirstBit, kChunk - nFirstBit);
        nBits -= kChunk - nFirstBit;
        nFirstBit = 0;
        pBits += kChunk / 8;
    }
    encodeChunk<bBatch>(runs, pBits, nFirstBit, nBits);
}

// A run that fits is stored as a word from its first byte on, with what the word before had in these bytes: nothing is
// read back, and the 0-bits past it are the gap that follows. Long runs, and the last bytes, are set by the plain way.
[[gnu::always_inline]] inline void expandWords(RunCursor from, uint8_t* pBits, uint32_t nWidth) noexcept {
    constexpr uint32_t kFits = 56;  // at any bit of the first byte
    const uint32_t nBytes = (nWidth + 7) / 8, nLastWord = nBytes >= 8 ? nBytes - 8 : 0;
    uint32_t x = 0;
    if (!from.nColour) {
        x = from.nRun;
        if (!from.next()) return;
    }
    uint64_t uWord = 0;      // the last word stored
    uint32_t nWordByte = 0;  // where
    const uint16_t *p = from.p, *const pEnd = from.pEnd;
    uint32_t nRun = from.nRun;
    while (x < nWidth) {
        const uint32_t n = std::min(nRun, nWidth - x), nByte = x / 8;
        if (n <= kFits && nByte < nLastWord) [[likely]] {
            const uint32_t nOn = (nByte - nWordByte) * 8;
            const uint64_t uKept = nOn < 64 ? uWord << (nOn & 63) : 0;
            uWord = ~(~uint64_t(0) >> n) >> x % 8 | uKept;
            nWordByte = nByte;
            storeLittle(pBits + nByte, __builtin_bswap64(uWord));
        } else {
            setBits(pBits, x, x + n);
            // What follows in its last byte goes on from there.
            nWordByte = (x + n) / 8;
            uWord = nWordByte < nBytes ? uint64_t(pBits[nWordByte]) << 56 : 0;
        }
        if (pEnd - p < 2) return;
        x += nRun + p[0];
        nRun = p[1];
        p += 2;
    }
}

void encodeRunsByWords(OpenRuns& runs, const uint8_t* pBits, uint32_t nFirstBit, uint32_t nBits) noexcept {
    encodeWords<false>(runs, pBits, nFirstBit, nBits);
}
void expandRunsByWords(RunCursor from, uint8_t* pBits, uint32_t nWidth) noexcept { expandWords(from, pBits, nWidth); }

#ifdef __x86_64__
RV_AVX2 void encodeRunsBmi(OpenRuns& runs, const uint8_t* pBits, uint32_t nFirstBit, uint32_t nBits) noexcept {
    encodeWords<true>(runs, pBits, nFirstBit, nBits);
}
RV_AVX2 void expandRunsBmi(RunCursor from, uint8_t* pBits, uint32_t nWidth) noexcept {
    expandWords(from, pBits, nWidth);
}
#endif

// Values whose sum is taken at once while a list is walked.
constexpr uint32_t kSumBlock = 32;

inline uint32_t sumBlock(const uint16_t* p) noexcept {
    uint32_t n = 0;
    for (uint32_t i = 0; i < kSumBlock; ++i) n += p[i];
    return n;
}

}  // namespace

const RunOps kPlainRuns{EncodeRuns, ExpandRuns};
const RunOps kWordRuns{encodeRunsByWords, expandRunsByWords};
#ifdef __x86_64__
const RunOps kBmiRuns{encodeRunsBmi, expandRunsBmi};
#endif

const RunOps& bestRuns() noexcept {
#ifdef __x86_64__
    static const RunOps& best = cpuHasAvx2() ? kBmiRuns : kWordRuns;
    return best;
#else
    return kWordRuns;
#endif
}

uint64_t sumRuns(const uint16_t* pList, uint32_t nWords) noexcept {
    uint64_t n = 0;
    for (; nWords >= kSumBlock; nWords -= kSumBlock, pList += kSumBlock) n += sumBlock(pList);
    while (nWords--) n += *pList++;
    return n;
}

void RunCursor::skip(uint32_t n) noexcept {
    if (n < nRun) {
        nRun -= n;
        return;
    }
    n -= nRun;
    static_assert(kSumBlock % 2 == 0, "a block of runs leaves the colour as it was");
    while (size_t(pEnd - p) >= kSumBlock) {
        const uint32_t nBlock = sumBlock(p);
        if (nBlock > n) break;
        n -= nBlock;
        p += kSumBlock;
    }
    nRun = 0;
    while (next()) {
        if (n < nRun) {
            nRun -= n;
            return;
        }
        n -= nRun;
        nRun = 0;
    }
}

}  // namespace rv
