// A texture under a picture. A row of the texture becomes a pattern of shifts, repeated until it makes long stretches,
// and is added to a row of the picture stretch by stretch. Flat rows of 24 and 32 bits change where they stand, other
// rows go through a buffer of 24-bit colour.
#include "internal/underlay_.h"

#include <algorithm>
#include <cstring>

#include "internal/convert_.h"
#include "internal/opening.h"
#include "internal/rowaccess.h"
#include "internal/rowkernels.h"
#include "ravokit/bitmaprgn.h"
#include "ravokit/compressed.h"
#include "ravokit/copy.h"
#include "ravokit/dither.h"
#include "ravokit/grayscale.h"
#include "ravokit/resize.h"
#include "ravokit/underlay.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// A whole row in a buffer: 1, or what the read gave instead of all bytes.
int32_t readWhole(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow) noexcept {
    const int32_t n = R_GetBitmapRow(&bm, pBuffer, nRow, bm.BytesPerLine);
    return n == int32_t(bm.BytesPerLine) ? 1 : n;
}

// A row of the texture as shifts of the channels of a row, from column 0 on.
class Pattern {
    static constexpr uint32_t kStretch = 1024;  // pixels: past the cost of a call, and within the nearest cache

    BITMAPRECORD& m_texture;
    const uint32_t m_nBytes;  // of a pixel
    uint32_t m_nTile, m_nPixels;
    int32_t m_nRow = -1;
    Buffer<uint8_t> m_gray, m_shifts;
    RGBQUAD m_table[256];
    const UnderlayKernels& m_ops = bestUnderlay();

    void fill(const uint8_t* pGray) noexcept {
        if (m_nBytes == 3)
            m_ops.spread24(pGray, m_shifts.get(), m_nTile);
        else
            bestRowKernels().palette.pal8To32(pGray, m_shifts.get(), m_nTile, m_table);
        const size_t nAll = size_t(m_nPixels) * m_nBytes;
        for (size_t n = size_t(m_nTile) * m_nBytes; n < nAll; n *= 2)
            std::memcpy(m_shifts.get() + n, m_shifts.get(), std::min(n, nAll - n));
    }

public:
    // For rows of nWidth pixels of 3 or 4 bytes, of which the fourth stays. The texture is locked.
    Pattern(BITMAPRECORD& texture, uint32_t nWidth, uint32_t nBytes) noexcept
        : m_texture(texture), m_nBytes(nBytes), m_nTile(std::min(uint32_t(texture.Width), nWidth)) {
        const uint32_t nTimes = m_nTile < nWidth ? (kStretch + m_nTile - 1) / m_nTile : 1;
        m_nPixels = m_nTile * nTimes;
        for (uint32_t i = 0; i < 256; ++i) {
            const auto n = uint8_t(i - 128);
            m_table[i] = {n, n, n, 0};
        }
        m_shifts.allocate(uint64_t(m_nPixels) * nBytes);
        if (!flatRow(texture, 0)) m_gray.allocate(texture.BytesPerLine);
    }
    bool isReady() const noexcept { return m_shifts && (m_gray || flatRow(m_texture, 0)); }

    // Takes the texture's row for a row of the picture. 1, or what a read gave.
    int32_t choose(int32_t nRow) noexcept {
        nRow %= m_texture.Height;
        if (nRow == m_nRow) return 1;
        const uint8_t* pGray = flatRow(m_texture, nRow);
        if (!pGray) {
            if (const int32_t n = readWhole(m_texture, m_gray.get(), nRow); n != 1) return n;
            pGray = m_gray.get();
        }
        fill(pGray);
        m_nRow = nRow;
        return 1;
    }

    // Adds the shifts to columns nFrom to nTo - 1 of a row.
    void apply(uint8_t* pRow, uint32_t nFrom, uint32_t nTo) const noexcept {
        while (nFrom < nTo) {
            const uint32_t nPhase = nFrom % m_nPixels, n = std::min(nTo - nFrom, m_nPixels - nPhase);
            m_ops.shift(pRow + size_t(nFrom) * m_nBytes, m_shifts.get() + size_t(nPhase) * m_nBytes,
                        size_t(n) * m_nBytes);
            nFrom += n;
        }
    }
};

// Rows in the bitmap's format as 24-bit colour, and back: by dithering to the bitmap's palette up to 8 bits.
class ColorRows {
    BITMAPRECORD& m_bm;
    ConvertArgs m_to, m_from;
    BITMAPRECORD m_dither{};
    Buffer<uint8_t> m_indices;

    int32_t startDither() noexcept {
        if (!m_indices.allocateCleared(m_bm.BytesPerLine)) return -1;
        R_InitBitmap(&m_dither, sizeof m_dither, m_bm.Width, m_bm.Height, 24);
        m_dither.DitheringMethod = DITHER_FLOYD;
        return R_StartDitheringExt(&m_dither, m_bm.pPalette, m_bm.nColors, m_bm.BitsPerPixel, nullptr);
    }

public:
    explicit ColorRows(BITMAPRECORD& bm) noexcept : m_bm(bm) {
        m_to.nWidth = m_from.nWidth = bm.Width;
        m_to.nBitsSrc = m_from.nBitsDst = bm.BitsPerPixel;
        m_to.nBitsDst = m_from.nBitsSrc = 24;
        m_to.nOrderSrc = m_from.nOrderDst = bm.Order;
        m_to.nOrderDst = m_from.nOrderSrc = ORDER_BGR;
        if (bm.BitsPerPixel <= 8) {
            m_to.pPaletteSrc = bm.pPalette;
        } else if (bm.Order == ORDER_GRAY) {
            m_to.nLowBit = m_from.nLowBit = bm.PhysicalLowBit;
            m_to.nHighBit = m_from.nHighBit = bm.PhysicalHighBit;
            m_to.uFlags = CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE;
            m_from.uFlags = CONVERT_DST_GRAY | CONVERT_DST_BITRANGE;
        }
    }
    ColorRows(const ColorRows&) = delete;
    ColorRows& operator=(const ColorRows&) = delete;
    ~ColorRows() {
        if (m_dither.uStructSize) R_StopDithering(&m_dither);
    }

    int32_t start() noexcept { return m_bm.BitsPerPixel <= 8 ? startDither() : 1; }
    void toColors(uint8_t* pRow) const noexcept { convertInPlace(m_to, pRow); }
    // The row in the bitmap's format; the buffer has both.
    const uint8_t* fromColors(uint8_t* pRow) noexcept {
        if (!m_indices) {
            convertInPlace(m_from, pRow);
            return pRow;
        }
        R_DitherLine(&m_dither, pRow, m_indices.get());
        return m_indices.get();
    }
};

class Underlay {
    BITMAPRECORD& m_bm;
    const uint32_t m_nDirect;  // bytes of a pixel whose channels change where they stand, or 0
    Pattern m_pattern;
    ColorRows m_colors;
    Buffer<uint8_t> m_row;
    Buffer<uint32_t> m_words;

    static uint32_t directBytes(const BITMAPRECORD& bm) noexcept {
        const bool bPlain = bm.Order == ORDER_RGB || bm.Order == ORDER_BGR;
        return bPlain && (bm.BitsPerPixel == 24 || bm.BitsPerPixel == 32) ? uint32_t(bm.BitsPerPixel) / 8 : 0;
    }

    int32_t rowInBuffer(int32_t y, uint32_t nWords) noexcept {
        const uint8_t* pDone = m_row.get();
        if (!m_nDirect) m_colors.toColors(m_row.get());
        m_pattern.apply(m_row.get(), 0, uint32_t(m_bm.Width));
        if (!m_nDirect) pDone = m_colors.fromColors(m_row.get());
        return R_PutBitmapRowSegments(&m_bm, pDone, y, 0, m_words.get(), nWords, 1);
    }

    int32_t row(int32_t y) noexcept {
        uint8_t* pFlat = m_nDirect ? flatRow(m_bm, y) : nullptr;
        if (!pFlat)
            if (const int32_t n = readWhole(m_bm, m_row.get(), y); n != 1) return n;
        if (const int32_t n = m_pattern.choose(y); n != 1) return n;
        uint32_t nWords = 0;
        if (const int32_t n = R_GetBitmapClipSegments(&m_bm, y, m_words.get(), &nWords); n != 1) return n;
        if (!pFlat) return rowInBuffer(y, nWords);
        for (uint32_t i = 0; i + 1 < nWords; i += 2) m_pattern.apply(pFlat, m_words[i], m_words[i + 1]);
        return 1;
    }

public:
    Underlay(BITMAPRECORD& bm, BITMAPRECORD& texture) noexcept
        : m_bm(bm),
          m_nDirect(directBytes(bm)),
          m_pattern(texture, uint32_t(bm.Width), m_nDirect ? m_nDirect : 3),
          m_colors(bm) {}

    int32_t rows() noexcept {
        uint32_t nWords = 0;
        if (const int32_t n = R_GetBitmapClipSegmentsMax(&m_bm, &nWords); n != 1) return n;
        const uint64_t nRow = R_CalcConvertSize(m_bm.Width, m_bm.BitsPerPixel, m_bm.Width, 24);
        if (!m_pattern.isReady() || !m_words.allocate(std::max(nWords, 2u)) ||
            !m_row.allocateCleared(std::max<uint64_t>(nRow, m_bm.BytesPerLine)))
            return -1;  // Not enough memory available
        if (const int32_t n = m_nDirect ? 1 : m_colors.start(); n != 1) return n;
        for (int32_t y = 0; y < m_bm.Height; ++y)
            if (const int32_t n = row(y); n != 1) return n;
        return 1;
    }
};

// Whether indices are greys already.
bool isGrayRamp(const BITMAPRECORD& bm) noexcept {
    return bm.BitsPerPixel == 8 && bm.nColors == 256 && bm.pPalette &&
           R_IsGrayScalePalette(bm.pPalette, bm.nColors) == GRAYKIND_ASCENDING;
}

// The underlay as grey in the bitmap's view, and of its size where it is stretched.
int32_t makeTexture(const BITMAPRECORD& bm, BITMAPRECORD& underlay, uint32_t uMode, BITMAPRECORD& texture) noexcept {
    if (const int32_t n = R_CopyBitmap(&texture, &underlay, sizeof texture); n != 1) return n;
    if (!isGrayRamp(texture))
        if (const int32_t n = R_GrayScaleBitmap(&texture, 8); n != 1) return n;
    if (texture.ViewPerspective != bm.ViewPerspective)
        if (const int32_t n = R_ChangeBitmapViewPerspective(nullptr, &texture, sizeof texture, bm.ViewPerspective);
            n != 1)
            return n;
    return uMode == UNDERLAY_STRETCH ? R_SizeBitmap(&texture, bm.Width, bm.Height, 0) : 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_UnderlayBitmap(BITMAPRECORD* pBitmap, BITMAPRECORD* pUnderlay, uint32_t uMode) noexcept {
    if (!isAllocated(pBitmap) || !isAllocated(pUnderlay)) return -2;  // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize) || !isKnownRecordSize(pUnderlay->uStructSize))
        return -789;                           // The structure size is invalid
    if (uMode > UNDERLAY_STRETCH) return -13;  // Invalid parameter passed
    BitmapOwner texture;
    if (const int32_t n = makeTexture(*pBitmap, *pUnderlay, uMode, texture.record); n != 1) return n;
    BitmapLock lock(*pBitmap);
    if (lock.status() != 1) return lock.status();
    BitmapLock textureLock(texture.record);
    if (textureLock.status() != 1) return lock.release(textureLock.status());
    const int32_t nStatus = Underlay(*pBitmap, texture.record).rows();
    return lock.release(textureLock.release(nStatus));
}
