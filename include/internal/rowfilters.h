// What the files of the row filters share: sample types as types of the language, and the loops of each filter.
#pragma once

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

// The nearest value of a sample, but for what lies just above a half.
template <class T>
inline T splineSample(float y) noexcept {
    using L = std::numeric_limits<T>;
    const double d = double(y) + 0.49999;
    return d <= double(L::min()) ? L::min() : d >= double(L::max()) ? L::max() : T(d);
}

void areaRow(const WorkFormat& format, const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, bool bAlphaWeighted,
             const void* pSrc, void* pDst) noexcept;
void linearRow(const WorkFormat& format, const LinearPoint* pPoints, size_t nCount, const void* pSrc,
               void* pDst) noexcept;
// pCurves has room for two planes of nColumns pixels.
void splineRow(const WorkFormat& format, const SplinePoint* pPoints, size_t nCount, int32_t nColumns, float* pCurves,
               const void* pSrc, void* pDst) noexcept;

}  // namespace rv
