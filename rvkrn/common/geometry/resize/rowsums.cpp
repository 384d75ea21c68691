// Sums of rows, for an axis of rows that shrinks.
//
// They stand in 32 bits where the rows to come allow it, and in more than 64 where these are very many. With alpha the
// colours of a pixel count by it, and have a sum of weights of their own.
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
    m_bLong = visitSample(type, [&]<class T>(T*) { return needsLongSum<T>(nRows, bAlphaWeighted); });
    const bool bMemory = m_bLong   ? m_long.allocateCleared(n)
                         : m_bWide ? m_wide.allocateCleared(n)
                                   : m_sums.allocateCleared(n);
    return bMemory && (!bAlphaWeighted || m_alpha.allocateCleared(n / 4)) ? 1 : -1;  // Not enough memory available
}

void RowSums::clear() noexcept {
    if (m_bLong)
        std::memset(m_long.get(), 0, m_nSamples * sizeof(LongSum));
    else if (m_bWide)
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
// In 32 bits, which is what there is most of.
RV_CLONES void addShort(const uint8_t* p, uint32_t* sums, size_t n, uint32_t nWeight) noexcept {
    for (size_t i = 0; i < n; ++i) sums[i] += p[i] * nWeight;
}
RV_CLONES void addShort(const uint16_t* p, uint32_t* sums, size_t n, uint32_t nWeight) noexcept {
    for (size_t i = 0; i < n; ++i) sums[i] += p[i] * nWeight;
}
void addShort(const int16_t* p, uint32_t* sums, size_t n, uint32_t nWeight) noexcept { addRow(p, sums, n, nWeight); }
void addShort(const uint32_t* p, uint32_t* sums, size_t n, uint32_t nWeight) noexcept { addRow(p, sums, n, nWeight); }

RV_CLONES void divideShort(const uint32_t* sums, uint8_t* dst, size_t n, const Reciprocal& divide) noexcept {
    const uint64_t m = divide.m;
    for (size_t i = 0; i < n; ++i) dst[i] = uint8_t(sums[i] * m >> divide.nShift);
}
RV_CLONES void divideShort(const uint32_t* sums, uint16_t* dst, size_t n, const Reciprocal& divide) noexcept {
    const uint64_t m = divide.m;
    for (size_t i = 0; i < n; ++i) dst[i] = uint16_t(sums[i] * m >> divide.nShift);
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

// visible is null without alpha.
template <class T>
inline void addLong(const T* p, LongSum* sums, uint64_t* visible, size_t n, uint32_t nWeight) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const bool bColor = visible && i % 4 != 3;
        const uint64_t v = bColor ? alphaWeight<T>(uint64_t(p[i | 3]), uint64_t(nWeight)) : nWeight;
        sums[i].add(v, p[i]);
        if (bColor && i % 4 == 0) visible[i / 4] += v;
    }
}

template <class T, class Sum>
inline T meanOfSum(Sum nSum, uint64_t nWeight) noexcept {
    using S = std::conditional_t<std::is_same_v<T, uint32_t>, uint64_t, int64_t>;
    return meanOf<T, S>(S(std::conditional_t<std::is_signed_v<T>, std::make_signed_t<Sum>, Sum>(nSum)), S(nWeight));
}

}  // namespace

void RowSums::add(const void* pRow, uint32_t nWeight) noexcept {
    visitSample(m_type, [&]<class T>(T*) {
        const T* const p = static_cast<const T*>(pRow);
        if constexpr (std::is_unsigned_v<T>)
            if (m_bLong) return addLong(p, m_long.get(), m_alpha.get(), m_nSamples, nWeight);
        if (m_bAlphaWeighted)
            addVisible(p, m_wide.get(), m_alpha.get(), m_nSamples / 4, nWeight);
        else if (m_bWide)
            addRow(p, m_wide.get(), m_nSamples, nWeight);
        else
            addShort(p, m_sums.get(), m_nSamples, nWeight);
    });
}

void RowSums::mean(void* pDst, uint64_t nCount) const noexcept {
    visitSample(m_type, [&]<class T>(T*) {
        T* const dst = static_cast<T*>(pDst);
        const auto weightOf = [&](size_t i) { return m_bAlphaWeighted && i % 4 != 3 ? m_alpha[i / 4] : nCount; };
        if constexpr (std::is_unsigned_v<T>)
            if (m_bLong) {
                for (size_t i = 0; i < m_nSamples; ++i) dst[i] = m_long[i].mean<T>(weightOf(i));
                return;
            }
        if constexpr (std::is_unsigned_v<T> && sizeof(T) < 4)
            if (const Reciprocal divide(nCount, sizeof(T) * 8); !m_bWide && divide.m)
                return divideShort(m_sums.get(), dst, m_nSamples, divide);
        if (!m_bWide)
            for (size_t i = 0; i < m_nSamples; ++i) dst[i] = meanOfSum<T>(m_sums[i], nCount);
        else
            for (size_t i = 0; i < m_nSamples; ++i) dst[i] = meanOfSum<T>(m_wide[i], weightOf(i));
    });
}

}  // namespace rv
