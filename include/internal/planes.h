// Three-byte pixels as planes and back, 32 at a time: vectors of one sample each, pixels 0 to 15 in the low half and 16
// to 31 in the high half.
#pragma once

#include "internal/rowblocks.h"

#ifdef RV_X86
namespace rv::avx2 {

// Of 48 bytes in three vectors of 16, byte j of vector k belongs to sample (k + j) % 3. So each place holds each sample
// in just one of the three: blends gather a sample, and one shuffle puts it in order.
template <int Sample>
constexpr Bytes32 placesOf() {
    return bytes32([](int i) { return i % 16 % 3 == Sample ? 0xFF : 0; });
}
constexpr int vectorOf(int nSample, int j) { return (nSample + 2 * j) % 3; }  // (k + j) % 3 is nSample

// From a, b and c at the places j with j % 3 of 0, 1 and 2.
RV_AVX2_INLINE __m256i byPlaces(__m256i a, __m256i b, __m256i c) noexcept {
    static constexpr Bytes32 kOne = placesOf<1>(), kTwo = placesOf<2>();
    return _mm256_blendv_epi8(_mm256_blendv_epi8(a, b, kOne.vector()), c, kTwo.vector());
}

template <int Sample>
constexpr Bytes32 gatherOrder() {
    return bytes32([](int i) { return (i % 16 * 3 + Sample) % 16; });
}
template <int Sample, class Order>
constexpr Bytes32 spreadOrder() {
    return bytes32([](int i) { return Order::byteOf((16 * vectorOf(Sample, i % 16) + i % 16) / 3); });
}

// The planes of the first, second and third byte.
RV_AVX2_INLINE void loadPlanes(const uint8_t* p, __m256i (&v)[3]) noexcept {
    static constexpr Bytes32 kOrder0 = gatherOrder<0>(), kOrder1 = gatherOrder<1>(), kOrder2 = gatherOrder<2>();
    const __m256i t0 = loadPair(p, p + 48), t1 = loadPair(p + 16, p + 64), t2 = loadPair(p + 32, p + 80);
    v[0] = _mm256_shuffle_epi8(byPlaces(t0, t2, t1), kOrder0.vector());
    v[1] = _mm256_shuffle_epi8(byPlaces(t1, t0, t2), kOrder1.vector());
    v[2] = _mm256_shuffle_epi8(byPlaces(t2, t1, t0), kOrder2.vector());
}

// Where in each half of its plane a pixel of 0 to 15 stands.
struct InOrder {
    static constexpr int byteOf(int nPixel) { return nPixel; }
};
struct EvenThenOdd {
    static constexpr int byteOf(int nPixel) { return nPixel % 2 * 8 + nPixel / 2; }
};

// The way back, from planes in that order.
template <class Order>
RV_AVX2_INLINE void storePlanes(uint8_t* p, __m256i first, __m256i second, __m256i third) noexcept {
    static constexpr Bytes32 kOrder0 = spreadOrder<0, Order>(), kOrder1 = spreadOrder<1, Order>(),
                             kOrder2 = spreadOrder<2, Order>();
    const __m256i a = _mm256_shuffle_epi8(first, kOrder0.vector()), b = _mm256_shuffle_epi8(second, kOrder1.vector()),
                  c = _mm256_shuffle_epi8(third, kOrder2.vector());
    __m256i t[3] = {byPlaces(a, b, c), byPlaces(b, c, a), byPlaces(c, a, b)};
    fromThirds(t);
    for (int k = 0; k < 3; ++k) store32(p + k * 32, t[k]);
}

}  // namespace rv::avx2
#endif
