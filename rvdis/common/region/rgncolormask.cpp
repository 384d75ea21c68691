// The kernels between rows of pixels, masks and spans: plain, and with AVX2 where depths are common.
#include <algorithm>
#include <cstring>

#include "internal/bitplaces.h"
#include "internal/pixelmasks.h"
#include "internal/pixels.h"
#include "internal/planes.h"
#include "internal/simd.h"

namespace rv {

// ---- plain -------------------------------------------------------------------------------------------------------

// A bitmap's first pixel is the top bit of a byte, a mask's the lowest.
RV_CLONES void maskBits(const uint8_t* pRow, uint64_t* pMask, size_t n, const IndexTest& test) noexcept {
    const uint64_t uFlip = test.flags[0] ? ~uint64_t(0) : 0, uKeep = test.flags[0] != test.flags[1] ? ~uint64_t(0) : 0;
    const auto word = [=](uint64_t v) {
        v = (v >> 1 & 0x5555555555555555) | (v & 0x5555555555555555) << 1;
        v = (v >> 2 & 0x3333333333333333) | (v & 0x3333333333333333) << 2;
        v = (v >> 4 & 0x0F0F0F0F0F0F0F0F) | (v & 0x0F0F0F0F0F0F0F0F) << 4;
        return (v & uKeep) ^ uFlip;
    };
    const size_t nWhole = n / 64, nRest = n % 64;
    for (size_t i = 0; i < nWhole; ++i) pMask[i] = word(loadLittle<uint64_t>(pRow + i * 8));
    if (!nRest) return;
    uint64_t v = 0;
    std::memcpy(&v, pRow + nWhole * 8, (nRest + 7) / 8);
    pMask[nWhole] = word(v) & ~(~uint64_t(0) << nRest);
}

namespace {

// Sets the bits of the pixels for which passes(i) is true.
template <class F>
inline void maskBy(uint64_t* pMask, size_t n, F passes) noexcept {
    for (size_t nBase = 0; nBase < n; nBase += 64) {
        const size_t nNow = std::min<size_t>(n - nBase, 64);
        uint64_t v = 0;
        for (size_t k = 0; k < nNow; ++k) v |= uint64_t(passes(nBase + k)) << k;
        *pMask++ = v;
    }
}

// Eight pixels are as many bytes as a pixel has bits.
template <int Bits>
void maskIndices(const uint8_t* pRow, uint64_t* pMask, size_t n, const IndexTest& test) noexcept {
    for (size_t nBase = 0; nBase < n; nBase += 64) {
        uint64_t uWord = 0;
        for (size_t k = 0; k < 64 && nBase + k < n; k += 8, pRow += Bits) {
            const size_t nNow = std::min<size_t>(n - nBase - k, 8);
            uint64_t v = 0;
            std::memcpy(&v, pRow, nNow == 8 ? size_t(Bits) : (nNow * Bits + 7) / 8);
            v = __builtin_bswap64(v);
            uint64_t uByte = 0;
            for (size_t i = 0; i < 8; ++i)
                uByte |= uint64_t(test.flags[v >> (64 - Bits) & Pixel<Bits>::kMax]) << i, v <<= Bits;
            uWord |= (nNow == 8 ? uByte : uByte & ((1u << nNow) - 1)) << k;
        }
        *pMask++ = uWord;
    }
}

template <size_t PixelBytes>
void maskBytes(const uint8_t* pRow, uint64_t* pMask, size_t n, const ByteTest& test) noexcept {
    maskBy(pMask, n, [&](size_t i) {
        const uint8_t* p = pRow + i * PixelBytes;
        return test.passes(p[0], p[1], p[2]);
    });
}

void maskWords16(const uint8_t* pRow, uint64_t* pMask, size_t n, const WordTest& test) noexcept {
    maskBy(pMask, n, [&](size_t i) { return test.passes(loadLittle<uint16_t>(pRow + i * 2)); });
}

// Left and right are the places where a bit differs from the one before. Whole words go by batches: those of a word
// stay within the room of its 64 pixels.
template <bool bBatch>
[[gnu::always_inline]] inline int32_t* spansOfMask(const uint64_t* pMask, size_t n, int32_t* p) noexcept {
    uint64_t uLast = 0;
    for (size_t nBase = 0; nBase < n; nBase += 64) {
        const uint64_t v = *pMask++, uChanges = v ^ (v << 1 | uLast);
        uLast = v >> 63;
        if (!uChanges) continue;
        p = bBatch && n - nBase >= 64 ? writePlaces<bBatch>(p, uChanges, nBase)
                                      : writePlaces<false>(p, uChanges, nBase);
    }
    if (uLast) *p++ = int32_t(n);  // n is a multiple of 64
    return p;
}

int32_t* spansByWords(const uint64_t* pMask, size_t n, int32_t* pSpans) noexcept {
    return spansOfMask<false>(pMask, n, pSpans);
}

// ---- AVX2 --------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

// A block is an object that is called with the first byte of 32 pixels and gives their bits.
template <class Block>
RV_AVX2_INLINE void eachMaskWord(const uint8_t* pRow, uint64_t* pMask, size_t n, const Block& block) noexcept {
    constexpr size_t kHalf = 32 * Block::kPixelBytes;
    for (; n >= 64; n -= 64, pRow += 2 * kHalf) *pMask++ = block(pRow) | uint64_t(block(pRow + kHalf)) << 32;
    if (!n) return;
    uint8_t rest[2 * kHalf] = {};
    std::memcpy(rest, pRow, n * Block::kPixelBytes);
    *pMask = (block(rest) | uint64_t(block(rest + kHalf)) << 32) & ~(~uint64_t(0) << n);
}

RV_AVX2_INLINE uint32_t zeroBytes(__m256i v) noexcept {
    return uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256())));
}
RV_AVX2_INLINE __m256i every8(uint8_t v) noexcept { return _mm256_set1_epi8(int8_t(v)); }
RV_AVX2_INLINE __m256i every16(uint16_t v) noexcept { return _mm256_set1_epi16(int16_t(v)); }
RV_AVX2_INLINE __m256i every32(uint32_t v) noexcept { return _mm256_set1_epi32(int32_t(v)); }

// What is not 0 lies outside.
RV_AVX2_INLINE __m256i outside8(__m256i v, __m256i low, __m256i high) noexcept {
    return _mm256_or_si256(_mm256_subs_epu8(v, high), _mm256_subs_epu8(low, v));
}

// A set of bytes: the low digit finds a column, the high one its bit.
struct IndexBlock {
    static constexpr size_t kPixelBytes = 1;
    __m256i low, high, bits;
    RV_AVX2_INLINE explicit IndexBlock(const IndexTest& test) noexcept {
        low = _mm256_broadcastsi128_si256(load16(test.columns[0]));
        high = _mm256_broadcastsi128_si256(load16(test.columns[1]));
        bits = _mm256_set1_epi64x(int64_t(0x8040201008040201));
    }
    RV_AVX2_INLINE uint32_t operator()(const uint8_t* p) const noexcept {
        const __m256i v = load32(p), digit = _mm256_set1_epi8(15);
        const __m256i l = _mm256_and_si256(v, digit), h = _mm256_and_si256(_mm256_srli_epi16(v, 4), digit);
        const __m256i column = _mm256_blendv_epi8(_mm256_shuffle_epi8(low, l), _mm256_shuffle_epi8(high, l), v);
        const __m256i bit = _mm256_shuffle_epi8(bits, h);
        return uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_and_si256(column, bit), bit)));
    }
};

template <ByteTest::Kind kind>
struct PlaneBlock {
    static constexpr size_t kPixelBytes = 3;
    __m256i low[4], high[4], stop[3];
    RV_AVX2_INLINE explicit PlaneBlock(const ByteTest& test) noexcept {
        for (int i = 0; i < 4; ++i) low[i] = every8(test.low[i]), high[i] = every8(test.high[i]);
        for (int i = 0; i < 3; ++i) stop[i] = every8(test.stop[i]);
    }
    RV_AVX2_INLINE uint32_t operator()(const uint8_t* p) const noexcept {
        __m256i c[3];
        loadPlanes(p, c);
        __m256i out = outside8(c[0], low[0], high[0]);
        if constexpr (kind == ByteTest::kEither) out = _mm256_min_epu8(out, outside8(c[2], low[3], high[3]));
        for (int i = 1; i < 3; ++i) out = _mm256_or_si256(out, outside8(c[i], low[i], high[i]));
        if constexpr (kind == ByteTest::kStops)
            for (int i = 0; i < 3; ++i) out = _mm256_or_si256(out, _mm256_cmpeq_epi8(c[i], stop[i]));
        return zeroBytes(out);
    }
};

template <ByteTest::Kind kind>
struct QuadBlock {
    static constexpr size_t kPixelBytes = 4;
    __m256i low, high, stop;
    RV_AVX2_INLINE explicit QuadBlock(const ByteTest& test) noexcept {
        low = every32(loadLittle<uint32_t>(test.low) & 0xFFFFFF);
        high = every32(loadLittle<uint32_t>(test.high) | 0xFF000000);
        stop = every32(loadLittle<uint32_t>(test.stop));
    }
    RV_AVX2_INLINE uint32_t eight(const uint8_t* p) const noexcept {
        const __m256i v = load32(p);
        __m256i out = outside8(v, low, high);
        if constexpr (kind == ByteTest::kStops)
            out = _mm256_or_si256(out, _mm256_and_si256(_mm256_cmpeq_epi8(v, stop), _mm256_set1_epi32(0xFFFFFF)));
        const __m256i in = _mm256_cmpeq_epi32(out, _mm256_setzero_si256());
        return uint32_t(_mm256_movemask_ps(_mm256_castsi256_ps(in)));
    }
    RV_AVX2_INLINE uint32_t operator()(const uint8_t* p) const noexcept {
        return eight(p) | eight(p + 32) << 8 | eight(p + 64) << 16 | eight(p + 96) << 24;
    }
};

struct WordBlock {
    static constexpr size_t kPixelBytes = 2;
    __m256i low, high, flip, stop[3], useStops;
    __m128i shift;
    RV_AVX2_INLINE explicit WordBlock(const WordTest& test) noexcept {
        low = every16(test.low), high = every16(test.high), flip = every16(test.uFlip);
        for (int i = 0; i < 3; ++i) stop[i] = every16(test.stop[i]);
        useStops = _mm256_set1_epi16(test.bStops ? -1 : 0);
        shift = _mm_cvtsi32_si128(test.nShift);
    }
    RV_AVX2_INLINE __m256i sixteen(const uint8_t* p) const noexcept {
        const __m256i v = load32(p), t = _mm256_xor_si256(_mm256_sll_epi16(v, shift), flip);
        const __m256i out = _mm256_or_si256(_mm256_subs_epu16(t, high), _mm256_subs_epu16(low, t));
        const __m256i stops =
            _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi16(v, stop[0]), _mm256_cmpeq_epi16(v, stop[1])),
                            _mm256_cmpeq_epi16(v, stop[2]));
        return _mm256_cmpeq_epi16(_mm256_or_si256(out, _mm256_and_si256(stops, useStops)), _mm256_setzero_si256());
    }
    RV_AVX2_INLINE uint32_t operator()(const uint8_t* p) const noexcept {
        const __m256i in = _mm256_packs_epi16(sixteen(p), sixteen(p + 32));
        return uint32_t(_mm256_movemask_epi8(_mm256_permute4x64_epi64(in, 0xD8)));
    }
};

template <class Block, class Test>
RV_AVX2 void maskRow(const uint8_t* pRow, uint64_t* pMask, size_t n, const Test& test) noexcept {
    eachMaskWord(pRow, pMask, n, Block(test));
}
RV_AVX2 int32_t* spansBmi(const uint64_t* pMask, size_t n, int32_t* pSpans) noexcept {
    return spansOfMask<true>(pMask, n, pSpans);
}

const MaskOps kAvx2Masks{
    {nullptr, maskBits, maskIndices<2>, maskIndices<3>, maskIndices<4>, maskIndices<5>, maskIndices<6>, maskIndices<7>,
     maskRow<IndexBlock, IndexTest>},
    {maskRow<PlaneBlock<ByteTest::kBox>, ByteTest>, maskRow<PlaneBlock<ByteTest::kStops>, ByteTest>,
     maskRow<PlaneBlock<ByteTest::kEither>, ByteTest>},
    {maskRow<QuadBlock<ByteTest::kBox>, ByteTest>, maskRow<QuadBlock<ByteTest::kStops>, ByteTest>},
    maskRow<WordBlock, WordTest>,
    spansBmi};
#endif

}  // namespace

const MaskOps kPlainMasks{{nullptr, maskBits, maskIndices<2>, maskIndices<3>, maskIndices<4>, maskIndices<5>,
                           maskIndices<6>, maskIndices<7>, maskIndices<8>},
                          {maskBytes<3>, maskBytes<3>, maskBytes<3>},
                          {maskBytes<4>, maskBytes<4>},
                          maskWords16,
                          spansByWords};

const MaskOps& bestMasks() noexcept {
#ifdef RV_X86
    static const MaskOps& best = cpuHasAvx2() ? kAvx2Masks : kPlainMasks;
    return best;
#else
    return kPlainMasks;
#endif
}

}  // namespace rv
