// What the files of the row filters share: sample types as types of the language, and the loops of each filter.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <type_traits>

#include "internal/resample_.h"

namespace rv {

// Calls f with a null pointer to the type of a sample.
template <class F>
decltype(auto) visitSample(SampleType type, F&& f) {
    switch (type) {
        case SampleType::u8:
            return f(static_cast<uint8_t*>(nullptr));
        case SampleType::u16:
            return f(static_cast<uint16_t*>(nullptr));
        case SampleType::s16:
            return f(static_cast<int16_t*>(nullptr));
        default:
            return f(static_cast<uint32_t*>(nullptr));
    }
}

// Calls f with the number of samples of a pixel as a constant.
template <class F>
decltype(auto) visitSamples(int32_t nSamples, F&& f) {
    switch (nSamples) {
        case 1:
            return f(std::integral_constant<int, 1>{});
        case 3:
            return f(std::integral_constant<int, 3>{});
        default:
            return f(std::integral_constant<int, 4>{});
    }
}

// What the colours of a pixel weigh by its alpha. At 8 bits it is cut to the scale of the weights.
template <class T, class Sum>
constexpr Sum alphaWeight(Sum a, Sum w) noexcept {
    return sizeof(T) == 1 ? (a + 1) * w >> 8 : (a + 1) * w;
}

// The factors of a spline's sweep depend on nothing but how many samples ago the row was straight, and soon on nothing
// at all.
constexpr std::array<float, 8> sweepFactors() noexcept {
    std::array<float, 8> f{};
    for (size_t i = 1; i < f.size(); ++i) f[i] = -1 / (f[i - 1] + 4);
    return f;
}
constexpr std::array<float, 8> kSweepFactors = sweepFactors();
static_assert(-1 / (kSweepFactors[7] + 4) == kSweepFactors[7], "the last one repeats");

// The nearest value of a sample, but for what lies just above a half.
template <class T>
inline T splineSample(float y) noexcept {
    using L = std::numeric_limits<T>;
    const double d = double(y) + 0.49999;
    return d <= double(L::min()) ? L::min() : d >= double(L::max()) ? L::max() : T(d);
}

// Exact division of sums up to (2^nQuotientBits - 1) * d by a multiplication: sum * m >> nShift, in 64 bits. With
// m = ceil(2^nShift / d) the product is too large by sum * (m d - 2^nShift) / d, and 2^nShift is chosen above
// sum * d, so that this never reaches the next quotient.
struct Reciprocal {
    uint32_t m = 0, nShift = 0;  // m is 0 where there is none of 32 bits

    constexpr Reciprocal() = default;
    constexpr Reciprocal(uint64_t d, uint32_t nQuotientBits) noexcept {
        const uint32_t nBits = uint32_t(std::bit_width(d - 1));
        if (d == 0 || nQuotientBits + nBits > 31) return;
        nShift = nQuotientBits + 2 * nBits;
        m = uint32_t(((uint64_t(1) << nShift) + d - 1) / d);
    }
};

// The same for sums up to 255 d in 16 bits, with d from 2 to 128: (sum * m >> 16) >> nShift.
struct SmallDivision {
    static constexpr uint32_t kMost = 128;
    uint32_t m, nShift;

    constexpr explicit SmallDivision(uint32_t d) noexcept : SmallDivision(d, uint32_t(std::bit_width(d - 1)) - 1) {}
    // With the shift of a divisor that is smaller by one at most.
    constexpr SmallDivision(uint32_t d, uint32_t nGivenShift) noexcept
        : m(((uint32_t(1) << (16 + nGivenShift)) + d - 1) / d), nShift(nGivenShift) {}
};

// A sum divided by its weights, truncated, within the range of the sample; 0 for weights of 0. A quotient of doubles
// truncates to the right sample while the sum is exact: it is away from the next integer by 1 / nWeight at least. Sums
// of 32 bits are those of bytes, whose mean is one.
template <class T, class Sum>
inline T meanOf(Sum nSum, Sum nWeight) noexcept {
    using L = std::numeric_limits<T>;
    if (nWeight == 0) return 0;
    if constexpr (sizeof(Sum) == 4) {
        return T(nSum / nWeight);
    } else if constexpr (sizeof(T) < 4) {
        constexpr auto isShort = [](Sum n, Sum nMost) {
            return n <= nMost && (std::is_unsigned_v<Sum> || n >= -nMost);
        };
        if (isShort(nSum, Sum(1) << 53) && isShort(nWeight, Sum(1) << 36))
            return T(std::clamp(double(nSum) / double(nWeight), double(L::min()), double(L::max())));
    }
    return T(std::clamp<Sum>(nSum / nWeight, L::min(), L::max()));
}

// A sum of weighted samples that 64 bits don't hold, by the halves of the samples. It is exact while the weights add up
// to 2^47 at most for samples of 32 bits, 2^55 for those of 16.
struct LongSum {
    uint64_t nLow, nHigh;

    template <class T>
    void add(uint64_t nWeight, T v) noexcept {
        constexpr uint32_t kHalf = sizeof(T) * 4;
        nLow += nWeight * (v & ((uint32_t(1) << kHalf) - 1));
        nHigh += nWeight * (v >> kHalf);
    }
    template <class T>
    T mean(uint64_t nWeight) const noexcept {
        constexpr uint32_t kHalf = sizeof(T) * 4;
        if (nWeight == 0) return 0;
        return T((nHigh / nWeight << kHalf) + ((nHigh % nWeight << kHalf) + nLow) / nWeight);
    }
};
// Whether sums of samples, whose weights add up to nWeight, need one.
template <class T>
constexpr bool needsLongSum(uint64_t nWeight, bool bAlphaWeighted) noexcept {
    return std::is_unsigned_v<T> && (sizeof(T) == 4 || (sizeof(T) == 2 && bAlphaWeighted)) && nWeight > 1 << 30;
}

// ---- the plain loops ---------------------------------------------------------------------------------------------

void areaRow(const WorkFormat& format, const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, bool bAlphaWeighted,
             const void* pSrc, void* pDst) noexcept;
void linearRow(const WorkFormat& format, const LinearPoint* pPoints, size_t nCount, const void* pSrc,
               void* pDst) noexcept;
// pCurves has room for two planes of nColumns pixels.
void splineRow(const WorkFormat& format, const SplinePoint* pPoints, size_t nCount, int32_t nColumns, float* pCurves,
               const void* pSrc, void* pDst) noexcept;

// ---- the vector loops, for some types of samples -----------------------------------------------------------------
// Each prepares the stretch of a row that suits it, which may be empty, and makes that alone. Without memory for it
// there is none.

void prepareAreaBlocks(AreaBlocks& blocks, const WorkFormat& format, const AreaSpan* pSpans, size_t nCount,
                       uint32_t nWeights, int32_t nColumns) noexcept;
void areaVectors(const AreaBlocks& blocks, const WorkFormat& format, const AreaSpan* pSpans, const void* pSrc,
                 void* pDst) noexcept;

void prepareLinear8(LinearBlocks& blocks, int32_t nSamples, const LinearPoint* pPoints, size_t nCount,
                    int32_t nColumns) noexcept;
void linearRow8(const LinearBlocks& blocks, const uint8_t* pSrc, uint8_t* pDst) noexcept;

// Means of n boxes of nWide pixels in rows nStride apart: each row is divided, and then their sum; both truncate.
bool hasBoxes8(int32_t nSamples, int32_t nWide, int32_t nRows) noexcept;
void boxMeans8(int32_t nSamples, int32_t nWide, const uint8_t* pSrc, size_t nStride, uint32_t nRows, uint8_t* pDst,
               size_t n) noexcept;

// Room for the planes of the row's work, in floats; 0 where the plain loops are the best.
uint64_t splinePlanes(const WorkFormat& format, int32_t nColumns, size_t nCount) noexcept;
void splineVectors(const WorkFormat& format, const SplinePoint* pPoints, size_t nCount, size_t nColumns, float* pPlanes,
                   const void* pSrc, void* pDst) noexcept;

// Between rows. They return how many of the n samples they made.
size_t linearBetween8(const uint8_t* a, const uint8_t* b, uint8_t* pDst, size_t n, uint32_t nStep,
                      uint32_t nRun) noexcept;
struct SplineRows {
    const void *p0, *p1, *p2, *p3;
    float t, u, fCurve1, fCurve2;
};
size_t splineBetweenVectors(SampleType type, const SplineRows& rows, void* pDst, size_t n) noexcept;

}  // namespace rv
