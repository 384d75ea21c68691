// Straight lines between 8-bit samples by vectors.
//
// A point is floor((a (n - k) + b k) / n), in 16 bits for runs of up to 127. Along a row each half of a block gathers
// its pairs of samples from 16 bytes of the source; where they lie is the same for each row.
#include <algorithm>
#include <cstring>

#include "internal/filterblocks.h"

namespace rv {

// Sixteen bytes of a row.
struct LinearBlocks::Block {
    uint8_t order[32];
    int8_t weights[32];
    uint16_t m[16];
    int32_t nAt[2];  // source byte of each half
};

#ifdef RV_X86
namespace {

using namespace avx2;

constexpr uint32_t kLongestRun = 127;

// A run of one sample is one of two, of which the second is never asked for.
struct Weights {
    uint32_t nRun, b;
    constexpr Weights(uint32_t nStep, uint32_t nOf) noexcept
        : nRun(nOf == 1 ? 2 : nOf), b(nOf == 1 ? 2 * nStep : nStep) {}
};

RV_AVX2_INLINE __m256i pointsOf(const LinearBlocks::Block& block, const uint8_t* src, __m128i nShift) noexcept {
    const __m256i pairs = _mm256_shuffle_epi8(loadPair(src + block.nAt[0], src + block.nAt[1]), load32(block.order));
    const __m256i sums = _mm256_maddubs_epi16(pairs, load32(reinterpret_cast<const uint8_t*>(block.weights)));
    return _mm256_srl_epi16(_mm256_mulhi_epu16(sums, load32(reinterpret_cast<const uint8_t*>(block.m))), nShift);
}

RV_AVX2 void blocksOfRow(const LinearBlocks& blocks, const uint8_t* src, uint8_t* dst) noexcept {
    const __m128i nShift = _mm_cvtsi32_si128(blocks.nShift);
    const LinearBlocks::Block* p = blocks.blocks.get();
    for (size_t i = 0; i < blocks.nBlocks; i += 2, p += 2, dst += 32)
        store32(dst, _mm256_permute4x64_epi64(
                         _mm256_packus_epi16(pointsOf(p[0], src, nShift), pointsOf(p[1], src, nShift)), 0xD8));
}

RV_AVX2 size_t samplesBetween(const uint8_t* a, const uint8_t* b, uint8_t* dst, size_t n, const Weights& w) noexcept {
    const SmallDivision divide(w.nRun);
    const __m256i m = _mm256_set1_epi16(int16_t(divide.m)),
                  weights = _mm256_set1_epi16(int16_t((w.nRun - w.b) | w.b << 8));
    const __m128i nShift = _mm_cvtsi32_si128(int(divide.nShift));
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i p = load32(a + i), q = load32(b + i);
        const __m256i low = _mm256_mulhi_epu16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(p, q), weights), m),
                      high = _mm256_mulhi_epu16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(p, q), weights), m);
        store32(dst + i, _mm256_packus_epi16(_mm256_srl_epi16(low, nShift), _mm256_srl_epi16(high, nShift)));
    }
    return i;
}

// Half h of a block, from byte nByte of the row on.
void describe(LinearBlocks::Block& block, int h, size_t nByte, int32_t nSamples, const LinearPoint* pPoints,
              int32_t nRowBytes, uint32_t nShift) noexcept {
    const LinearPoint& first = pPoints[nByte / size_t(nSamples)];
    const int32_t nAt = std::min(first.nA * nSamples, nRowBytes - 16);
    block.nAt[h] = nAt;
    for (int i = 0; i < 8; ++i) {
        const size_t j = nByte + size_t(i);
        const LinearPoint& p = pPoints[j / size_t(nSamples)];
        const int32_t c = int32_t(j % size_t(nSamples));
        const Weights w(p.nStep, p.nRun);
        const int k = h * 8 + i;
        block.order[2 * k] = uint8_t(p.nA * nSamples + c - nAt);
        block.order[2 * k + 1] = uint8_t(p.nB * nSamples + c - nAt);
        block.weights[2 * k] = int8_t(w.nRun - w.b);
        block.weights[2 * k + 1] = int8_t(w.b);
        block.m[k] = uint16_t(SmallDivision(w.nRun, nShift).m);
    }
}

}  // namespace

void prepareLinear8(LinearBlocks& blocks, int32_t nSamples, const LinearPoint* pPoints, size_t nCount,
                    int32_t nColumns) noexcept {
    const size_t nBlocks = nCount * size_t(nSamples) / 32 * 2;
    if (!cpuHasAvx2() || nBlocks == 0 || nColumns > INT32_MAX / 4 || nColumns * nSamples < 16) return;
    uint32_t nShortest = UINT32_MAX, nLongest = 0;
    for (size_t i = 0; i < nCount; ++i) {
        nShortest = std::min(nShortest, pPoints[i].nRun);
        nLongest = std::max(nLongest, pPoints[i].nRun);
    }
    if (nLongest > kLongestRun || !blocks.blocks.allocate(nBlocks)) return;
    const uint32_t nShift = SmallDivision(std::max(nShortest, 2u)).nShift;
    for (size_t i = 0; i < nBlocks; ++i)
        for (int h = 0; h < 2; ++h)
            describe(blocks.blocks[i], h, i * 16 + size_t(h) * 8, nSamples, pPoints, nColumns * nSamples, nShift);
    blocks.nBlocks = nBlocks;
    blocks.nShift = int32_t(nShift);
    blocks.stretch = {0, nBlocks * 16 / size_t(nSamples)};
}

void linearRow8(const LinearBlocks& blocks, const uint8_t* pSrc, uint8_t* pDst) noexcept {
    blocksOfRow(blocks, pSrc, pDst);
}

size_t linearBetween8(const uint8_t* a, const uint8_t* b, uint8_t* pDst, size_t n, uint32_t nStep,
                      uint32_t nRun) noexcept {
    return cpuHasAvx2() && nRun <= kLongestRun ? samplesBetween(a, b, pDst, n, {nStep, nRun}) : 0;
}

#else

void prepareLinear8(LinearBlocks&, int32_t, const LinearPoint*, size_t, int32_t) noexcept {}
void linearRow8(const LinearBlocks&, const uint8_t*, uint8_t*) noexcept {}
size_t linearBetween8(const uint8_t*, const uint8_t*, uint8_t*, size_t, uint32_t, uint32_t) noexcept { return 0; }

#endif

}  // namespace rv
