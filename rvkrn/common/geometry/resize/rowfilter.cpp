// Row filters: what is prepared for a row, and the choice of its loops.
#include <cstring>

#include "internal/rowfilters.h"

namespace rv {

int32_t RowFilter::prepare(FilterKind kind, const WorkFormat& format, uint32_t nWeights, bool bAlphaWeighted,
                           const RowWindow& window, FilterLoops loops) noexcept {
    m_kind = kind;
    m_format = format;
    m_nWeights = nWeights;
    m_bAlphaWeighted = bAlphaWeighted && format.nSamples == 4;
    m_nColumns = window.nEndSrcCol - window.nFetchCol;
    m_nCount = size_t(window.nCount);
    m_bFast = loops == FilterLoops::best;
    m_areaBlocks.stretch = m_linearBlocks.stretch = {};
    m_bCopy =
        window.nSrcWidth == window.nDstWidth && window.nFirstSrcCol == window.nFetchCol && window.nCount <= m_nColumns;
    if (m_bCopy) return 1;
    uint64_t nPlanes;
    switch (kind) {
        case FilterKind::area:
            if (!m_spans.allocate(m_nCount)) return -1;  // Not enough memory available
            walkAreas(window, nWeights, m_spans.get());
            if (m_bFast && !m_bAlphaWeighted)
                prepareAreaBlocks(m_areaBlocks, format, m_spans.get(), m_nCount, nWeights, m_nColumns);
            return 1;
        case FilterKind::linear:
            if (!m_points.allocate(m_nCount)) return -1;
            walkLinear(window, m_points.get());
            if (m_bFast && format.type == SampleType::u8)
                prepareLinear8(m_linearBlocks, format.nSamples, m_points.get(), m_nCount, m_nColumns);
            return 1;
        default:
            if (!m_spline.allocate(m_nCount)) return -1;
            nPlanes = m_bFast ? splinePlanes(format, m_nColumns, m_nCount) : 0;
            m_bFast = nPlanes > 0;
            if (!m_bFast) nPlanes = uint64_t(m_nColumns) * uint32_t(format.nSamples) * 2;
            if (!m_curves.allocateCleared(nPlanes)) return -1;
            walkSpline(window, m_spline.get());
            return 1;
    }
}

void RowFilter::apply(const void* pSrc, void* pDst) const noexcept {
    if (m_bCopy) {
        std::memcpy(pDst, pSrc, m_nCount * size_t(m_format.nSamples) * bytesOf(m_format.type));
        return;
    }
    // The plain loops make what the others leave, behind their stretch last: they may store in excess.
    const size_t nPixel = size_t(m_format.nSamples) * bytesOf(m_format.type);
    const auto around = [&](const Stretch& stretch, auto fast, auto plain) {
        if (stretch.nFrom < stretch.nTo) {
            plain(size_t(0), stretch.nFrom);
            fast();
        }
        plain(stretch.nTo, m_nCount - stretch.nTo);
    };
    const auto to = [&](size_t i) { return static_cast<uint8_t*>(pDst) + i * nPixel; };
    switch (m_kind) {
        case FilterKind::area:
            around(
                m_areaBlocks.stretch, [&] { areaVectors(m_areaBlocks, m_format, m_spans.get(), pSrc, pDst); },
                [&](size_t i, size_t n) {
                    areaRow(m_format, m_spans.get() + i, n, m_nWeights, m_bAlphaWeighted, pSrc, to(i));
                });
            break;
        case FilterKind::linear:
            around(
                m_linearBlocks.stretch,
                [&] { linearRow8(m_linearBlocks, static_cast<const uint8_t*>(pSrc), static_cast<uint8_t*>(pDst)); },
                [&](size_t i, size_t n) { linearRow(m_format, m_points.get() + i, n, pSrc, to(i)); });
            break;
        default:
            if (m_bFast)
                splineVectors(m_format, m_spline.get(), m_nCount, size_t(m_nColumns), m_curves.get(), pSrc, pDst);
            else
                splineRow(m_format, m_spline.get(), m_nCount, m_nColumns, m_curves.get(), pSrc, pDst);
            break;
    }
}

}  // namespace rv
