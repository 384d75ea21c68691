// The rows of any bitmap as 24-bit colours: what counts or gathers colours reads them here.
#pragma once

#include "internal/convert_.h"
#include "internal/opening.h"
#include "internal/rowaccess.h"
#include "ravokit/extradata.h"

namespace rv {

// The table of a bitmap of at most 8 bits: its own, else the fixed one of the depth. Fourth bytes are 0.
struct PaletteOf {
    RGBQUAD entries[kMostColors] = {};

    explicit PaletteOf(const BITMAPRECORD& bm) noexcept {
        R_GetFixedPalette(entries, bm.BitsPerPixel);
        for (uint32_t i = 0; bm.pPalette && i < 1u << bm.BitsPerPixel; ++i) entries[i] = bm.pPalette[i];
        for (RGBQUAD& q : entries) q.rgbReserved = 0;
    }
};

// The kept bits of a deep grey bitmap: its physical range.
inline KeptBits physicalBits(const BITMAPRECORD& bm) noexcept {
    const int32_t nHigh = bm.PhysicalHighBit < 0 ? bm.BitsPerPixel - 1 : bm.PhysicalHighBit;
    return keptBits(nHigh, bm.PhysicalLowBit < 0 ? 0 : bm.PhysicalLowBit, uint32_t(bm.BitsPerPixel));
}

// Whether the table of a grey bitmap has an entry for each level of its kept bits.
inline bool coversLevels(uint32_t nLength, const KeptBits& kept) noexcept { return nLength > kept.mask(); }

// Hands out rows as blue, green, red. Wider samples give their high bytes, grey its level at 8 bits or its entry of the
// bitmap's table, palette indices the entry. The pointer lasts until the next row.
class BgrRows {
    BITMAPRECORD& m_bm;
    RowReader m_reader;
    ConvertArgs m_args;
    Buffer<uint8_t> m_row;
    RGBQUAD m_ramp[128];  // of levels of fewer than 8 bits, which the converter takes for dark ones
    bool m_bDirect = false;

public:
    // bRommAsStored: samples in ORDER_ROMM are taken for blue, green and red as they are.
    explicit BgrRows(BITMAPRECORD& bm, bool bRommAsStored = false) noexcept : m_bm(bm), m_reader(bm, bm.BytesPerLine) {
        m_args.nWidth = bm.Width;
        m_args.nBitsSrc = bm.BitsPerPixel;
        m_args.nBitsDst = 24;
        m_args.nOrderSrc = bRommAsStored && bm.Order == ORDER_ROMM ? int32_t(ORDER_BGR) : bm.Order;
        m_args.nOrderDst = ORDER_BGR;
        if (bm.Order != ORDER_GRAY) {
            m_args.pPaletteSrc = bm.BitsPerPixel <= 8 ? bm.pPalette : nullptr;
        } else if (bm.BitsPerPixel > 8) {
            m_args.uFlags = CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE;
            m_args.nLowBit = bm.PhysicalLowBit;
            m_args.nHighBit = bm.PhysicalHighBit;
            const KeptBits kept = physicalBits(bm);
            if (hasWideFields(bm) && bm.pLUT16 && coversLevels(bm.LUT16Length, kept))
                m_args.pLUT16Src = bm.pLUT16;
            else if (bm.pLUT && coversLevels(bm.LUTLength, kept))
                m_args.pPaletteSrc = bm.pLUT;
            else if (kept.nBits < 8) {
                fillGrayRamp(m_ramp, 1u << kept.nBits);
                m_args.pPaletteSrc = m_ramp;
            }
        }
        m_bDirect = bm.BitsPerPixel == 24 && m_args.nOrderSrc == ORDER_BGR;
        const uint64_t nBytes = R_CalcConvertSize(bm.Width, bm.BitsPerPixel, bm.Width, 24);
        if (!m_bDirect) m_row.allocate(nBytes);
    }

    // 1, or why a row can't be read.
    int32_t status() const noexcept { return m_bDirect || m_row ? m_reader.status() : -1; }

    // The row, or null; status() tells why.
    const uint8_t* read(int32_t nRow) noexcept {
        const uint8_t* pRow = m_reader.read(nRow);
        if (!pRow || m_bDirect) return pRow;
        if (m_args.nOrderSrc == ORDER_ROMM) {
            std::memcpy(m_row.get(), pRow, size_t(packedBytes(uint32_t(m_bm.Width), uint32_t(m_bm.BitsPerPixel))));
            convertInPlace(m_args, m_row.get());
        } else {
            convertRow(m_args, m_row.get(), pRow);
        }
        return m_row.get();
    }
};

// Calls f(pixel) for n pixels of three bytes, blue in the lowest one; the byte above is undefined. Reads nothing past
// them.
template <class F>
inline void forEachBgr(const uint8_t* p, size_t n, F&& f) {
    for (; n > 1; --n, p += 3) f(loadLittle<uint32_t>(p));
    if (n) f(uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16);
}

}  // namespace rv
