// Bands: rows that go to the sink together.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/paintwork.h"
#include "internal/pixels.h"

namespace rv {

int32_t BandFormat::setSize(int32_t nWidth, int32_t nBits, int32_t nAskedStride) noexcept {
    const uint64_t uBytes = packedBytes(uint32_t(nWidth), uint32_t(nBits));
    const uint64_t uOwn = rowBytes(uint32_t(nWidth), uint32_t(nBits));
    if (nAskedStride && (nAskedStride < 0 || uint32_t(nAskedStride) < uBytes)) return -1491;  // The DIB is invalid
    if (uOwn > INT32_MAX) return -1;                                                          // Not enough memory
    uStride = nAskedStride ? uint32_t(nAskedStride) : uint32_t(uOwn);
    info.Header.biSize = sizeof info.Header;
    info.Header.biWidth = nWidth;
    info.Header.biPlanes = 1;
    info.Header.biBitCount = uint16_t(nBits);
    return 1;
}

void BandFormat::setRows(int32_t nRows) noexcept {
    info.Header.biHeight = bTopDown ? -nRows : nRows;
    const uint64_t uBytes = uint64_t(uStride) * uint32_t(nRows);
    info.Header.biSizeImage = uBytes <= UINT32_MAX ? uint32_t(uBytes) : 0;  // rows that go straight may be many
}

int32_t BandFormat::bandRows(int32_t nRows, bool bTurned) const noexcept {
    int32_t n = std::clamp(int32_t(kBandBytes / uStride), 1, nRows);
    if (bTurned && n > 8 && n < nRows) n -= n % 8;
    return n;
}

int32_t PaintBands::prepare(int32_t nBandRows) noexcept {
    m_nBandRows = nBandRows;
    m_nThisBand = nBandRows;
    m_uRowBytes = uint32_t(packedBytes(uint32_t(m_area.right - m_area.left), m_format.info.Header.biBitCount));
    if (!m_rows.allocate(uint64_t(m_format.uStride) * uint32_t(nBandRows))) return -1;  // Not enough memory available
    // What stands behind the rows is nobody's.
    for (int32_t i = 0; i < nBandRows && m_uRowBytes < m_format.uStride; ++i)
        std::memset(m_rows.get() + size_t(m_format.uStride) * size_t(i) + m_uRowBytes, 0,
                    m_format.uStride - m_uRowBytes);
    return 1;
}

uint8_t* PaintBands::placeOf(int32_t nInBand) const noexcept {
    const int32_t n = m_format.bTopDown ? nInBand : m_nThisBand - 1 - nInBand;
    return m_rows.get() + size_t(m_format.uStride) * size_t(n);
}

int32_t PaintBands::done() noexcept {
    if (++m_nInBand < m_nThisBand) return 1;
    m_format.setRows(m_nThisBand);
    const RECT dst{m_area.left, m_area.top + m_nRow, m_area.right, m_area.top + m_nRow + m_nThisBand};
    const RECT src{0, 0, m_area.right - m_area.left, m_nThisBand};
    if (m_sink.stretchBits(dst, src, m_rows.get(), m_format.info, m_format.uUsage, m_format.uRop) != 1) return -1;
    m_nRow += m_nThisBand;
    m_nInBand = 0;
    m_nThisBand = std::min(m_nBandRows, m_area.bottom - m_area.top - m_nRow);
    return 1;
}

}  // namespace rv
