// Filtered rows of a turned picture with AVX2, one sample of eight pixels at a time: pixels of 8, 16, 48 and 64 bits.
#include <cstring>
#include <limits>
#include <type_traits>

#include "internal/turnlanes.h"

#ifdef RV_X86

namespace rv {
namespace {

using namespace turn;

template <class T>
RV_AVX2_INLINE __m256i load8(const T* p) noexcept {
    const __m128i* const v = reinterpret_cast<const __m128i*>(p);
    if constexpr (sizeof(T) == 1) return _mm256_cvtepu8_epi32(_mm_loadl_epi64(v));
    if constexpr (sizeof(T) == 2 && !std::is_signed_v<T>) return _mm256_cvtepu16_epi32(_mm_loadu_si128(v));
    if constexpr (std::is_signed_v<T>) return _mm256_cvtepi16_epi32(_mm_loadu_si128(v));
}

// One sample of each pixel of a chunk, to where it stands in the row.
template <class T, int Count>
RV_AVX2_INLINE void storeSamples(uint8_t* p, const int32_t* pSamples, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i, p += Count * sizeof(T)) {
        const T v = T(pSamples[i]);
        std::memcpy(p, &v, sizeof v);
    }
}

template <class T>
RV_AVX2_INLINE T loadSample(const uint8_t* p) noexcept {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// c + (n - c) * w / 32768, toward c; w is at most 16384, and the product less than 2^30.
RV_AVX2_INLINE __m256i blend(__m256i c, __m256i n, __m256i w) noexcept {
    const __m256i v = _mm256_mullo_epi32(_mm256_sub_epi32(n, c), w);
    const __m256i up = _mm256_and_si256(_mm256_srai_epi32(v, 31), _mm256_set1_epi32(32767));
    return _mm256_add_epi32(c, _mm256_srai_epi32(_mm256_add_epi32(v, up), 15));
}

template <class T, int Count>
RV_AVX2 void bilinearPlanes(const TurnSource& src, TurnPoint start, TurnStep step, uint8_t* pRow, size_t nCol,
                            size_t nCount) noexcept {
    constexpr int kBytes = Count * sizeof(T);
    BilinearPlaces places;
    Lanes<T> c{}, nx{}, ny{};
    Lanes<int32_t> out;
    eachChunk<kBytes>(src, start, step, nCount,
                      [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
                          places.template locate<kBytes>(Walk8(src, at, step), n);
                          for (size_t k = 0; k < Count; ++k) {
                              const uint8_t* const p = pFirst + k * sizeof(T);
                              for (size_t i = 0; i < n; ++i) {
                                  c.v[i] = loadSample<T>(p + places.at.v[i]);
                                  nx.v[i] = loadSample<T>(p + places.besideX.v[i]);
                                  ny.v[i] = loadSample<T>(p + places.besideY.v[i]);
                              }
                              for (size_t i = 0; i < n; i += 8) {
                                  const __m256i v = blend(load8(c + i), load8(nx + i), load8(places.wx + i));
                                  storeLanes(out + i, blend(v, load8(ny + i), load8(places.wy + i)));
                              }
                              storeSamples<T, Count>(pRow + (nCol + nFrom) * kBytes + k * sizeof(T), out.v, n);
                          }
                      });
}

// Half a unit more in double precision, cut, and clamped to the sample's range.
template <class T>
RV_AVX2_INLINE __m256i roundSamples(__m256 y) noexcept {
    const __m256d half = _mm256_set1_pd(0.5);
    const __m128i low = _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(y)), half));
    const __m128i high = _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(y, 1)), half));
    return _mm256_max_epi32(_mm256_min_epi32(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1),
                                             _mm256_set1_epi32(std::numeric_limits<T>::max())),
                            _mm256_set1_epi32(std::numeric_limits<T>::min()));
}

template <class T, int Count>
RV_AVX2 void bicubicPlanes(const TurnSource& src, TurnPoint start, TurnStep step, uint8_t* pRow, size_t nCol,
                           size_t nCount) noexcept {
    constexpr int kBytes = Count * sizeof(T);
    BicubicPlaces places;
    Lanes<T> taps[4][4]{};
    Lanes<int32_t> out;
    eachChunk<kBytes>(
        src, start, step, nCount, [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
            places.template locate<kBytes>(Walk8(src, at, step), n, 1, [](size_t, __m256i) RV_AVX2 {});
            for (size_t k = 0; k < Count; ++k) {
                for (size_t j = 0; j < 4; ++j) {
                    const uint8_t* const p = pFirst + ptrdiff_t(j) * ptrdiff_t(src.nStride) + k * sizeof(T);
                    for (size_t i = 0; i < n; ++i)
                        for (size_t m = 0; m < 4; ++m) taps[j][m].v[i] = loadSample<T>(p + places.at.v[i] + m * kBytes);
                }
                for (size_t i = 0; i < n; i += 8) {
                    const Spline8 across(places.across, i), down(places.down, i);
                    __m256 rows[4];
                    for (size_t j = 0; j < 4; ++j)
                        rows[j] = across(
                            _mm256_cvtepi32_ps(load8(taps[j][0] + i)), _mm256_cvtepi32_ps(load8(taps[j][1] + i)),
                            _mm256_cvtepi32_ps(load8(taps[j][2] + i)), _mm256_cvtepi32_ps(load8(taps[j][3] + i)));
                    storeLanes(out + i, roundSamples<T>(down(rows[0], rows[1], rows[2], rows[3])));
                }
                storeSamples<T, Count>(pRow + (nCol + nFrom) * kBytes + k * sizeof(T), out.v, n);
            }
        });
}

template <class T, int Count>
TurnRow planes(TurnFilter filter) noexcept {
    return filter == TurnFilter::bilinear ? bilinearPlanes<T, Count> : bicubicPlanes<T, Count>;
}

}  // namespace

TurnRow avx2TurnPlanes(int32_t nBits, TurnFilter filter, bool bSigned) noexcept {
    switch (nBits) {
        case 8:
            return planes<uint8_t, 1>(filter);
        case 16:
            return bSigned ? planes<int16_t, 1>(filter) : planes<uint16_t, 1>(filter);
        case 48:
            return bSigned ? planes<int16_t, 3>(filter) : planes<uint16_t, 3>(filter);
        case 64:
            return bSigned ? planes<int16_t, 4>(filter) : planes<uint16_t, 4>(filter);
        default:
            return nullptr;
    }
}

}  // namespace rv
#endif
