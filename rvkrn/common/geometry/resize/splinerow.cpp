// Natural cubic splines, along a row and between rows, for an axis that grows.
//
// A row is solved as a whole: a sweep forwards and a sweep back find the curvature at each sample. Between rows four of
// them are a spline of their own.
#include <algorithm>
#include <cstring>

#include "internal/rowfilters.h"

namespace rv {

void walkSpline(const RowWindow& window, SplinePoint* pPoints) noexcept {
    const float fScale = float(window.nSrcWidth) / float(window.nDstWidth);
    const int32_t nLast = window.nEndSrcCol - window.nFetchCol - 1;
    int32_t a = window.nFirstSrcCol - window.nFetchCol;
    // The product in float and the column can disagree at a whole number; the column is right.
    const float fPosition = float(window.nFirstOutCol) * fScale;
    float t = std::max(float(double(fPosition) - window.nFirstSrcCol), 0.0f);
    const double dCopies = 0.5 / (double(window.nSrcWidth) / window.nDstWidth);
    int32_t nCopies =
        window.nFirstSrcCol == 0 ? int32_t(std::min(dCopies, window.nCount + double(window.nSkipped))) : 0;
    nCopies -= std::min(nCopies, window.nSkipped);
    for (int32_t i = 0; i < window.nCount; ++i) {
        for (; t >= 1; t -= 1) ++a;
        const float f = a < nLast ? t : 0, u = 1 - f;
        pPoints[i] = {std::min(a, nLast), f, u, (u * u * u - u) / 6, (f * f * f - f) / 6};
        if (nCopies > 0)
            --nCopies;
        else
            t += fScale;
    }
}

namespace {

template <class T>
using DifferenceOf = std::conditional_t<sizeof(T) == 4, int64_t, int32_t>;

// The curvatures of n pixels, into pM; pU is scratch. A sample where the row is straight starts anew with 0. The sweep
// back leaves out the first sample of pixel 1 and all but the first one of pixel n - 3.
template <class T, int Samples>
void solve(const T* p, size_t n, float* pM, float* pU) noexcept {
    constexpr size_t c = Samples;
    using D = DifferenceOf<T>;
    if (n < 3) {
        std::memset(pM, 0, n * c * sizeof *pM);
        return;
    }
    for (size_t k = 0; k < c; ++k) {
        float u = pM[k] = 0;
        size_t nSince = 0;
        for (size_t i = c + k; i < (n - 1) * c; i += c) {
            const D d = 6 * (D(p[i + c]) - 2 * D(p[i]) + D(p[i - c]));
            nSince = d ? std::min<size_t>(nSince + 1, 7) : 0;
            u = (u - float(d)) * kSweepFactors[nSince];
            pM[i] = kSweepFactors[nSince];
            pU[i] = u;
        }
    }
    for (size_t i = (n - 2) * c; i < (n - 1) * c; ++i) pM[i] = pU[i];
    for (size_t i = (n - 1) * c; i < n * c; ++i) pM[i] = 0;
    for (size_t i = (n - 3) * c; i > c; --i) pM[i] = pU[i] + pM[i] * pM[i + c];
}

template <class T, int Samples>
void plainSpline(const SplinePoint* pPoints, size_t nCount, size_t nColumns, float* pCurves, const T* src,
                 T* dst) noexcept {
    solve<T, Samples>(src, nColumns, pCurves, pCurves + nColumns * Samples);
    for (size_t i = 0; i < nCount; ++i, dst += Samples) {
        const SplinePoint& q = pPoints[i];
        const T* const p = src + size_t(q.nA) * Samples;
        const float* const pM = pCurves + size_t(q.nA) * Samples;
        if (!(q.t > 0)) {
            for (int c = 0; c < Samples; ++c) dst[c] = p[c];
            continue;
        }
        for (int c = 0; c < Samples; ++c)
            dst[c] = splineSample<T>(q.u * float(p[c]) + q.t * float(p[c + Samples]) + q.fCurveA * pM[c] +
                                     q.fCurveB * pM[c + Samples]);
    }
}

}  // namespace

void splineRow(const WorkFormat& format, const SplinePoint* pPoints, size_t nCount, int32_t nColumns, float* pCurves,
               const void* pSrc, void* pDst) noexcept {
    visitSample(format.type, [&]<class T>(T*) {
        visitSamples(format.nSamples, [&](auto samples) {
            plainSpline<T, samples>(pPoints, nCount, size_t(nColumns), pCurves, static_cast<const T*>(pSrc),
                                    static_cast<T*>(pDst));
        });
    });
}

void splineBetween(SampleType type, const void* p0, const void* p1, const void* p2, const void* p3, void* pDst,
                   size_t n, float t, FilterLoops loops) noexcept {
    visitSample(type, [&]<class T>(T*) {
        const T *const a = static_cast<const T*>(p0), *const b = static_cast<const T*>(p1),
                       *const c = static_cast<const T*>(p2), *const d = static_cast<const T*>(p3);
        T* const dst = static_cast<T*>(pDst);
        if (!(t > 0)) {
            std::memmove(dst, b, n * sizeof(T));
            return;
        }
        const float u = 1 - t, fCurve1 = (u * u * u - u) / 6, fCurve2 = (t * t * t - t) / 6;
        size_t i = 0;
        if (loops == FilterLoops::best)
            i = splineBetweenVectors(type, {p0, p1, p2, p3, t, u, fCurve1, fCurve2}, dst, n);
        for (; i < n; ++i) {
            const float y0 = float(a[i]), y1 = float(b[i]), y2 = float(c[i]), y3 = float(d[i]);
            const float e = 1.5f * (y0 - 2 * y1 + y2);
            const float m2 = (6 * (y1 - 2 * y2 + y3) - e) * 0.266667f;
            const float m1 = e - 0.25f * m2;
            dst[i] = splineSample<T>(u * y1 + t * y2 + fCurve1 * m1 + fCurve2 * m2);
        }
    });
}

}  // namespace rv
