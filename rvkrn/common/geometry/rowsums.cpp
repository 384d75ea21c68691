// Sums of rows, for an axis of rows that shrinks.
//
// They stand in 32 bits where the rows to come allow it. With alpha the colours of a pixel count by it, and have a sum
// of weights of their own.
#include <algorithm>
#include <cstring>

#include "internal/rowfilters.h"
#include "internal/simd.h"

namespace rv {

int32_t RowSums::prepare(SampleType type, size_t n, uint64_t nRows, bool bAlphaWeighted) noexcept {
    m_type = type;
    m_nSamples = n;
    m_bAlphaWeighted = bAlphaWeighted;
    const uint64_t nMost = type == SampleType::u8 ? 255 : type == SampleType::u32 ? UINT32_MAX : 65535;
    const uint64_t nLimit = type == SampleType::s16 ? INT32_MAX : UINT32_MAX;
    m_bWide = bAlphaWeighted || nRows > nLimit / nMost;
    const bool bMemory = m_bWide ? m_wide.allocateCleared(n) : m_sums.allocateCleared(n);
    return bMemory && (!bAlphaWeighted || m_alpha.allocateCleared(n / 4)) ? 1 : -1;  // Not enough memory available
}

void RowSums::clear() noexcept {
    if (m_bWide)
        std::memset(m_wide.get(), 0, m_nSamples * sizeof(uint64_t));
    else
        std::memset(m_sums.get(), 0, m_nSamples * sizeof(uint32_t));
    if (m_bAlphaWeighted) std::memset(m_alpha.get(), 0, m_nSamples / 4 * sizeof(uint64_t));
}

namespace {

// Sums wrap as unsigned numbers do; those of signed samples are read as signed.
template <class T, class Sum>
inline void addRow(const T* p, Sum* sums, size_t n, uint32_t nWeight) noexcept {
    for (size_t i = 0; i < n; ++i) sums[i] += Sum(p[i]) * nWeight;
}

template <class T>
inline void addVisible(const T* p, uint64_t* sums, uint64_t* visible, size_t nPixels, uint32_t nWeight) noexcept {
    for (size_t i = 0; i < nPixels; ++i, p += 4, sums += 4) {
        const int64_t v = alphaWeight<T>(int64_t(p[3]), int64_t(nWeight));
        for (int c = 0; c < 3; ++c) sums[c] += uint64_t(v * int64_t(p[c]));
        sums[3] += uint64_t(int64_t(p[3]) * nWeight);
        visible[i] += uint64_t(v);
    }
}

template <class T, class Sum>
inline T meanOf(Sum nSum, Sum nWeight) noexcept {
    using S = std::conditional_t<std::is_signed_v<T>, std::make_signed_t<Sum>, Sum>;
    using L = std::numeric_limits<T>;
    if (!nWeight) return 0;
    const S q = S(nSum) / S(nWeight);
    if constexpr (std::is_signed_v<T>) return T(std::clamp<S>(q, L::min(), L::max()));
    return T(std::min<S>(q, L::max()));
}

}  // namespace

void RowSums::add(const void* pRow, uint32_t nWeight) noexcept {
    visitSample(m_type, [&]<class T>(T*) {
        const T* const p = static_cast<const T*>(pRow);
        if (m_bAlphaWeighted)
            addVisible(p, m_wide.get(), m_alpha.get(), m_nSamples / 4, nWeight);
        else if (m_bWide)
            addRow(p, m_wide.get(), m_nSamples, nWeight);
        else
            addRow(p, m_sums.get(), m_nSamples, nWeight);
    });
}

void RowSums::mean(void* pDst, uint64_t nCount) const noexcept {
    visitSample(m_type, [&]<class T>(T*) {
        T* const dst = static_cast<T*>(pDst);
        if (!m_bWide)
            for (size_t i = 0; i < m_nSamples; ++i) dst[i] = meanOf<T, uint32_t>(m_sums[i], uint32_t(nCount));
        else
            for (size_t i = 0; i < m_nSamples; ++i)
                dst[i] = meanOf<T, uint64_t>(m_wide[i], m_bAlphaWeighted && i % 4 != 3 ? m_alpha[i / 4] : nCount);
    });
}

}  // namespace rv
