// What row kernels are made of: the loops over pixels and blocks that make them safe in place, and the AVX2 moves of
// three-byte pixels.
#pragma once

#include <cstddef>
#include <cstdint>

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

// A block kernel is an object with kPixels, kSrcBytes and kDstBytes, called with the first byte of each block. It loads
// its source bytes, and no others, before it stores its destination bytes, and no others. So the order of the blocks is
// all that it takes to work in place: a row that grows goes from the last block back, with the rest of it first.
template <class Block, class Rest>
RV_AVX2_INLINE void eachBlock(const uint8_t* src, uint8_t* dst, size_t n, const Block& block,
                              const Rest& rest) noexcept {
    const size_t nBlocks = n / Block::kPixels, nRest = n % Block::kPixels;
    const uint8_t* const srcRest = src + nBlocks * Block::kSrcBytes;
    uint8_t* const dstRest = dst + nBlocks * Block::kDstBytes;
    if (Block::kDstBytes > Block::kSrcBytes && src == dst) {
        if (nRest) rest(srcRest, dstRest, nRest);
        for (size_t i = nBlocks; i-- > 0;) block(src + i * Block::kSrcBytes, dst + i * Block::kDstBytes);
    } else {
        for (size_t i = 0; i < nBlocks; ++i) block(src + i * Block::kSrcBytes, dst + i * Block::kDstBytes);
        if (nRest) rest(srcRest, dstRest, nRest);
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

// The high bytes of 32 samples of 16 bits.
RV_AVX2_INLINE __m256i highBytes(const uint8_t* s) noexcept {
    const __m256i low = _mm256_srli_epi16(loadPair(s, s + 32), 8),
                  high = _mm256_srli_epi16(loadPair(s + 16, s + 48), 8);
    return _mm256_packus_epi16(low, high);
}

// A constant vector from a rule for its bytes. In a shuffle kNone gives 0.
struct alignas(32) Bytes32 {
    uint8_t b[32];
    RV_AVX2_INLINE __m256i vector() const noexcept { return _mm256_load_si256(reinterpret_cast<const __m256i*>(b)); }
};
constexpr int kNone = 0x80;
template <class Rule>
consteval Bytes32 bytes32(Rule rule) {
    Bytes32 v{};
    for (int i = 0; i < 32; ++i) v.b[i] = uint8_t(rule(i));
    return v;
}

// The bytes of eight three-byte pixels, which begin nLow bytes into the low half and nHigh bytes into the high half, as
// eight dwords with a fourth byte of 0.
consteval Bytes32 spread24(int nLow, int nHigh, bool bSwap) {
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
