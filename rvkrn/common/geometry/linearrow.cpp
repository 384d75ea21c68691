// Straight lines between samples, along a row and between rows, for an axis that grows.
#include <algorithm>

#include "internal/rowfilters.h"
#include "internal/simd.h"

namespace rv {

void walkLinear(const RowWindow& window, LinearPoint* pPoints) noexcept {
    const uint32_t nSrc = uint32_t(window.nSrcWidth), nStep = uint32_t(window.nDstWidth) / nSrc,
                   nRest = uint32_t(window.nDstWidth) % nSrc;
    const int32_t nLast = window.nEndSrcCol - window.nFetchCol - 1;
    uint32_t nAcc = uint32_t(window.nAcc);
    int32_t i = 0;
    for (int32_t a = std::min(window.nFirstSrcCol - window.nFetchCol, nLast); i < window.nCount;
         a = std::min(a + 1, nLast)) {
        uint32_t nRun = nStep;
        nAcc += nRest;
        if (nAcc >= nSrc) nAcc -= nSrc, ++nRun;
        if (i == 0 && window.nFirstSrcCol == 0)
            for (uint32_t k = 0; k < nRun / 2 && i < window.nCount; ++k) pPoints[i++] = {a, a, 0, nRun};
        for (uint32_t k = 0; k < nRun && i < window.nCount; ++k) pPoints[i++] = {a, std::min(a + 1, nLast), k, nRun};
    }
}

namespace {

// a + floor((b - a) * k / n), which is the floor of a mean that is never negative for unsigned samples.
template <class T>
inline T between(T a, T b, uint32_t k, uint32_t n) noexcept {
    const int64_t d = (int64_t(b) - int64_t(a)) * k, q = d / n;
    return T(int64_t(a) + q - (d - q * n < 0));
}

template <class T, int Samples>
void plainPoints(const LinearPoint* pPoints, size_t nCount, const T* src, T* dst) noexcept {
    for (size_t i = 0; i < nCount; ++i, dst += Samples) {
        const T *const a = src + size_t(pPoints[i].nA) * Samples, *const b = src + size_t(pPoints[i].nB) * Samples;
        for (int c = 0; c < Samples; ++c) dst[c] = between(a[c], b[c], pPoints[i].nStep, pPoints[i].nRun);
    }
}

}  // namespace

void linearRow(const WorkFormat& format, const LinearPoint* pPoints, size_t nCount, const void* pSrc,
               void* pDst) noexcept {
    visitSample(format.type, [&]<class T>(T*) {
        visitSamples(format.nSamples, [&](auto samples) {
            plainPoints<T, samples>(pPoints, nCount, static_cast<const T*>(pSrc), static_cast<T*>(pDst));
        });
    });
}

void linearBetween(SampleType type, const void* a, const void* b, void* pDst, size_t n, uint32_t nStep,
                   uint32_t nRun) noexcept {
    visitSample(type, [&]<class T>(T*) {
        const T *const p = static_cast<const T*>(a), *const q = static_cast<const T*>(b);
        for (size_t i = 0; i < n; ++i) static_cast<T*>(pDst)[i] = between(p[i], q[i], nStep, nRun);
    });
}

}  // namespace rv
