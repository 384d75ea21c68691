// Areas of 8-bit samples by vectors: pairs of neighbours times pairs of weights, four pixels at a time.
//
// A pixel's area is one or more loads of 16 bytes (of 8 for a single sample); weights of 0 stand where a load reaches
// past it. All areas but those at the ends of a row weigh the same, so that one reciprocal divides them.
#include <algorithm>
#include <cstring>

#include "internal/filterblocks.h"

namespace rv {

#ifdef RV_X86
namespace {

using namespace avx2;

// Source pixels of a load, and how many of them count where there are more loads than one.
constexpr int32_t loadPixels(int32_t nSamples) noexcept { return nSamples == 1 ? 8 : nSamples == 3 ? 5 : 4; }
constexpr int32_t stepPixels(int32_t nSamples) noexcept { return nSamples == 1 ? 8 : 4; }
constexpr int32_t loadBytes(int32_t nSamples) noexcept { return nSamples == 1 ? 8 : 16; }
constexpr int32_t kMostTaps = 512;

constexpr int32_t tapsOf(const AreaSpan& span) noexcept { return span.nWhole + 1 + (span.w1 > 0); }

// Sample by sample the pixels 2 Pair and 2 Pair + 1 of a load, as words side by side.
template <int Samples, int Pair>
constexpr Bytes32 pairOrder() {
    return bytes32([](int i) {
        const int c = i % 16 / 4, nAt = (2 * Pair + i % 4 / 2) * Samples + c;
        return c >= Samples || i % 2 || nAt > 15 ? kNone : nAt;
    });
}

struct Division {
    __m256i m;
    __m128i nShift;
    // Eight sums of 32 bits.
    RV_AVX2_INLINE __m256i operator()(__m256i sums) const noexcept {
        const __m256i even = _mm256_srl_epi64(_mm256_mul_epu32(sums, m), nShift),
                      odd = _mm256_srl_epi64(_mm256_mul_epu32(_mm256_srli_epi64(sums, 32), m), nShift);
        return _mm256_or_si256(even, _mm256_slli_epi64(odd, 32));
    }
};

// The sums of two pixels.
template <int Samples, int Pairs>
RV_AVX2_INLINE __m256i sumsOf(const uint8_t* p, const uint8_t* q, const int16_t* weights, size_t nLoads) noexcept {
    static constexpr Bytes32 kOrder0 = pairOrder<Samples, 0>(), kOrder1 = pairOrder<Samples, 1>(),
                             kOrder2 = pairOrder<Samples, 2>();
    __m256i sums = _mm256_setzero_si256();
    for (size_t i = 0; i < nLoads; ++i) {
        const auto* const w = reinterpret_cast<const uint8_t*>(weights + i * 8);
        const __m256i pixels = loadPair(p, q), two = Pairs == 3 ? load32(w) : loadPair(w, w + nLoads * 16);
        const __m256i s0 =
            _mm256_madd_epi16(_mm256_shuffle_epi8(pixels, kOrder0.vector()), _mm256_shuffle_epi32(two, 0x00));
        const __m256i s1 =
            _mm256_madd_epi16(_mm256_shuffle_epi8(pixels, kOrder1.vector()), _mm256_shuffle_epi32(two, 0x55));
        sums = _mm256_add_epi32(sums, _mm256_add_epi32(s0, s1));
        if constexpr (Pairs == 3)
            sums = _mm256_add_epi32(sums, _mm256_madd_epi16(_mm256_shuffle_epi8(pixels, kOrder2.vector()),
                                                            _mm256_shuffle_epi32(two, 0xAA)));
        p += stepPixels(Samples) * Samples, q += stepPixels(Samples) * Samples;
    }
    return sums;
}

// Four pixels a turn. Those of three samples are stored with four bytes more, which the next ones overwrite.
template <int Samples, int Pairs>
RV_AVX2 void colorAreas(const AreaBlocks& blocks, const AreaSpan* pSpans, const uint8_t* src, uint8_t* dst) noexcept {
    const Division divide{_mm256_set1_epi64x(int64_t(blocks.m)), _mm_cvtsi32_si128(int(blocks.nShift))};
    const size_t nLoads = Pairs == 3 ? 1 : blocks.nLoads;
    const int16_t* w = blocks.weights.get();
    for (size_t i = blocks.stretch.nFrom; i < blocks.stretch.nTo; i += 4, w += nLoads * 32) {
        const auto at = [&](size_t k) { return src + size_t(pSpans[i + k].nFirst) * Samples; };
        const __m256i a = divide(sumsOf<Samples, Pairs>(at(0), at(1), w, nLoads)),
                      b = divide(sumsOf<Samples, Pairs>(at(2), at(3), w + nLoads * 16, nLoads));
        storeFourPixels<Samples>(dst + i * Samples, a, b);
    }
}

RV_AVX2_INLINE __m128i sumsOfOne(const uint8_t* p, const int16_t* w, size_t nLoads) noexcept {
    __m128i sums = _mm_setzero_si128();
    for (size_t i = 0; i < nLoads; ++i, p += 8, w += 8)
        sums =
            _mm_add_epi32(sums, _mm_madd_epi16(_mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))),
                                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(w))));
    return sums;
}

RV_AVX2 void grayAreas(const AreaBlocks& blocks, const AreaSpan* pSpans, const uint8_t* src, uint8_t* dst) noexcept {
    const Division divide{_mm256_set1_epi64x(int64_t(blocks.m)), _mm_cvtsi32_si128(int(blocks.nShift))};
    const size_t nLoads = blocks.nLoads;
    const int16_t* w = blocks.weights.get();
    for (size_t i = blocks.stretch.nFrom; i < blocks.stretch.nTo; i += 4) {
        __m128i s[4];
        for (size_t k = 0; k < 4; ++k, w += nLoads * 8) s[k] = sumsOfOne(src + pSpans[i + k].nFirst, w, nLoads);
        const __m128i sums = _mm_hadd_epi32(_mm_hadd_epi32(s[0], s[1]), _mm_hadd_epi32(s[2], s[3]));
        const __m128i q = _mm256_castsi256_si128(divide(_mm256_castsi128_si256(sums)));
        const __m128i words = _mm_packus_epi32(q, q);
        const int32_t n = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(dst + i, &n, 4);
    }
}

// ---- whole boxes -------------------------------------------------------------------------------------------------

// The means of boxes a few samples wide in each of nRows rows. The rows of a box are divided one by one, as they would
// be if they were resized before they are summed.
struct Boxes {
    size_t nStride;
    uint32_t nRows;
};

struct RowDivision {
    __m256i m;
    __m128i nShift;
    RV_AVX2 explicit RowDivision(uint32_t nRows) noexcept
        : m(_mm256_set1_epi16(int16_t(SmallDivision(nRows).m))),
          nShift(_mm_cvtsi32_si128(int(SmallDivision(nRows).nShift))) {}
    RV_AVX2_INLINE __m256i operator()(__m256i words) const noexcept {
        return _mm256_srl_epi16(_mm256_mulhi_epu16(words, m), nShift);
    }
};

// Sums of up to four samples a dword, divided.
template <int Wide>
RV_AVX2_INLINE __m256i meansOf(__m256i bytes) noexcept {
    const __m256i pairs = _mm256_maddubs_epi16(bytes, _mm256_set1_epi8(1));
    const __m256i sums = _mm256_madd_epi16(pairs, _mm256_set1_epi16(1));
    constexpr SmallDivision divide(Wide);
    if constexpr ((Wide & (Wide - 1)) == 0) return _mm256_srli_epi32(sums, Wide / 2);
    return _mm256_srli_epi16(_mm256_mulhi_epu16(sums, _mm256_set1_epi16(int16_t(divide.m))), int(divide.nShift));
}

// They return how many boxes they made: here 32 a turn, of four samples.
RV_AVX2 size_t grayBoxes(const Boxes& boxes, const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    const RowDivision divide(boxes.nRows);
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        __m256i sums[4] = {};
        for (uint32_t y = 0; y < boxes.nRows; ++y)
            for (size_t k = 0; k < 4; ++k)
                sums[k] = _mm256_add_epi32(sums[k], meansOf<4>(load32(src + y * boxes.nStride + i * 4 + k * 32)));
        const __m256i bytes = _mm256_packus_epi16(divide(_mm256_packus_epi32(sums[0], sums[1])),
                                                  divide(_mm256_packus_epi32(sums[2], sums[3])));
        store32(dst + i, _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    }
    return i;
}

// Four a turn; a load may reach two boxes past its own.
template <int Samples, int Wide>
RV_AVX2 size_t colorBoxes(const Boxes& boxes, const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    static constexpr Bytes32 kOrder = bytes32([](int i) {
        const int c = i % 16 / 4, x = i % 4;
        return c >= Samples || x >= Wide ? kNone : x * Samples + c;
    });
    constexpr size_t kBox = Samples * Wide;
    const RowDivision divide(boxes.nRows);
    const __m256i order = kOrder.vector();
    size_t i = 0;
    for (; i + 6 <= n; i += 4) {
        __m256i a = _mm256_setzero_si256(), b = a;
        const uint8_t* p = src + i * kBox;
        for (uint32_t y = 0; y < boxes.nRows; ++y, p += boxes.nStride) {
            a = _mm256_add_epi32(a, meansOf<Wide>(_mm256_shuffle_epi8(loadPair(p, p + kBox), order)));
            b = _mm256_add_epi32(b, meansOf<Wide>(_mm256_shuffle_epi8(loadPair(p + 2 * kBox, p + 3 * kBox), order)));
        }
        storeFourPixels<Samples>(dst + i * Samples, divide(_mm256_packus_epi32(a, b)));
    }
    return i;
}

using BoxLoop = size_t (*)(const Boxes&, const uint8_t*, uint8_t*, size_t) noexcept;

BoxLoop boxLoop(int32_t nSamples, int32_t nWide) noexcept {
    if (nSamples == 1) return nWide == 4 ? grayBoxes : nullptr;
    if (nWide == 2) return nSamples == 3 ? colorBoxes<3, 2> : colorBoxes<4, 2>;
    if (nWide == 3) return nSamples == 3 ? colorBoxes<3, 3> : colorBoxes<4, 3>;
    if (nWide == 4) return nSamples == 3 ? colorBoxes<3, 4> : colorBoxes<4, 4>;
    return nullptr;
}

}  // namespace

void prepareAreas8(AreaBlocks& blocks, int32_t nSamples, const AreaSpan* pSpans, size_t nCount, uint32_t nWeights,
                   int32_t nColumns) noexcept {
    if (!cpuHasAvx2() || nCount < 8) return;
    // The middle of the row has the common weight. What lies before and behind it is left to the plain loops, and at
    // least two pixels at its end, which take what is stored in excess.
    const uint64_t nCommon = pSpans[nCount / 2].weight(nWeights);
    const Reciprocal divide(nCommon, 8);
    if (!divide.m || nCommon > UINT32_MAX / 256) return;
    size_t nFrom = 0, nTo = nCount - 2;
    while (nFrom < nTo && pSpans[nFrom].weight(nWeights) != nCommon) ++nFrom;
    size_t n = nFrom;
    int32_t nTaps = 0;
    for (; n < nTo && pSpans[n].weight(nWeights) == nCommon; ++n) nTaps = std::max(nTaps, tapsOf(pSpans[n]));
    nTo = n;
    if (nTaps > kMostTaps) return;
    const int32_t nStep = stepPixels(nSamples);
    const size_t nLoads = nTaps <= loadPixels(nSamples) ? 1 : size_t((nTaps + nStep - 1) / nStep);
    const int64_t nReach = int64_t(nLoads - 1) * nStep * nSamples + loadBytes(nSamples);  // bytes that are read
    while (nTo > nFrom && int64_t(pSpans[nTo - 1].nFirst) * nSamples + nReach > int64_t(nColumns) * nSamples) --nTo;
    nTo = nFrom + (nTo - nFrom) / 4 * 4;
    if (nTo == nFrom || !blocks.weights.allocateCleared(uint64_t(nTo - nFrom) * nLoads * 8)) return;
    blocks.stretch = {nFrom, nTo};
    blocks.nLoads = nLoads;
    blocks.m = divide.m;
    blocks.nShift = divide.nShift;
    int16_t* w = blocks.weights.get();
    for (size_t i = nFrom; i < nTo; ++i, w += nLoads * 8) {
        const AreaSpan& span = pSpans[i];
        // Tap j stands in load j / nStep; a single load has up to five of them.
        const auto put = [&](int32_t j, uint32_t n1) {
            const int32_t nLoad = nLoads == 1 ? 0 : j / nStep;
            w[nLoad * 8 + j - nLoad * nStep] = int16_t(n1);
        };
        put(0, span.w0);
        for (int32_t j = 1; j <= span.nWhole; ++j) put(j, nWeights);
        if (span.w1) put(span.nWhole + 1, span.w1);
    }
}

void areaRow8(const AreaBlocks& blocks, int32_t nSamples, const AreaSpan* pSpans, const uint8_t* pSrc,
              uint8_t* pDst) noexcept {
    if (nSamples == 1)
        grayAreas(blocks, pSpans, pSrc, pDst);
    else if (nSamples == 4)
        colorAreas<4, 2>(blocks, pSpans, pSrc, pDst);
    else if (blocks.nLoads == 1)
        colorAreas<3, 3>(blocks, pSpans, pSrc, pDst);
    else
        colorAreas<3, 2>(blocks, pSpans, pSrc, pDst);
}

bool hasBoxes8(int32_t nSamples, int32_t nWide, int32_t nRows) noexcept {
    return cpuHasAvx2() && nRows >= 2 && nRows <= int32_t(SmallDivision::kMost) && boxLoop(nSamples, nWide);
}

void boxMeans8(int32_t nSamples, int32_t nWide, const uint8_t* pSrc, size_t nStride, uint32_t nRows, uint8_t* pDst,
               size_t n) noexcept {
    const size_t c = size_t(nSamples);
    for (size_t i = boxLoop(nSamples, nWide)({nStride, nRows}, pSrc, pDst, n) * c; i < n * c; ++i) {
        uint32_t nSum = 0;
        for (uint32_t y = 0; y < nRows; ++y) {
            const uint8_t* const p = pSrc + y * nStride + i / c * size_t(nWide) * c + i % c;
            uint32_t nRow = 0;
            for (size_t x = 0; x < size_t(nWide); ++x) nRow += p[x * c];
            nSum += nRow / uint32_t(nWide);
        }
        pDst[i] = uint8_t(nSum / nRows);
    }
}

#else

bool hasBoxes8(int32_t, int32_t, int32_t) noexcept { return false; }
void boxMeans8(int32_t, int32_t, const uint8_t*, size_t, uint32_t, uint8_t*, size_t) noexcept {}
void prepareAreas8(AreaBlocks&, int32_t, const AreaSpan*, size_t, uint32_t, int32_t) noexcept {}
void areaRow8(const AreaBlocks&, int32_t, const AreaSpan*, const uint8_t*, uint8_t*) noexcept {}

#endif

}  // namespace rv
