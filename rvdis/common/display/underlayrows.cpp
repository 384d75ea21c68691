// Rows of textures: greys become signed shifts of the channels, and shifts are added with saturation.
#include "internal/underlay_.h"

#include <algorithm>

#include "internal/planes.h"

namespace rv {
namespace {

void shift(uint8_t* p, const uint8_t* t, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) p[i] = uint8_t(std::clamp(p[i] + int8_t(t[i]), 0, 255));
}

void spread24(const uint8_t* gray, uint8_t* t, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) t[3 * i] = t[3 * i + 1] = t[3 * i + 2] = uint8_t(gray[i] - 128);
}

#ifdef RV_X86
RV_AVX2 void shiftAvx2(uint8_t* p, const uint8_t* t, size_t n) noexcept {
    // Bytes less 128 are signed ones, of which the sum is cut where that of the bytes is.
    const __m256i middle = _mm256_set1_epi8(-128);
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i v = _mm256_xor_si256(avx2::load32(p + i), middle);
        avx2::store32(p + i, _mm256_xor_si256(_mm256_adds_epi8(v, avx2::load32(t + i)), middle));
    }
    shift(p + i, t + i, n - i);
}

RV_AVX2 void spread24Avx2(const uint8_t* gray, uint8_t* t, size_t n) noexcept {
    const __m256i middle = _mm256_set1_epi8(-128);
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i v = _mm256_xor_si256(avx2::load32(gray + i), middle);
        avx2::storePlanes<avx2::InOrder>(t + 3 * i, v, v, v);
    }
    spread24(gray + i, t + 3 * i, n - i);
}

constexpr UnderlayKernels kAvx2Underlay{shiftAvx2, spread24Avx2};
#endif

}  // namespace

constinit const UnderlayKernels kPlainUnderlay{shift, spread24};

const UnderlayKernels& bestUnderlay() noexcept {
#ifdef RV_X86
    if (cpuHasAvx2()) return kAvx2Underlay;
#endif
    return kPlainUnderlay;
}

}  // namespace rv
