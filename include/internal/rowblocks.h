// What row kernels are made of: the loops over pixels and blocks that make them safe in place, and the AVX2 moves of
// three-byte pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>

#include "internal/rowkernels.h"
#include "internal/simd.h"

#ifdef RV_X86
#include <immintrin.h>
#endif

namespace rv {

// Calls f(source pixel, destination pixel) for each of n pixels of SrcBytes and DstBytes bytes. f reads all of the
// source pixel before it writes. A row that grows is walked from its end, so that it may grow in place.
template <size_t SrcBytes, size_t DstBytes, class F>
inline void eachPixel(const uint8_t* src, uint8_t* dst, size_t n, F f) noexcept {
    if constexpr (DstBytes > SrcBytes) {
        for (size_t i = n; i-- > 0;) f(src + i * SrcBytes, dst + i * DstBytes);
    } else {
        for (size_t i = 0; i < n; ++i) f(src + i * SrcBytes, dst + i * DstBytes);
    }
}

// The tables by theme and instruction set, each defined beside its kernels.
extern const ShuffleKernels kPlainShuffle;
extern const GrayKernels kPlainGray;
extern const PaletteKernels kPlainPalette;
extern const Packed16Kernels kPlainPacked16;
extern const AlphaKernels kPlainAlpha;

#ifdef RV_X86
extern const ShuffleKernels kAvx2Shuffle;
extern const GrayKernels kAvx2Gray;
extern const PaletteKernels kAvx2Palette;
extern const Packed16Kernels kAvx2Packed16;
extern const AlphaKernels kAvx2Alpha;

#define RV_AVX2_INLINE RV_AVX2 __attribute__((always_inline)) inline

// The fewest pixels of Block that begin and end at bytes on both sides.
template <class Block>
constexpr size_t kSteps = std::gcd(Block::kPixels, std::gcd(Block::kSrcBytes, Block::kDstBytes));
template <class Block>
constexpr size_t kStepPixels = Block::kPixels / kSteps<Block>;

// Pixels, in whole steps and at most a block, to the first one that lies at a multiple of 32 bytes, where stores do not
// straddle cache lines; 0 if there is none.
template <class Block>
size_t pixelsToAligned(const uint8_t* dst) noexcept {
    constexpr size_t kStepBytes = Block::kDstBytes / kSteps<Block>;
    constexpr size_t kPower = std::gcd(kStepBytes, size_t(32)), kOdd = kStepBytes / kPower;
    constexpr size_t kInverse = kOdd * kOdd * kOdd * kOdd * kOdd * kOdd * kOdd;  // of an odd number, modulo 32
    const size_t nAway = -reinterpret_cast<uintptr_t>(dst) % 32;
    if (nAway % kPower) return 0;
    const size_t nPixels = nAway / kPower * kInverse % (32 / kPower) * kStepPixels<Block>;
    return nPixels <= Block::kPixels ? nPixels : 0;
}

// A block kernel is an object with kPixels, kSrcBytes and kDstBytes, called with the first byte of each block. It loads
// its source bytes, and no others, before it stores its destination bytes, and no others.
//
// In place, the order of the blocks is all that it takes: a row that grows goes from the last block back. Between rows
// apart, blocks may overlap, which makes the ends of the row as fast as the rest.
template <class Block, class Rest>
RV_AVX2_INLINE void eachBlock(const uint8_t* src, uint8_t* dst, size_t n, const Block& block,
                              const Rest& rest) noexcept {
    constexpr size_t kPixels = Block::kPixels;
    // Whole steps, divided first: a row may be as long as the address space has room for.
    const auto from = [src](size_t i) { return src + i / kStepPixels<Block> * (Block::kSrcBytes / kSteps<Block>); };
    const auto to = [dst](size_t i) { return dst + i / kStepPixels<Block> * (Block::kDstBytes / kSteps<Block>); };
    // Short rows gain nothing from aligned stores; nor do rows in place, if many single pixels pay for them.
    size_t nHead = n >= 16 * kPixels ? pixelsToAligned<Block>(dst) : 0;
    if (src == dst && nHead > 8) nHead = 0;
    if (src != dst) {
        size_t i = nHead;
        if (i) block(src, dst);
        for (; i + kPixels <= n; i += kPixels) block(from(i), to(i));
        const size_t nSteps = n - n % kStepPixels<Block>;
        if (i < nSteps && nSteps >= kPixels) {
            block(from(nSteps - kPixels), to(nSteps - kPixels));
            i = nSteps;
        }
        if (i < n) rest(from(i), to(i), n - i);
    } else if (Block::kDstBytes > Block::kSrcBytes) {
        size_t i = n - (n - nHead) % kPixels;
        if (i < n) rest(from(i), to(i), n - i);
        for (; i > nHead; i -= kPixels) block(from(i - kPixels), to(i - kPixels));
        if (nHead) rest(src, dst, nHead);
    } else {
        size_t i = nHead;
        if (nHead) rest(src, dst, nHead);
        for (; i + kPixels <= n; i += kPixels) block(from(i), to(i));
        if (i < n) rest(from(i), to(i), n - i);
    }
}

template <class Block, RowKernel Plain>
RV_AVX2 void blockRow(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachBlock(src, dst, n, Block{}, Plain);
}

namespace avx2 {

RV_AVX2_INLINE __m128i load16(const uint8_t* p) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
RV_AVX2_INLINE __m256i load32(const uint8_t* p) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
RV_AVX2_INLINE __m256i loadPair(const uint8_t* low, const uint8_t* high) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
}
RV_AVX2_INLINE void store32(uint8_t* p, __m256i v) noexcept { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
RV_AVX2_INLINE void store16(uint8_t* p, __m128i v) noexcept { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// The high bytes of 16 samples of 16 bits at low, and of 16 at high.
RV_AVX2_INLINE __m256i highBytes(const uint8_t* low, const uint8_t* high) noexcept {
    return _mm256_packus_epi16(_mm256_srli_epi16(loadPair(low, high), 8),
                               _mm256_srli_epi16(loadPair(low + 16, high + 16), 8));
}

// 96 bytes as thirds of two groups of 48 bytes, which are 16 three-byte pixels each: in vector k the k-th 16 bytes of
// the first group in the low half, of the second in the high half.
RV_AVX2_INLINE void toThirds(__m256i (&v)[3]) noexcept {
    const __m256i t0 = _mm256_blend_epi32(v[0], v[1], 0xF0), t1 = _mm256_permute2x128_si256(v[0], v[2], 0x21),
                  t2 = _mm256_blend_epi32(v[1], v[2], 0xF0);
    v[0] = t0, v[1] = t1, v[2] = t2;
}
RV_AVX2_INLINE void fromThirds(__m256i (&t)[3]) noexcept {
    const __m256i v0 = _mm256_permute2x128_si256(t[0], t[1], 0x20), v1 = _mm256_blend_epi32(t[2], t[0], 0xF0),
                  v2 = _mm256_permute2x128_si256(t[1], t[2], 0x31);
    t[0] = v0, t[1] = v1, t[2] = v2;
}

// A constant vector from a rule for its bytes. In a shuffle kNone gives 0.
struct alignas(32) Bytes32 {
    uint8_t b[32];
    RV_AVX2_INLINE __m256i vector() const noexcept { return _mm256_load_si256(reinterpret_cast<const __m256i*>(b)); }
};
constexpr int kNone = 0x80;
template <class Rule>
constexpr Bytes32 bytes32(Rule rule) {
    Bytes32 v{};
    for (int i = 0; i < 32; ++i) v.b[i] = uint8_t(rule(i));
    return v;
}

// The bytes of eight three-byte pixels, which begin nLow bytes into the low half and nHigh bytes into the high half, as
// eight dwords with a fourth byte of 0.
constexpr Bytes32 spread24(int nLow, int nHigh, bool bSwap) {
    return bytes32([=](int i) {
        const int c = i % 4, nPixel = i / 4 % 4;
        return c == 3 ? kNone : nPixel * 3 + (bSwap ? 2 - c : c) + (i < 16 ? nLow : nHigh);
    });
}

// 32 pixels of three bytes as four vectors of dwords with a fourth byte of 0. Most loads straddle their 24 bytes so
// that no byte crosses between the halves of a vector; the outer two stay inside the 96 bytes.
template <bool Swap>
RV_AVX2_INLINE void load24(const uint8_t* src, __m256i (&v)[4]) noexcept {
    static constexpr Bytes32 kFirst = spread24(0, 0, Swap), kInner = spread24(4, 0, Swap), kLast = spread24(4, 4, Swap);
    v[0] = _mm256_shuffle_epi8(loadPair(src, src + 12), kFirst.vector());
    v[1] = _mm256_shuffle_epi8(load32(src + 20), kInner.vector());
    v[2] = _mm256_shuffle_epi8(load32(src + 44), kInner.vector());
    v[3] = _mm256_shuffle_epi8(loadPair(src + 68, src + 80), kLast.vector());
}

// Four vectors of dwords without their fourth bytes, as 96 bytes. Swap exchanges the first and third byte.
template <bool Swap>
RV_AVX2_INLINE void store24(uint8_t* dst, const __m256i (&v)[4]) noexcept {
    static constexpr Bytes32 kPack = bytes32([](int i) {
        const int k = i % 16, c = k % 3;
        return k >= 12 ? kNone : k / 3 * 4 + (Swap ? 2 - c : c);
    });
    const __m256i pack = kPack.vector();
    // The six dwords that count are 0 to 2 and 4 to 6; each vector is turned to where its dwords go.
    const __m256i v0 =
        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v[0], pack), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    const __m256i v1 =
        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v[1], pack), _mm256_setr_epi32(2, 4, 5, 6, 3, 7, 0, 1));
    const __m256i v2 =
        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v[2], pack), _mm256_setr_epi32(5, 6, 3, 7, 0, 1, 2, 4));
    const __m256i v3 =
        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v[3], pack), _mm256_setr_epi32(3, 7, 0, 1, 2, 4, 5, 6));
    store32(dst, _mm256_blend_epi32(v0, v1, 0xC0));
    store32(dst + 32, _mm256_blend_epi32(v1, v2, 0xF0));
    store32(dst + 64, _mm256_blend_epi32(v2, v3, 0xFC));
}

}  // namespace avx2
#endif

}  // namespace rv
