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
    m_bCopy =
        window.nSrcWidth == window.nDstWidth && window.nFirstSrcCol == window.nFetchCol && window.nCount <= m_nColumns;
    if (m_bCopy) return 1;
    switch (kind) {
        case FilterKind::area:
            if (!m_spans.allocate(m_nCount)) return -1;  // Not enough memory available
            walkAreas(window, nWeights, m_spans.get());
            return 1;
        case FilterKind::linear:
            if (!m_points.allocate(m_nCount)) return -1;
            walkLinear(window, m_points.get());
            return 1;
        default:
            if (!m_spline.allocate(m_nCount)) return -1;
            if (!m_curves.allocate(uint64_t(m_nColumns) * uint32_t(format.nSamples) * 2)) return -1;
            walkSpline(window, m_spline.get());
            return 1;
    }
}

void RowFilter::apply(const void* pSrc, void* pDst) const noexcept {
    if (m_bCopy) {
        std::memcpy(pDst, pSrc, m_nCount * size_t(m_format.nSamples) * bytesOf(m_format.type));
        return;
    }
    switch (m_kind) {
        case FilterKind::area:
            areaRow(m_format, m_spans.get(), m_nCount, m_nWeights, m_bAlphaWeighted, pSrc, pDst);
            break;
        case FilterKind::linear:
            linearRow(m_format, m_points.get(), m_nCount, pSrc, pDst);
            break;
        default:
            splineRow(m_format, m_spline.get(), m_nCount, m_nColumns, m_curves.get(), pSrc, pDst);
            break;
    }
}

}  // namespace rv
