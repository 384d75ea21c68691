// Straight lines between samples, along a row and between rows, for an axis that grows.
#include <algorithm>
#include <utility>

#include "internal/rowfilters.h"
#include "internal/simd.h"

namespace rv {

void walkLinear(const RowWindow& window, LinearPoint* pPoints) noexcept {
    const uint32_t nSrc = uint32_t(window.nSrcWidth), nStep = uint32_t(window.nDstWidth) / nSrc,
                   nRest = uint32_t(window.nDstWidth) % nSrc;
    const int32_t nLast = window.nEndSrcCol - window.nFetchCol - 1;
    uint32_t nAcc = uint32_t(window.nAcc);
    auto nSkipped = uint32_t(window.nSkipped);
    int32_t i = 0;
    const auto walk = [&](uint32_t nSteps, auto&& point) {
        uint32_t k = std::min(nSkipped, nSteps);
        for (nSkipped -= k; k < nSteps && i < window.nCount; ++k) pPoints[i++] = point(k);
    };
    bool bCentred = window.nFirstSrcCol == 0;
    for (int32_t a = std::min(window.nFirstSrcCol - window.nFetchCol, nLast); i < window.nCount;
         a = std::min(a + 1, nLast)) {
        uint32_t nRun = nStep;
        nAcc += nRest;
        if (nAcc >= nSrc) nAcc -= nSrc, ++nRun;
        if (std::exchange(bCentred, false))
            walk(nRun / 2, [&](uint32_t) { return LinearPoint{a, a, 0, nRun}; });
        walk(nRun, [&](uint32_t k) { return LinearPoint{a, std::min(a + 1, nLast), k, nRun}; });
    }
}

namespace {

// a + floor((b - a) * k / n).
template <class T>
inline T between(T a, T b, uint32_t k, uint32_t n) noexcept {
    const int64_t d = (int64_t(b) - int64_t(a)) * k, q = d / n;
    return T(int64_t(a) + q - (d - q * n < 0));
}

// The same by a multiplication, for samples up to 16 bits: as the floor of a mean of numbers that are not negative,
// which signed samples become by their offset.
template <class T>
struct Between {
    static constexpr uint32_t kOffset = std::is_signed_v<T> ? 32768 : 0;
    Reciprocal divide;
    uint32_t nRun = 0;

    Between() = default;
    explicit Between(uint32_t n) noexcept : divide(n, 16), nRun(n) {}
    explicit operator bool() const noexcept { return divide.m != 0; }
    T operator()(T a, T b, uint32_t k) const noexcept {
        const uint32_t nSum = (uint32_t(a) + kOffset) * (nRun - k) + (uint32_t(b) + kOffset) * k;
        return T((uint64_t(nSum) * divide.m >> divide.nShift) - kOffset);
    }
};

template <class T>
inline void rowBetween(const T* p, const T* q, T* dst, size_t n, uint32_t k, const Between<T>& between) noexcept {
    for (size_t i = 0; i < n; ++i) dst[i] = between(p[i], q[i], k);
}
RV_CLONES void wordsBetween(const uint16_t* p, const uint16_t* q, uint16_t* dst, size_t n, uint32_t k,
                            const Between<uint16_t>& between) noexcept {
    rowBetween(p, q, dst, n, k, between);
}
RV_CLONES void wordsBetween(const int16_t* p, const int16_t* q, int16_t* dst, size_t n, uint32_t k,
                            const Between<int16_t>& between) noexcept {
    rowBetween(p, q, dst, n, k, between);
}

template <class T, int Samples>
void plainPoints(const LinearPoint* pPoints, size_t nCount, const T* src, T* dst) noexcept {
    Between<T> runs[2];  // of a row's two lengths, one of which is even
    for (size_t i = 0; i < nCount; ++i, dst += Samples) {
        const LinearPoint& at = pPoints[i];
        const T *const a = src + size_t(at.nA) * Samples, *const b = src + size_t(at.nB) * Samples;
        if constexpr (sizeof(T) < 4) {
            Between<T>& run = runs[at.nRun % 2];
            if (run.nRun != at.nRun) run = Between<T>(at.nRun);
            if (run) {
                for (int c = 0; c < Samples; ++c) dst[c] = run(a[c], b[c], at.nStep);
                continue;
            }
        }
        for (int c = 0; c < Samples; ++c) dst[c] = between(a[c], b[c], at.nStep, at.nRun);
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

void linearBetween(SampleType type, const void* a, const void* b, void* pDst, size_t n, uint32_t nStep, uint32_t nRun,
                   FilterLoops loops) noexcept {
    visitSample(type, [&]<class T>(T*) {
        const T *const p = static_cast<const T*>(a), *const q = static_cast<const T*>(b);
        size_t i = 0;
        if constexpr (sizeof(T) == 1)
            if (loops == FilterLoops::best) i = linearBetween8(p, q, static_cast<T*>(pDst), n, nStep, nRun);
        if constexpr (sizeof(T) == 2)
            if (const Between<T> run(nRun); run && loops == FilterLoops::best)
                return wordsBetween(p, q, static_cast<T*>(pDst), n, nStep, run);
        for (; i < n; ++i) static_cast<T*>(pDst)[i] = between(p[i], q[i], nStep, nRun);
    });
}

}  // namespace rv
