// Splines of 8-bit samples by vectors: a pixel's samples side by side along a row, sixteen samples between rows.
//
// Along a row the divisors of the sweep depend on nothing but how many samples ago the row was straight, and soon on
// nothing at all: they stand in a table. Pixels of the planes are four floats apart.
#include <algorithm>
#include <array>
#include <cstring>

#include "internal/filterblocks.h"

namespace rv {

#ifdef RV_X86
namespace {

using namespace avx2;

// The factors of the sweep, from where the row is straight.
constexpr std::array<float, 8> sweepFactors() {
    std::array<float, 8> f{};
    for (size_t i = 1; i < f.size(); ++i) f[i] = -1 / (f[i - 1] + 4);
    return f;
}
constexpr std::array<float, 8> kFactors = sweepFactors();
static_assert(-1 / (kFactors[7] + 4) == kFactors[7], "the last one repeats");

// Samples as floats, and their second differences times 6.
struct Planes {
    float *pSamples, *pDifferences, *pCurves, *pWork;
};

constexpr uint64_t kPad = 8;

RV_CLONES void differences(const uint8_t* p, float* pDifferences, size_t nFrom, size_t nTo, size_t c) noexcept {
    for (size_t i = nFrom; i < nTo; ++i)
        pDifferences[i] = float(6 * (int32_t(p[i + c]) - 2 * int32_t(p[i]) + int32_t(p[i - c])));
}
RV_CLONES void toFloats(const uint8_t* p, float* pSamples, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) pSamples[i] = float(p[i]);
}

// The curvatures of n pixels, at least 3.
template <size_t Samples>
RV_AVX2 void solveRow(const Planes& planes, size_t n) noexcept {
    float* const pM = planes.pCurves;
    float* const pU = planes.pWork;
    const __m256 factors = _mm256_loadu_ps(kFactors.data());
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

template <size_t Samples>
RV_AVX2 void pointsOfRow(const Planes& planes, const SplinePoint* pPoints, size_t nCount, uint8_t* dst) noexcept {
    size_t i = 0;
    for (; i + 4 <= nCount; i += 4) {
        // The last ones have no room behind them.
        if (Samples == 3 && i + 6 > nCount) break;
        storeFourPixels<Samples>(dst + i * Samples, twoPixels<Samples>(planes, pPoints + i),
                                 twoPixels<Samples>(planes, pPoints + i + 2));
    }
    for (; i < nCount; ++i) {
        const SplinePoint two[2] = {pPoints[i], pPoints[i]};
        const __m256i v = twoPixels<Samples>(planes, two);
        uint8_t four[16];
        storeFourPixels<4>(four, v, v);
        std::memcpy(dst + i * Samples, four, Samples);
    }
}

struct RowFactors {
    float t, u, f1, f2;
};

RV_AVX2_INLINE __m256 floatsOf(const uint8_t* p) noexcept {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}

RV_AVX2_INLINE __m256i eightBetween(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, const uint8_t* p3,
                                    const RowFactors& f) noexcept {
    const __m256 y0 = floatsOf(p0), y1 = floatsOf(p1), y2 = floatsOf(p2), y3 = floatsOf(p3);
    const __m256 two = _mm256_set1_ps(2);
    const __m256 e = _mm256_mul_ps(_mm256_set1_ps(1.5f), _mm256_add_ps(_mm256_sub_ps(y0, _mm256_mul_ps(two, y1)), y2));
    const __m256 g = _mm256_mul_ps(_mm256_set1_ps(6), _mm256_add_ps(_mm256_sub_ps(y1, _mm256_mul_ps(two, y2)), y3));
    const __m256 m2 = _mm256_mul_ps(_mm256_sub_ps(g, e), _mm256_set1_ps(0.266667f));
    const __m256 m1 = _mm256_sub_ps(e, _mm256_mul_ps(_mm256_set1_ps(0.25f), m2));
    __m256 y = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(f.u), y1), _mm256_mul_ps(_mm256_set1_ps(f.t), y2));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_set1_ps(f.f1), m1));
    y = _mm256_add_ps(y, _mm256_mul_ps(_mm256_set1_ps(f.f2), m2));
    return splineIntegers(y);
}

RV_AVX2 size_t rowBetween(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, const uint8_t* p3, uint8_t* dst,
                          size_t n, const RowFactors& f) noexcept {
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i words = _mm256_permute4x64_epi64(
            _mm256_packus_epi32(eightBetween(p0 + i, p1 + i, p2 + i, p3 + i, f),
                                eightBetween(p0 + i + 8, p1 + i + 8, p2 + i + 8, p3 + i + 8, f)),
            0xD8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i),
                         _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1)));
    }
    return i;
}

}  // namespace

uint64_t splinePlanes8(int32_t nSamples, int32_t nColumns, size_t nCount) noexcept {
    if (!cpuHasAvx2() || nSamples == 1 || nColumns < 3 || nCount < 8) return 0;
    return 2 * (uint64_t(nColumns) * uint32_t(nSamples) + kPad) + 2 * (uint64_t(nColumns) * 4 + kPad);
}

void splineRow8(int32_t nSamples, const SplinePoint* pPoints, size_t nCount, size_t nColumns, float* pPlanes,
                const uint8_t* pSrc, uint8_t* pDst) noexcept {
    const size_t c = size_t(nSamples), n = nColumns * c;
    Planes planes;
    planes.pSamples = pPlanes;
    planes.pDifferences = planes.pSamples + n + kPad;
    planes.pCurves = planes.pDifferences + n + kPad;
    planes.pWork = planes.pCurves + nColumns * 4 + kPad;
    toFloats(pSrc, planes.pSamples, n);
    differences(pSrc, planes.pDifferences, c, n - c, c);
    if (nSamples == 3) {
        solveRow<3>(planes, nColumns);
        pointsOfRow<3>(planes, pPoints, nCount, pDst);
    } else {
        solveRow<4>(planes, nColumns);
        pointsOfRow<4>(planes, pPoints, nCount, pDst);
    }
}

size_t splineBetween8(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, const uint8_t* p3, uint8_t* pDst,
                      size_t n, float t) noexcept {
    if (!cpuHasAvx2()) return 0;
    const float u = 1 - t;
    return rowBetween(p0, p1, p2, p3, pDst, n, {t, u, (u * u * u - u) / 6, (t * t * t - t) / 6});
}

#else

uint64_t splinePlanes8(int32_t, int32_t, size_t) noexcept { return 0; }
void splineRow8(int32_t, const SplinePoint*, size_t, size_t, float*, const uint8_t*, uint8_t*) noexcept {}
size_t splineBetween8(const uint8_t*, const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t,
                      float) noexcept {
    return 0;
}

#endif

}  // namespace rv
