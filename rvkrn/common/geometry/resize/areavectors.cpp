// Areas of samples of 8 and 16 bits by vectors: pairs of neighbours times pairs of weights.
//
// A pixel's area is one or more loads of up to 16 bytes; weights of 0 stand where a load reaches past it. All areas but
// those at the ends of a row weigh the same, so that one reciprocal divides them. Samples of 16 bits are multiplied as
// signed ones, and their sum has the offset put back.
#include <algorithm>
#include <cstring>

#include "internal/filterblocks.h"

namespace rv {

#ifdef RV_X86
namespace {

using namespace avx2;

// Source pixels of a load, and how many of them count where there are more loads than one.
constexpr int32_t loadPixels(int32_t nBytes, int32_t nSamples) noexcept {
    if (nSamples == 1) return 8;
    return nBytes == 2 ? 2 : nSamples == 3 ? 5 : 4;
}
constexpr int32_t stepPixels(int32_t nBytes, int32_t nSamples) noexcept {
    return nSamples == 1 ? 8 : nBytes == 2 ? 2 : 4;
}
constexpr int32_t loadBytes(int32_t nBytes, int32_t nSamples) noexcept { return nBytes == 1 && nSamples == 1 ? 8 : 16; }
constexpr int32_t kMostTaps = 512;

constexpr int32_t tapsOf(const AreaSpan& span) noexcept { return span.nWhole + 1 + (span.w1 > 0); }

// Sample by sample the pixels 2 Pair and 2 Pair + 1 of a load, as words side by side.
template <class T, int Samples, int Pair>
constexpr Bytes32 pairOrder() {
    return bytes32([](int i) {
        constexpr int nBytes = int(sizeof(T));
        const int c = i % 16 / 4, nPart = i % 2, nAt = ((2 * Pair + i % 4 / 2) * Samples + c) * nBytes + nPart;
        return c >= Samples || nPart >= nBytes || nAt > 15 ? kNone : nAt;
    });
}

template <class T>
RV_AVX2_INLINE __m256i signedWords(__m256i words) noexcept {
    return sizeof(T) == 2 ? _mm256_xor_si256(words, _mm256_set1_epi16(INT16_MIN)) : words;
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

// The sums of two pixels. Pairs is how many of them a load has.
template <class T, int Samples, int Pairs>
RV_AVX2_INLINE __m256i sumsOf(const T* p, const T* q, const int16_t* weights, size_t nLoads) noexcept {
    static constexpr Bytes32 kOrder0 = pairOrder<T, Samples, 0>(), kOrder1 = pairOrder<T, Samples, 1>(),
                             kOrder2 = pairOrder<T, Samples, 2>();
    constexpr size_t kStep = size_t(stepPixels(sizeof(T), Samples) * Samples);
    __m256i sums = _mm256_setzero_si256();
    for (size_t i = 0; i < nLoads; ++i, p += kStep, q += kStep) {
        const auto* const w = reinterpret_cast<const uint8_t*>(weights + i * 8);
        const __m256i pixels = loadPair(reinterpret_cast<const uint8_t*>(p), reinterpret_cast<const uint8_t*>(q)),
                      two = Pairs == 3 ? load32(w) : loadPair(w, w + nLoads * 16);
        const auto add = [&](const Bytes32& order, __m256i pairWeights) RV_AVX2 {
            const __m256i words = signedWords<T>(_mm256_shuffle_epi8(pixels, order.vector()));
            sums = _mm256_add_epi32(sums, _mm256_madd_epi16(words, pairWeights));
        };
        add(kOrder0, _mm256_shuffle_epi32(two, 0x00));
        if constexpr (Pairs > 1) add(kOrder1, _mm256_shuffle_epi32(two, 0x55));
        if constexpr (Pairs > 2) add(kOrder2, _mm256_shuffle_epi32(two, 0xAA));
    }
    return sums;
}

// What the sums of signed samples lack, and the division.
template <class T>
struct Means {
    Division divide;
    __m256i nOffset;
    RV_AVX2 explicit Means(const AreaBlocks& blocks) noexcept
        : divide{_mm256_set1_epi64x(int64_t(blocks.m)), _mm_cvtsi32_si128(int(blocks.nShift))},
          nOffset(_mm256_set1_epi32(sizeof(T) == 2 ? int(blocks.nWeight << 15) : 0)) {}
    RV_AVX2_INLINE __m256i operator()(__m256i sums) const noexcept { return divide(_mm256_add_epi32(sums, nOffset)); }
};

// Four pixels a turn. Those of three samples are stored with four bytes more, which the next ones overwrite.
template <class T, int Samples, int Pairs>
RV_AVX2 void colorAreas(const AreaBlocks& blocks, const AreaSpan* pSpans, const T* src, T* dst) noexcept {
    const Means<T> means(blocks);
    const size_t nLoads = Pairs == 3 ? 1 : blocks.nLoads;
    const int16_t* w = blocks.weights.get();
    for (size_t i = blocks.stretch.nFrom; i < blocks.stretch.nTo; i += 4, w += nLoads * 32) {
        const auto at = [&](size_t k) { return src + size_t(pSpans[i + k].nFirst) * Samples; };
        const __m256i a = means(sumsOf<T, Samples, Pairs>(at(0), at(1), w, nLoads)),
                      b = means(sumsOf<T, Samples, Pairs>(at(2), at(3), w + nLoads * 16, nLoads));
        storeFourPixels<Samples>(dst + i * Samples, a, b);
    }
}

RV_AVX2_INLINE __m128i eightWords(const uint8_t* p) noexcept {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
RV_AVX2_INLINE __m128i eightWords(const uint16_t* p) noexcept {
    return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi16(INT16_MIN));
}

template <class T>
RV_AVX2_INLINE __m128i sumsOfOne(const T* p, const int16_t* w, size_t nLoads) noexcept {
    __m128i sums = _mm_setzero_si128();
    for (size_t i = 0; i < nLoads; ++i, p += 8, w += 8)
        sums = _mm_add_epi32(sums, _mm_madd_epi16(eightWords(p), _mm_loadu_si128(reinterpret_cast<const __m128i*>(w))));
    return sums;
}

template <class T>
RV_AVX2 void grayAreas(const AreaBlocks& blocks, const AreaSpan* pSpans, const T* src, T* dst) noexcept {
    const Means<T> means(blocks);
    const size_t nLoads = blocks.nLoads;
    const int16_t* w = blocks.weights.get();
    for (size_t i = blocks.stretch.nFrom; i < blocks.stretch.nTo; i += 4) {
        __m128i s[4];
        for (size_t k = 0; k < 4; ++k, w += nLoads * 8) s[k] = sumsOfOne(src + pSpans[i + k].nFirst, w, nLoads);
        const __m128i sums = _mm_hadd_epi32(_mm_hadd_epi32(s[0], s[1]), _mm_hadd_epi32(s[2], s[3]));
        const __m128i q = _mm256_castsi256_si128(means(_mm256_castsi128_si256(sums)));
        __m128i out = _mm_packus_epi32(q, q);
        if constexpr (sizeof(T) == 1) out = _mm_packus_epi16(out, out);
        alignas(16) uint8_t bytes[16];
        _mm_store_si128(reinterpret_cast<__m128i*>(bytes), out);
        std::memcpy(dst + i, bytes, 4 * sizeof(T));
    }
}

template <class T>
void areasOf(const AreaBlocks& blocks, int32_t nSamples, const AreaSpan* pSpans, const void* pSrc,
             void* pDst) noexcept {
    constexpr int kPairs = sizeof(T) == 1 ? 2 : 1;
    const T* const src = static_cast<const T*>(pSrc);
    T* const dst = static_cast<T*>(pDst);
    if (nSamples == 1)
        grayAreas(blocks, pSpans, src, dst);
    else if (nSamples == 4)
        colorAreas<T, 4, kPairs>(blocks, pSpans, src, dst);
    else if (kPairs == 2 && blocks.nLoads == 1)
        colorAreas<T, 3, 3>(blocks, pSpans, src, dst);
    else
        colorAreas<T, 3, kPairs>(blocks, pSpans, src, dst);
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

void prepareAreaBlocks(AreaBlocks& blocks, const WorkFormat& format, const AreaSpan* pSpans, size_t nCount,
                       uint32_t nWeights, int32_t nColumns) noexcept {
    if (!cpuHasAvx2() || nCount < 8 || (format.type != SampleType::u8 && format.type != SampleType::u16)) return;
    const int32_t nBytes = int32_t(bytesOf(format.type)), nSamples = format.nSamples;
    // The middle of the row has the common weight. What lies before and behind it is left to the plain loops, and at
    // least two pixels at its end, which take what is stored in excess.
    const uint64_t nCommon = pSpans[nCount / 2].weight(nWeights);
    const uint32_t nBits = uint32_t(nBytes) * 8;
    const Reciprocal divide(nCommon, nBits);
    if (!divide.m || nCommon > UINT32_MAX >> nBits) return;
    size_t nFrom = 0, nTo = nCount - 2;
    while (nFrom < nTo && pSpans[nFrom].weight(nWeights) != nCommon) ++nFrom;
    size_t n = nFrom;
    int32_t nTaps = 0;
    for (; n < nTo && pSpans[n].weight(nWeights) == nCommon; ++n) nTaps = std::max(nTaps, tapsOf(pSpans[n]));
    nTo = n;
    if (nTaps > kMostTaps) return;
    const int32_t nStep = stepPixels(nBytes, nSamples);
    const size_t nLoads = nTaps <= loadPixels(nBytes, nSamples) ? 1 : size_t((nTaps + nStep - 1) / nStep);
    const int64_t nPixel = nBytes * nSamples,
                  nReach = int64_t(nLoads - 1) * nStep * nPixel + loadBytes(nBytes, nSamples);  // bytes that are read
    while (nTo > nFrom && pSpans[nTo - 1].nFirst * nPixel + nReach > nColumns * nPixel) --nTo;
    nTo = nFrom + (nTo - nFrom) / 4 * 4;
    if (nTo == nFrom || !blocks.weights.allocateCleared(uint64_t(nTo - nFrom) * nLoads * 8)) return;
    blocks.stretch = {nFrom, nTo};
    blocks.nLoads = nLoads;
    blocks.nWeight = uint32_t(nCommon);
    blocks.m = divide.m;
    blocks.nShift = divide.nShift;
    int16_t* w = blocks.weights.get();
    for (size_t i = nFrom; i < nTo; ++i, w += nLoads * 8) {
        const AreaSpan& span = pSpans[i];
        // Tap j stands in load j / nStep; a single load may have one more.
        const auto put = [&](int32_t j, uint32_t nWeight) {
            const int32_t nLoad = nLoads == 1 ? 0 : j / nStep;
            w[nLoad * 8 + j - nLoad * nStep] = int16_t(nWeight);
        };
        put(0, span.w0);
        for (int32_t j = 1; j <= span.nWhole; ++j) put(j, nWeights);
        if (span.w1) put(span.nWhole + 1, span.w1);
    }
}

void areaVectors(const AreaBlocks& blocks, const WorkFormat& format, const AreaSpan* pSpans, const void* pSrc,
                 void* pDst) noexcept {
    if (format.type == SampleType::u8)
        areasOf<uint8_t>(blocks, format.nSamples, pSpans, pSrc, pDst);
    else
        areasOf<uint16_t>(blocks, format.nSamples, pSpans, pSrc, pDst);
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
void prepareAreaBlocks(AreaBlocks&, const WorkFormat&, const AreaSpan*, size_t, uint32_t, int32_t) noexcept {}
void areaVectors(const AreaBlocks&, const WorkFormat&, const AreaSpan*, const void*, void*) noexcept {}

#endif

}  // namespace rv
