// Rows that a paint resizes by the filters: the engine of rows on demand, on the part of the source that the picture
// has.
#include <algorithm>
#include <new>

#include "internal/opening.h"
#include "internal/paintwork.h"
#include "internal/pixels.h"
#include "ravokit/resizerows.h"

namespace rv {
namespace {

// The part of an axis that the picture has: stored pixels, and the new ones that they become.
struct PartAxis {
    int32_t nFirst, nCount;
    int32_t nNewFirst, nNewCount;

    PartAxis(const PaintAxis& a, int32_t nPixels) noexcept {
        const int64_t nEnd = std::min<int64_t>(int64_t(a.nSrcFirst) + a.nSrc, nPixels);
        nFirst = std::max(a.nSrcFirst, 0);
        nCount = int32_t(nEnd - nFirst);
        const auto toNew = [&](int64_t n) {
            return int32_t(((n - a.nSrcFirst) * a.nDst + a.nSrc - 1) /
                           a.nSrc);  // the first one that comes from there on
        };
        nNewFirst = toNew(nFirst);
        nNewCount = toNew(nEnd) - nNewFirst;
    }
};

class FilteredRows final : public PaintRows {
    PaintStore m_store;
    PaintAxis m_x;
    PartAxis m_partX, m_partY;
    BITMAPRECORD m_source{};  // what the engine takes for its bitmap
    BITMAPRECORD m_format{};
    Buffer<uint8_t> m_fetched;
    int32_t m_nSkipped = 0;       // new pixels before the first one, since the engine's columns start on bytes
    Buffer<uint8_t> m_unskipped;  // a row with them
    void* m_pState = nullptr;
    int32_t m_nStatus = 1;

    static int32_t readPart(BITMAPRECORD*, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t uBytes,
                            void* pUserData) noexcept {
        auto& self = *static_cast<FilteredRows*>(pUserData);
        const PaintStore& store = self.m_store;
        const int32_t nBits = store.bm.BitsPerPixel;
        const int32_t nFrom = self.m_partX.nFirst + nCol, nSkipped = nFrom % pixelsToByte(nBits);
        const auto nPixels =
            uint32_t(std::min<uint64_t>(uint64_t(uBytes) * 8 / uint32_t(nBits), uint32_t(self.m_partX.nCount - nCol)));
        const auto nBytes = uint32_t(packedBytes(nPixels + uint32_t(nSkipped), uint32_t(nBits)));
        int32_t nStatus = 1;
        const uint8_t* p =
            store.read(self.m_partY.nFirst + nRow, nFrom - nSkipped, nBytes, self.m_fetched.get(), nStatus);
        if (!p) return nStatus;
        std::fill_n(pBuffer, uBytes, uint8_t(0));
        copyPixels(nBits, pBuffer, 0, p, uint32_t(nSkipped), nPixels);
        return 1;
    }

    // Of a row with the pixels that are skipped.
    uint64_t askedBytes(int32_t nBits) const noexcept {
        return packedBytes(uint64_t(m_x.nCount) + uint32_t(m_nSkipped), uint32_t(nBits));
    }

    uint32_t flags(const PaintWish& wish, const FilterOutput& out) const noexcept {
        uint32_t u = wish.uMode & DM_RESAMPLE ? RSR_RESAMPLE : RSR_BICUBIC;
        if (wish.uInfoFlags & SINKINFO_NO_LUT)
            u |= RSR_NO_LUT;
        else if (!(m_source.Flags & BMF_NONLINEAR_LUT))
            u |= RSR_LUT_AFTER;
        if (wish.uInfoFlags & SINKINFO_GRAY_RANGE) u |= RSR_GRAY_RANGE;
        if (out.nOrder == ORDER_BGR) u |= RSR_OUT_BGR;
        if (out.nOrder == ORDER_GRAY) u |= RSR_OUT_GRAY;
        return u;
    }

    // The part of a flat bitmap is one itself if its columns start on bytes.
    bool pointAtPart() noexcept {
        const uint8_t* p = m_store.inMemory(m_partY.nFirst);
        const bool bWhole = !m_store.pBuffer || m_store.nFirst <= m_partY.nFirst;
        const bool bAll = bWhole && (!m_store.pBuffer || int64_t(m_store.nFirst) + m_store.nCount >=
                                                             int64_t(m_partY.nFirst) + m_partY.nCount);
        if (!p || !bAll || m_partX.nFirst % pixelsToByte(m_source.BitsPerPixel) != 0) return false;
        // It is read only.
        m_source.pData =
            const_cast<uint8_t*>(p) + uint64_t(uint32_t(m_partX.nFirst)) * uint32_t(m_source.BitsPerPixel) / 8;
        m_source.Flags |= BMF_ALLOCATED | BMF_CONVENTIONAL;
        return true;
    }

public:
    FilteredRows(const PaintStore& store, const PaintAxis& x, const PaintAxis& y) noexcept
        : m_store(store), m_x(x), m_partX(x, store.bm.Width), m_partY(y, store.bm.Height) {}
    ~FilteredRows() override {
        if (m_pState) R_StopResizeBitmap(m_pState);
    }

    int32_t prepare(const PaintWish& wish) noexcept {
        const FilterOutput out = filterOutput(m_store.bm, wish);
        m_source = formatOf(m_store.bm);
        m_source.Width = m_partX.nCount;
        m_source.Height = m_partY.nCount;
        m_source.PhysicalLowBit = m_source.LowBit;
        m_source.PhysicalHighBit = m_source.HighBit;
        const bool bInMemory = pointAtPart();
        const uint64_t uBytes = packedBytes(uint32_t(m_partX.nCount), uint32_t(m_source.BitsPerPixel)) + 8;
        if (!bInMemory && !m_fetched.allocate(m_store.bufferBytes(m_partX.nFirst, uint32_t(uBytes))))
            return -1;  // Not enough memory available

        m_nSkipped = (m_x.nFrom - m_partX.nNewFirst) % pixelsToByte(out.nBits);
        if (m_nSkipped != 0 && !m_unskipped.allocate(askedBytes(out.nBits))) return -1;  // Not enough memory available

        m_format = formatOf(m_store.bm);
        m_format.BitsPerPixel = out.nBits;
        m_format.Order = out.nOrder;
        m_format.nColors = 0;
        m_format.pPalette = nullptr;
        m_format.Flags &= ~uint32_t(BMF_USE_LUT | BMF_NONLINEAR_LUT);
        m_format.pLUT = nullptr;
        m_format.LUTLength = 0;
        if (hasWideFields(m_format)) {
            m_format.pLUT16 = nullptr;
            m_format.LUT16Length = 0;
        }
        m_format.LowBit = 0;
        m_format.HighBit = -1;
        return R_StartResizeBitmap2(&m_source, m_partX.nNewCount, m_partY.nNewCount, out.nBits, nullptr, 0,
                                    flags(wish, out), bInMemory ? nullptr : readPart, this, &m_pState, wish.nLowBit,
                                    wish.nHighBit);
    }

    const BITMAPRECORD& format() const noexcept override { return m_format; }
    int32_t status() const noexcept override { return m_nStatus; }
    const uint8_t* row(int32_t nRow, uint8_t* pBuffer) noexcept override {
        const int32_t nBits = m_format.BitsPerPixel;
        uint8_t* const pTo = m_nSkipped != 0 ? m_unskipped.get() : pBuffer;
        m_nStatus = R_GetResizedRowCol(m_pState, pTo, nRow - m_partY.nNewFirst,
                                       m_x.nFrom - m_partX.nNewFirst - m_nSkipped, uint32_t(askedBytes(nBits)));
        if (m_nStatus != 1) return nullptr;
        if (m_nSkipped != 0) copyPixels(nBits, pBuffer, 0, pTo, uint32_t(m_nSkipped), uint32_t(m_x.nCount));
        return pBuffer;
    }
};

}  // namespace

FilterOutput filterOutput(const BITMAPRECORD& bm, const PaintWish& wish) noexcept {
    const bool bGray = bm.Order == ORDER_GRAY;
    if (bm.BitsPerPixel == 12 && !bGray) return {};  // the engine knows no such colours
    const bool bKeepsRed = bm.Order == ORDER_RGB && bm.BitsPerPixel >= 9;
    if ((wish.uMode & DM_DITHER) && wish.nDeviceBits <= 8 && wish.nOrder != ORDER_GRAY) return {24, ORDER_BGR};
    if (!wish.bAsked) {
        if (wish.bAlpha && hasAlphaSample(bm)) return {32, ORDER_BGR};
        return {24, bKeepsRed && (wish.uMode & DM_RGB_SWAP) ? ORDER_RGB : ORDER_BGR};
    }
    const int32_t nBits = wish.nDeviceBits;
    if (wish.nOrder == ORDER_GRAY) {
        const bool bFits = bGray && (nBits == 8 || nBits == 12 || nBits == 16);
        return {bFits ? nBits : 0, ORDER_GRAY};
    }
    const bool bAlpha = nBits == 32 || nBits == 64;
    const bool bFits = bAlpha ? hasAlphaSample(bm) : nBits == 16 || nBits == 24 || nBits == 48;
    return {bFits ? nBits : 0, colorOrder(wish)};
}

int32_t makeFilteredRows(const PaintStore& store, const PaintWish& wish, const PaintAxis& x, const PaintAxis& y,
                         std::unique_ptr<PaintRows>& pRows) noexcept {
    std::unique_ptr<FilteredRows> p(new (std::nothrow) FilteredRows(store, x, y));
    const int32_t n = p ? p->prepare(wish) : -1;  // Not enough memory available
    if (n == 1) pRows = std::move(p);
    return n;
}

}  // namespace rv
