// What the vector loops of the row filters share.
#pragma once

#include "internal/rowblocks.h"
#include "internal/rowfilters.h"

#ifdef RV_X86
namespace rv::avx2 {

// Four pixels, from words: 0 and 2 in the low half, 1 and 3 in the high half. Those of three samples are stored with
// four bytes more.
template <int Samples>
RV_AVX2_INLINE void storeFourPixels(uint8_t* dst, __m256i words) noexcept {
    const __m256i bytes = _mm256_packus_epi16(words, words);
    __m128i out = _mm_unpacklo_epi32(_mm256_castsi256_si128(bytes), _mm256_extracti128_si256(bytes, 1));
    if constexpr (Samples == 3)
        out = _mm_shuffle_epi8(out, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), out);
}
// The same from dwords: pixels 0 and 1 in the halves of a, 2 and 3 in those of b.
template <int Samples>
RV_AVX2_INLINE void storeFourPixels(uint8_t* dst, __m256i a, __m256i b) noexcept {
    storeFourPixels<Samples>(dst, _mm256_packus_epi32(a, b));
}

// The same for samples of 16 bits.
template <int Samples>
RV_AVX2_INLINE void storeFourPixels(uint16_t* dst, __m256i a, __m256i b) noexcept {
    __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
    if constexpr (Samples == 3) {
        static constexpr Bytes32 kPack = bytes32([](int i) {
            return i % 16 < 6 ? i % 16 : i % 16 < 12 ? i % 16 + 2 : kNone;
        });
        words = _mm256_shuffle_epi8(words, kPack.vector());
    }
    auto* const p = reinterpret_cast<__m128i*>(dst);
    _mm_storeu_si128(p, _mm256_castsi256_si128(words));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * Samples), _mm256_extracti128_si256(words, 1));
}

// Floats to the nearest integers as splineSample has them, for samples that are clamped to 0 at least: a fraction above
// a half by less than 0.00001 falls. The fraction is exact, so that one float parts those that rise from those that
// fall.
constexpr float kRises = double(0.50001f) + 0.49999 >= 1 ? 0.50001f : 0.50001f + 0x1p-24f;
static_assert(double(kRises) + 0.49999 >= 1 && double(kRises - 0x1p-24f) + 0.49999 < 1);

RV_AVX2_INLINE __m256i splineIntegers(__m256 y) noexcept {
    const __m256 whole = _mm256_floor_ps(y);
    const __m256 rises = _mm256_cmp_ps(_mm256_sub_ps(y, whole), _mm256_set1_ps(kRises), _CMP_GE_OQ);
    return _mm256_sub_epi32(_mm256_cvttps_epi32(whole), _mm256_castps_si256(rises));
}

}  // namespace rv::avx2
#endif
