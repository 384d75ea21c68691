// Rows of painting that are dithered: to the fixed palette of a device of 1, 4 or 8 bits.
#include <algorithm>
#include <cstring>

#include "internal/dither_.h"
#include "internal/opening.h"
#include "internal/paint_.h"
#include "internal/paintgray.h"

namespace rv {
namespace {

struct DevicePalette16 {
    RGBQUAD entries[16];
};
// The fixed sixteen colours, but the lowest bit of an index is blue, and the third one red.
constexpr DevicePalette16 kDevice16 = [] {
    DevicePalette16 out{};
    for (int i = 0; i < 16; ++i) {
        const auto v = uint8_t(i < 8 ? 128 : 255);
        out.entries[i] = {uint8_t(i & 1 ? v : 0), uint8_t(i & 2 ? v : 0), uint8_t(i & 4 ? v : 0), 0};
    }
    out.entries[7] = {128, 128, 128, 0};
    out.entries[8] = {192, 192, 192, 0};
    return out;
}();

int32_t deviceBits(int32_t nBits) noexcept { return nBits < 4 ? 1 : nBits < 8 ? 4 : 8; }

class DitherRows final : public PaintRenderer {
    BITMAPRECORD m_bm;                       // of the rows as they are dithered, with the state
    std::unique_ptr<PaintRenderer> m_pGray;  // samples of 32 bits become bytes first
    RGBQUAD m_grays[kMostColors];            // the palette of these
    Buffer<uint8_t> m_row;
    bool m_bPrimed = true;

    DITHERDATA& data() const noexcept { return *static_cast<DITHERDATA*>(m_bm.pDitherData); }

    int32_t setSource(const BITMAPRECORD& format, const PaintWish& wish, size_t nWidth) noexcept {
        std::memset(&m_bm, 0, sizeof m_bm);
        std::memcpy(&m_bm, &format, std::min<size_t>(format.uStructSize, sizeof m_bm));
        m_bm.pDitherData = nullptr;
        m_bm.Width = int32_t(nWidth);
        // Painting shows the bits that were chosen, whether other conversions go by them or not.
        const RGBQUAD* const pLUT = paintLUT(format, wish.bAsked ? wish.uInfoFlags : 0);
        const KeptBits levels = paintLevels(format, pLUT);
        m_bm.PhysicalLowBit = int32_t(levels.nShift);
        m_bm.PhysicalHighBit = int32_t(levels.nShift + levels.nBits) - 1;
        if (!pLUT) {
            m_bm.pLUT = nullptr;
            if (hasWideFields(m_bm)) m_bm.pLUT16 = nullptr;
        }
        const bool bRomm = format.Order == ORDER_ROMM;
        if (bRomm && !m_row.allocate(packedBytes(nWidth, uint32_t(format.BitsPerPixel)))) return -1;
        if (format.BitsPerPixel != 32 || format.Order != ORDER_GRAY) return 1;
        fillGrayRamp(m_grays, kMostColors);
        m_bm.BitsPerPixel = 8;
        m_bm.Order = ORDER_RGB;
        m_bm.pPalette = m_grays;
        return m_row.allocate(nWidth) ? makeRowConverter(format, {}, m_pGray) : -1;
    }

    // The row in memory that may be changed, where that is needed.
    uint8_t* ownRow(const uint8_t* pSource, size_t n) noexcept {
        if (!m_row) return const_cast<uint8_t*>(pSource);  // other orders are read only
        if (m_pGray)
            m_pGray->render(pSource, m_row.get(), n, 0);
        else
            std::memcpy(m_row.get(), pSource, size_t(packedBytes(n, uint32_t(m_bm.BitsPerPixel))));
        return m_row.get();
    }

public:
    DitherRows() noexcept { m_bm.pDitherData = nullptr; }
    DitherRows(const DitherRows&) = delete;
    DitherRows& operator=(const DitherRows&) = delete;
    ~DitherRows() override {
        if (m_bm.pDitherData) R_StopDithering(&m_bm);
    }

    int32_t start(const BITMAPRECORD& format, const PaintWish& wish, size_t nWidth, int32_t nColumn) noexcept {
        if (const int32_t nStatus = setSource(format, wish, nWidth); nStatus != 1) return nStatus;
        const bool bOrdered = wish.uMode & DM_ORDERED_DITHER, bClustered = wish.uMode & DM_DITHER_CLUSTERED;
        m_bm.DitheringMethod = !bOrdered ? DITHER_FLOYD : bClustered ? DITHER_CLUSTERED : DITHER_ORDERED;
        m_bPrimed = bOrdered;

        const int32_t nBits = deviceBits(wish.nDeviceBits);
        const uint32_t nColors = 1u << nBits;
        RGBQUAD palette[kMostColors];
        std::copy_n(devicePalette(nBits, wish.uMode), nColors, palette);
        // The nearest entry is wanted. A fixed palette would have one computed by the top bits, so this shan't pass for
        // one.
        if (nBits > 1) palette[0].rgbReserved = 4;
        if (R_StartDitheringExt(&m_bm, palette, nColors, nBits, nullptr) != 1) return -1;
        data().nOrderedColumn = uint32_t(nColumn);
        if (const uint8_t* pPaint = paintTable(format); pPaint && nBits == 1) decideByGrays(data(), pPaint);
        return 1;
    }

    int32_t bits() const noexcept override { return data().nBitsPerPixelDst; }
    PaintTable table() const noexcept override { return bits() == 1 ? PaintTable::blackWhite : PaintTable::device; }
    bool isPure() const noexcept override { return false; }

    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t nRow) noexcept override {
        m_bm.Width = int32_t(n);
        data().nOrderedRow = uint32_t(nRow);
        // The first row goes twice, so that its second run finds errors to start from.
        for (int nRuns = std::exchange(m_bPrimed, true) ? 1 : 2; nRuns; --nRuns)
            R_DitherLine(&m_bm, ownRow(pSource, n), pDest);
    }
};

}  // namespace

int32_t makeRowDither(const BITMAPRECORD& format, const PaintWish& wish, size_t nWidth, int32_t nColumn,
                      std::unique_ptr<PaintRenderer>& pRenderer) noexcept {
    auto* const pRows = new (std::nothrow) DitherRows;
    pRenderer.reset(pRows);
    const int32_t nStatus = pRows ? pRows->start(format, wish, nWidth, nColumn) : -1;  // Not enough memory available
    if (nStatus != 1) pRenderer.reset();
    return nStatus;
}

const RGBQUAD* devicePalette(int32_t nBits, uint32_t uMode) noexcept {
    switch (deviceBits(nBits)) {
        case 1:
            return R_IntGetFixedPalette(1);
        case 4:
            return kDevice16.entries;
        default:
            return uMode & DM_FIXED_PALETTE_ALT ? R_IntGetNetscapePalette() : R_IntGetFixedPalette(8);
    }
}

}  // namespace rv
