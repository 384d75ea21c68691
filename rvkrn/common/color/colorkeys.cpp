// Rows of 15-bit colour keys: the step that counting colours and looking them up have in common.
#include "internal/palette_.h"
#include "internal/simd.h"

#ifdef RV_X86
#include <immintrin.h>
#endif

namespace rv {

RV_CLONES void keys32Row(const uint8_t* p, uint16_t* pKeys, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) pKeys[i] = uint16_t(colorKey(loadLittle<uint32_t>(p + i * 4)));
}

namespace {

void keys24Plain(const uint8_t* p, uint16_t* pKeys, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i, p += 3)
        pKeys[i] = uint16_t(colorKey(p[0] | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16));
}

#ifdef RV_X86
// The keys of eight pixels, which stand in twelve bytes of either half of 16; four bytes past them are read.
RV_AVX2 inline __m256i keysOf8(const uint8_t* p) noexcept {
    const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                            0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12));
    const __m256i v = _mm256_shuffle_epi8(_mm256_set_m128i(high, low), spread);
    const __m256i red = _mm256_and_si256(_mm256_srli_epi32(v, 9), _mm256_set1_epi32(0x7C00));
    const __m256i green = _mm256_and_si256(_mm256_srli_epi32(v, 6), _mm256_set1_epi32(0x3E0));
    const __m256i blue = _mm256_and_si256(_mm256_srli_epi32(v, 3), _mm256_set1_epi32(0x1F));
    return _mm256_or_si256(_mm256_or_si256(red, green), blue);
}

RV_AVX2 void keys24Avx2(const uint8_t* p, uint16_t* pKeys, size_t n) noexcept {
    for (; n >= 18; n -= 16, p += 48, pKeys += 16) {
        const __m256i both = _mm256_packus_epi32(keysOf8(p), keysOf8(p + 24));  // in halves: 0 2, 1 3
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pKeys), _mm256_permute4x64_epi64(both, 0xD8));
    }
    keys24Plain(p, pKeys, n);
}
#endif

}  // namespace

const ColorKeyRows kPlainColorKeys{keys24Plain, keys32Row};

const ColorKeyRows& bestColorKeys() noexcept {
#ifdef RV_X86
    static const ColorKeyRows best = cpuHasAvx2() ? ColorKeyRows{keys24Avx2, keys32Row} : kPlainColorKeys;
    return best;
#else
    return kPlainColorKeys;
#endif
}

}  // namespace rv
