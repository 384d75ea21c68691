// Splines of samples of 8 and 16 bits by vectors: a pixel's samples side by side along a row, sixteen samples between
// rows.
//
// Pixels of the planes of curvatures are four floats apart.
#include <algorithm>
#include <cstring>

#include "internal/filterblocks.h"

namespace rv {

#ifdef RV_X86
namespace {

using namespace avx2;

// Samples as floats, and their second differences times 6.
struct Planes {
    float *pSamples, *pDifferences, *pCurves, *pWork;
};

constexpr uint64_t kPad = 8;

// Reads n samples, of pixels of c.
template <class T>
inline void fillPlanes(const T* p, size_t n, size_t c, float* pSamples, float* pDifferences) noexcept {
    for (size_t i = 0; i < n; ++i) pSamples[i] = float(p[i]);
    for (size_t i = c; i < n - c; ++i)
        pDifferences[i] = float(6 * (int32_t(p[i + c]) - 2 * int32_t(p[i]) + int32_t(p[i - c])));
}
RV_CLONES void readRow(const uint8_t* p, size_t n, size_t c, const Planes& planes) noexcept {
    fillPlanes(p, n, c, planes.pSamples, planes.pDifferences);
}
RV_CLONES void readRow(const uint16_t* p, size_t n, size_t c, const Planes& planes) noexcept {
    fillPlanes(p, n, c, planes.pSamples, planes.pDifferences);
}

// The curvatures of n pixels, at least 3.
template <size_t Samples>
RV_AVX2 void solveRow(const Planes& planes, size_t n) noexcept {
    float* const pM = planes.pCurves;
    float* const pU = planes.pWork;
    const __m256 factors = _mm256_loadu_ps(kSweepFactors.data());
    const __m128i one = _mm_set1_epi32(1), seven = _mm_set1_epi32(7);
    __m128i nSince = _mm_setzero_si128();
    __m128 u = _mm_setzero_ps();
    _mm_storeu_ps(pM, u);
    for (size_t x = 1; x < n - 1; ++x) {
        const __m128 d = _mm_loadu_ps(planes.pDifferences + x * Samples);
        const __m128 bent = _mm_cmpneq_ps(d, _mm_setzero_ps());
        nSince = _mm_and_si128(_mm_min_epi32(_mm_add_epi32(nSince, one), seven), _mm_castps_si128(bent));
        const __m128 f = _mm256_castps256_ps128(_mm256_permutevar8x32_ps(factors, _mm256_castsi128_si256(nSince)));
        u = _mm_mul_ps(_mm_sub_ps(u, d), f);
        _mm_storeu_ps(pM + x * 4, f);
        _mm_storeu_ps(pU + x * 4, u);
    }
    // Back, from the pixel before the last; of pixel n - 3 the first sample alone, of pixel 1 all others.
    __m128 m = u;
    _mm_storeu_ps(pM + (n - 2) * 4, m);
    _mm_storeu_ps(pM + (n - 1) * 4, _mm_setzero_ps());
    _mm_storeu_ps(pM + n * 4, _mm_setzero_ps());
    const __m128 firstOnly = _mm_castsi128_ps(_mm_setr_epi32(-1, 0, 0, 0));
    const auto back = [&](size_t x) RV_AVX2 {
        return _mm_add_ps(_mm_loadu_ps(pU + x * 4), _mm_mul_ps(_mm_loadu_ps(pM + x * 4), m));
    };
    if (n >= 5) {
        m = _mm_blendv_ps(_mm_loadu_ps(pM + (n - 3) * 4), back(n - 3), firstOnly);
        _mm_storeu_ps(pM + (n - 3) * 4, m);
        for (size_t x = n - 4; x >= 2; --x) {
            m = back(x);
            _mm_storeu_ps(pM + x * 4, m);
        }
        _mm_storeu_ps(pM + 4, _mm_blendv_ps(back(1), _mm_loadu_ps(pM + 4), firstOnly));
    }
}

RV_AVX2_INLINE __m256 pairOf(const float* low, const float* high) noexcept {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}

template <size_t Samples>
RV_AVX2_INLINE __m256i twoPixels(const Planes& planes, const SplinePoint* p) noexcept {
    const size_t i = size_t(p[0].nA), j = size_t(p[1].nA);
    const __m256 factors = pairOf(&p[0].t, &p[1].t);
    const float *const a = planes.pSamples + i * Samples, *const b = planes.pSamples + j * Samples;
    const float *const m = planes.pCurves + i * 4, *const n = planes.pCurves + j * 4;
    __m256 y = _mm256_mul_ps(_mm256_shuffle_ps(factors, factors, 0x55), pairOf(a, b));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_shuffle_ps(factors, factors, 0x00), pairOf(a + Samples, b + Samples)));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_shuffle_ps(factors, factors, 0xAA), pairOf(m, n)));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_shuffle_ps(factors, factors, 0xFF), pairOf(m + 4, n + 4)));
    return splineIntegers(y);
}

template <class T, size_t Samples>
RV_AVX2 void pointsOfRow(const Planes& planes, const SplinePoint* pPoints, size_t nCount, T* dst) noexcept {
    size_t i = 0;
    // The last pixels of three samples have no room behind them for what is stored in excess.
    for (; i + (Samples == 3 ? 6 : 4) <= nCount; i += 4)
        storeFourPixels<Samples>(dst + i * Samples, twoPixels<Samples>(planes, pPoints + i),
                                 twoPixels<Samples>(planes, pPoints + i + 2));
    for (; i < nCount; ++i) {
        const SplinePoint two[2] = {pPoints[i], pPoints[i]};
        const __m256i v = twoPixels<Samples>(planes, two);
        T four[16];
        storeFourPixels<4>(four, v, v);
        std::memcpy(dst + i * Samples, four, Samples * sizeof(T));
    }
}

template <class T, size_t Samples>
void rowOf(const Planes& planes, const SplinePoint* pPoints, size_t nCount, size_t nColumns, const void* pSrc,
           void* pDst) noexcept {
    readRow(static_cast<const T*>(pSrc), nColumns * Samples, Samples, planes);
    solveRow<Samples>(planes, nColumns);
    pointsOfRow<T, Samples>(planes, pPoints, nCount, static_cast<T*>(pDst));
}

// ---- between rows ------------------------------------------------------------------------------------------------

RV_AVX2_INLINE __m256 floatsOf(const uint8_t* p) noexcept {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
RV_AVX2_INLINE __m256 floatsOf(const uint16_t* p) noexcept {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}

template <class T>
RV_AVX2_INLINE __m256i eightBetween(const SplineRows& rows, size_t i) noexcept {
    const auto load = [i](const void* p) RV_AVX2 { return floatsOf(static_cast<const T*>(p) + i); };
    const __m256 y0 = load(rows.p0), y1 = load(rows.p1), y2 = load(rows.p2), y3 = load(rows.p3);
    const __m256 two = _mm256_set1_ps(2);
    const __m256 e = _mm256_mul_ps(_mm256_set1_ps(1.5f), _mm256_add_ps(_mm256_sub_ps(y0, _mm256_mul_ps(two, y1)), y2));
    const __m256 g = _mm256_mul_ps(_mm256_set1_ps(6), _mm256_add_ps(_mm256_sub_ps(y1, _mm256_mul_ps(two, y2)), y3));
    const __m256 m2 = _mm256_mul_ps(_mm256_sub_ps(g, e), _mm256_set1_ps(0.266667f));
    const __m256 m1 = _mm256_sub_ps(e, _mm256_mul_ps(_mm256_set1_ps(0.25f), m2));
    __m256 y = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(rows.u), y1), _mm256_mul_ps(_mm256_set1_ps(rows.t), y2));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_set1_ps(rows.fCurve1), m1));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_set1_ps(rows.fCurve2), m2));
    return splineIntegers(y);
}

RV_AVX2_INLINE void storeSixteen(uint8_t* dst, __m256i words) noexcept {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                     _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1)));
}
RV_AVX2_INLINE void storeSixteen(uint16_t* dst, __m256i words) noexcept {
    store32(reinterpret_cast<uint8_t*>(dst), words);
}

template <class T>
RV_AVX2 size_t samplesBetween(const SplineRows& rows, T* dst, size_t n) noexcept {
    size_t i = 0;
    for (; i + 16 <= n; i += 16)
        storeSixteen(dst + i, _mm256_permute4x64_epi64(
                                  _mm256_packus_epi32(eightBetween<T>(rows, i), eightBetween<T>(rows, i + 8)), 0xD8));
    return i;
}

constexpr bool isFor(SampleType type) noexcept { return type == SampleType::u8 || type == SampleType::u16; }

}  // namespace

uint64_t splinePlanes(const WorkFormat& format, int32_t nColumns, size_t nCount) noexcept {
    if (!cpuHasAvx2() || !isFor(format.type) || format.nSamples == 1 || nColumns < 3 || nCount < 8) return 0;
    return 2 * (uint64_t(nColumns) * uint32_t(format.nSamples) + kPad) + 2 * (uint64_t(nColumns) * 4 + kPad);
}

void splineVectors(const WorkFormat& format, const SplinePoint* pPoints, size_t nCount, size_t nColumns, float* pPlanes,
                   const void* pSrc, void* pDst) noexcept {
    const size_t n = nColumns * size_t(format.nSamples);
    Planes planes;
    planes.pSamples = pPlanes;
    planes.pDifferences = planes.pSamples + n + kPad;
    planes.pCurves = planes.pDifferences + n + kPad;
    planes.pWork = planes.pCurves + nColumns * 4 + kPad;
    const bool bThree = format.nSamples == 3;
    if (format.type == SampleType::u8)
        (bThree ? rowOf<uint8_t, 3> : rowOf<uint8_t, 4>)(planes, pPoints, nCount, nColumns, pSrc, pDst);
    else
        (bThree ? rowOf<uint16_t, 3> : rowOf<uint16_t, 4>)(planes, pPoints, nCount, nColumns, pSrc, pDst);
}

size_t splineBetweenVectors(SampleType type, const SplineRows& rows, void* pDst, size_t n) noexcept {
    if (!cpuHasAvx2() || !isFor(type)) return 0;
    return type == SampleType::u8 ? samplesBetween(rows, static_cast<uint8_t*>(pDst), n)
                                  : samplesBetween(rows, static_cast<uint16_t*>(pDst), n);
}

#else

uint64_t splinePlanes(const WorkFormat&, int32_t, size_t) noexcept { return 0; }
void splineVectors(const WorkFormat&, const SplinePoint*, size_t, size_t, float*, const void*, void*) noexcept {}
size_t splineBetweenVectors(SampleType, const SplineRows&, void*, size_t) noexcept { return 0; }

#endif

}  // namespace rv
