// The average of an area along a row, for an axis that shrinks.
//
// Weights are conserved: what the sample at the end of an area does not give to it, it gives to the next one. So all
// areas but those at the ends of a row weigh the same.
#include <algorithm>

#include "internal/rowfilters.h"

namespace rv {

void walkAreas(const RowWindow& window, uint32_t nWeights, AreaSpan* pSpans, bool bRounded) noexcept {
    const int64_t W = nWeights, nDst = window.nDstWidth, nPast = window.nEndSrcCol - window.nFetchCol;
    const int64_t nStep = (W * window.nSrcWidth + (bRounded ? nDst / 2 : 0)) / nDst, nWhole = nStep / W,
                  nFraction = nStep % W;
    const int64_t nNext = int64_t(window.nAcc) + window.nSrcWidth % nDst;
    int64_t nFirst = window.nFirstSrcCol - window.nFetchCol, w0 = W * (nDst - window.nAcc) / nDst;
    int64_t nEnd = std::min(nFirst + window.nSrcWidth / nDst + (nNext >= nDst), nPast);
    int64_t w1 = W * (nNext % nDst) / nDst;
    for (int32_t i = 0; i < window.nCount; ++i) {
        // Rounded steps can arrive early at the end, where the last sample repeats.
        nFirst = std::min(nFirst, nPast - 1);
        pSpans[i] = {int32_t(nFirst), int32_t(std::max<int64_t>(nEnd - nFirst - 1, 0)), uint32_t(w0),
                     nEnd < nPast ? uint32_t(w1) : 0};
        w0 = W - w1;
        nFirst = nEnd;
        w1 += nFraction;
        nEnd = std::min(nEnd + nWhole + (w1 >= W), nPast);
        if (w1 >= W) w1 -= W;
    }
}

namespace {

// Sums are signed but for samples of 32 bits, which need all of theirs.
template <class T>
using SumOf = std::conditional_t<std::is_same_v<T, uint32_t>, uint64_t, int64_t>;

// Calls f(offset of the pixel, weight) for each pixel of an area.
template <class F>
inline void eachOf(const AreaSpan& span, uint32_t nWeights, F f) noexcept {
    f(0, span.w0);
    for (int32_t j = 1; j <= span.nWhole; ++j) f(j, nWeights);
    if (span.w1) f(span.nWhole + 1, span.w1);
}

template <class T, int Samples>
void plainMeans(const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, const T* src, T* dst) noexcept {
    for (size_t i = 0; i < nCount; ++i, dst += Samples) {
        const T* const p = src + size_t(pSpans[i].nFirst) * Samples;
        SumOf<T> sums[Samples] = {};
        eachOf(pSpans[i], nWeights, [&](int32_t j, uint32_t w) {
            for (int c = 0; c < Samples; ++c) sums[c] += SumOf<T>(w) * SumOf<T>(p[size_t(j) * Samples + size_t(c)]);
        });
        for (int c = 0; c < Samples; ++c) dst[c] = meanOf<T>(sums[c], SumOf<T>(pSpans[i].weight(nWeights)));
    }
}

template <class T, class Sum>
void alphaMeans(const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, const T* src, T* dst) noexcept {
    for (size_t i = 0; i < nCount; ++i, dst += 4) {
        const T* const p = src + size_t(pSpans[i].nFirst) * 4;
        Sum sums[4] = {}, nVisible = 0;
        eachOf(pSpans[i], nWeights, [&](int32_t j, uint32_t w) {
            const T* const q = p + size_t(j) * 4;
            const Sum v = alphaWeight<T>(Sum(q[3]), Sum(w));
            for (int c = 0; c < 3; ++c) sums[c] += v * Sum(q[c]);
            sums[3] += Sum(w) * Sum(q[3]);
            nVisible += v;
        });
        for (int c = 0; c < 3; ++c) dst[c] = meanOf<T>(sums[c], nVisible);
        dst[3] = meanOf<T>(sums[3], Sum(pSpans[i].weight(nWeights)));
    }
}

template <class T>
void alphaMeans(const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, const T* src, T* dst) noexcept {
    // Sums of bytes fit 31 bits where all weights of an area are below 2^23; areas are of much the same length.
    if constexpr (sizeof(T) == 1)
        if (nCount && pSpans[nCount / 2].weight(nWeights) < 1 << 22)
            return alphaMeans<T, int32_t>(pSpans, nCount, nWeights, src, dst);
    alphaMeans<T, SumOf<T>>(pSpans, nCount, nWeights, src, dst);
}

// The same of areas so long that a sum passes 64 bits.
template <class T>
void longMeans(const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, size_t nSamples, bool bAlphaWeighted,
               const T* src, T* dst) noexcept {
    for (size_t i = 0; i < nCount; ++i)
        for (size_t c = 0; c < nSamples; ++c) {
            const T* const p = src + size_t(pSpans[i].nFirst) * nSamples;
            LongSum sum{};
            uint64_t nWeight = 0;
            eachOf(pSpans[i], nWeights, [&](int32_t j, uint32_t w) {
                const T* const q = p + size_t(j) * nSamples;
                const uint64_t v = bAlphaWeighted && c < 3 ? alphaWeight<T>(uint64_t(q[3]), uint64_t(w)) : w;
                sum.add(v, q[c]);
                nWeight += v;
            });
            *dst++ = sum.mean<T>(nWeight);
        }
}

}  // namespace

void areaRow(const WorkFormat& format, const AreaSpan* pSpans, size_t nCount, uint32_t nWeights, bool bAlphaWeighted,
             const void* pSrc, void* pDst) noexcept {
    visitSample(format.type, [&]<class T>(T*) {
        const T* const src = static_cast<const T*>(pSrc);
        T* const dst = static_cast<T*>(pDst);
        // Areas are of much the same length.
        if constexpr (std::is_unsigned_v<T>)
            if (nCount && needsLongSum<T>(pSpans[nCount / 2].weight(nWeights), bAlphaWeighted))
                return longMeans(pSpans, nCount, nWeights, size_t(format.nSamples), bAlphaWeighted, src, dst);
        if (bAlphaWeighted) return alphaMeans<T>(pSpans, nCount, nWeights, src, dst);
        visitSamples(format.nSamples,
                     [&](auto samples) { plainMeans<T, samples>(pSpans, nCount, nWeights, src, dst); });
    });
}

}  // namespace rv
