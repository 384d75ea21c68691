// Rows of a bitmap as masks: each is brought to the samples that its test is about, where it doesn't hold them already.
#include <algorithm>
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/colorspace_.h"
#include "internal/rgncolor_.h"

namespace rv {
namespace {

KeptBits levelBits(const BITMAPRECORD& bm, bool bWholeRange) noexcept {
    return bWholeRange ? keptBits(bm.BitsPerPixel - 1, 0, uint32_t(bm.BitsPerPixel)) : physicalBits(bm);
}

// What brings a row to 24-bit colours or 16-bit grey.
ConvertArgs argsTo(const BITMAPRECORD& bm, int32_t nBits, bool bWholeRange) noexcept {
    ConvertArgs args;
    args.nWidth = bm.Width;
    args.nBitsSrc = bm.BitsPerPixel;
    args.nBitsDst = nBits;
    args.nOrderSrc = bm.Order;
    args.nOrderDst = nBits == 16 ? ORDER_GRAY : ORDER_BGR;
    if (bm.Order != ORDER_GRAY) return args;
    args.uFlags = CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE | (nBits == 16 ? uint32_t(CONVERT_DST_GRAY) : 0);
    args.nLowBit = bWholeRange ? 0 : bm.PhysicalLowBit;
    args.nHighBit = bWholeRange ? bm.BitsPerPixel - 1 : bm.PhysicalHighBit;
    args.pPaletteSrc = lutInForce(bm, bWholeRange);
    return args;
}

// Whether the stored row holds the samples.
bool holds(const BITMAPRECORD& bm, const PixelTest& test) noexcept {
    const bool bColor = bm.Order == ORDER_BGR || bm.Order == ORDER_RGB;
    switch (test.samples) {
        case PixelTest::kColors:
            return bColor && (bm.BitsPerPixel == 24 || bm.BitsPerPixel == 32);
        case PixelTest::kHsv:
            return false;
        case PixelTest::kGrays:
            return bm.BitsPerPixel == 16 && !lutInForce(bm, test.bWholeRange) &&
                   levelBits(bm, test.bWholeRange).nBits == 16;
        case PixelTest::kRawGrays:
            return bm.BitsPerPixel == 16;
        default:
            return true;
    }
}

void unpack12(const uint8_t* pRow, uint8_t* pWords, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) storeLittle(pWords + i * 2, uint16_t(Pixel<12>::get(pRow, i)));
}

}  // namespace

const RGBQUAD* lutInForce(const BITMAPRECORD& bm, bool bWholeRange) noexcept {
    return (bm.Flags & BMF_USE_LUT) && bm.pLUT && coversLevels(bm.LUTLength, levelBits(bm, bWholeRange)) ? bm.pLUT
                                                                                                         : nullptr;
}
bool isDeepGray(const BITMAPRECORD& bm) noexcept {
    return bm.Order == ORDER_GRAY && (bm.BitsPerPixel == 12 || bm.BitsPerPixel == 16);
}
bool isWideGray(const BITMAPRECORD& bm) noexcept { return isDeepGray(bm) && !lutInForce(bm); }

// A word is shifted to the top, so the limits are too; they may be shifted out of reach.
WordTest signedRange(const BITMAPRECORD& bm, int32_t nLow, int32_t nHigh) noexcept {
    const int32_t nTop = bm.BitsPerPixel - 1, nShift = bm.PhysicalHighBit < 0 ? 0 : nTop - bm.PhysicalHighBit;
    WordTest test;
    test.nShift = std::clamp(nShift, 0, 15);
    test.uFlip = 0x8000;
    const int64_t nLowest = int64_t(nLow) << test.nShift, nHighest = int64_t(nHigh) << test.nShift;
    if (nLowest > INT16_MAX || nHighest < INT16_MIN) {
        test.low = 1;  // above high
        return test;
    }
    test.low = uint16_t(std::max<int64_t>(nLowest, INT16_MIN) ^ 0x8000);
    test.high = uint16_t(std::min<int64_t>(nHighest, INT16_MAX) ^ 0x8000);
    return test;
}

MaskRows::MaskRows(BITMAPRECORD& bm, const PixelTest& test) noexcept
    : m_bm(bm), m_test(test), m_reader(bm, bm.BytesPerLine), m_bConvert(!holds(bm, test)) {
    if (!m_bConvert && bm.Order == ORDER_RGB) {
        ByteTest& bytes = m_test.bytes;
        for (uint8_t* c : {bytes.low, bytes.high, bytes.stop}) std::swap(c[0], c[2]);
    }
    if (!m_bConvert) return;
    const bool bGrays = test.samples == PixelTest::kGrays || test.samples == PixelTest::kRawGrays;
    m_args = argsTo(bm, bGrays ? 16 : 24, test.bWholeRange);
    m_row.allocate(R_CalcConvertSize(bm.Width, bm.BitsPerPixel, bm.Width, m_args.nBitsDst));
}

const uint8_t* MaskRows::samples(const uint8_t* pRow) noexcept {
    if (!m_bConvert) return pRow;
    const auto n = size_t(m_bm.Width);
    if (m_test.samples == PixelTest::kRawGrays) {
        unpack12(pRow, m_row.get(), n);
    } else if (m_test.samples == PixelTest::kHsv && m_bm.BitsPerPixel == 24 && m_bm.Order == ORDER_BGR) {
        bestHsvFromBgr8()(pRow, m_row.get(), n);
        return m_row.get();
    } else if (m_bm.Order == ORDER_ROMM) {
        std::memcpy(m_row.get(), pRow, size_t(packedBytes(n, uint32_t(m_bm.BitsPerPixel))));
        convertInPlace(m_args, m_row.get());
    } else {
        convertRow(m_args, m_row.get(), pRow);
    }
    if (m_test.samples == PixelTest::kHsv) bestHsvFromBgr8()(m_row.get(), m_row.get(), n);
    return m_row.get();
}

bool MaskRows::read(int32_t nRow, uint64_t* pMask) noexcept {
    const auto n = size_t(m_bm.Width);
    const uint8_t* pRow = m_reader.read(nRow);
    if (!pRow) return false;
    pRow = samples(pRow);
    switch (m_test.samples) {
        case PixelTest::kIndices:
            m_ops.indices[m_bm.BitsPerPixel](pRow, pMask, n, m_test.indices);
            break;
        case PixelTest::kColors:
        case PixelTest::kHsv:
            (m_bConvert || m_bm.BitsPerPixel == 24 ? m_ops.bytes24 : m_ops.bytes32)[m_test.bytes.kind](pRow, pMask, n,
                                                                                                       m_test.bytes);
            break;
        case PixelTest::kGrays:
        case PixelTest::kRawGrays:
            m_ops.words16(pRow, pMask, n, m_test.words);
            break;
        default:
            std::memset(pMask, 0, size_t(maskWords(n)) * sizeof *pMask);
    }
    return true;
}

}  // namespace rv
