// Regions made of the pixels of a bitmap that pass a test of their colour. Each is the caller's, as those of region.h.
#pragma once

#include "internal/convert_.h"
#include "internal/pixelmasks.h"
#include "internal/region_.h"
#include "internal/rowaccess.h"
#include "ravokit/colorrgn.h"

namespace rv {

// The workers of the calls of colorrgn.h: what each of them gives R_SetBitmapRgn. They check nothing, access the bitmap
// for the time of the scan and leave its own region alone. Return 1, or: the status of the lock or of a row, -1; then
// *ppRgn is as it was. The pixels of a 1-bit mask that are white: regionOfColor(mask, 0xFFFFFF, &pRgn).
int32_t regionOfColor(BITMAPRECORD& bm, COLORREF crColor, RavoRgn** ppRgn) noexcept;
int32_t regionOfRgbRange(BITMAPRECORD& bm, COLORREF crLow, COLORREF crHigh, RavoRgn** ppRgn) noexcept;
int32_t regionOfHsvRange(BITMAPRECORD& bm, uint32_t hsvLow, uint32_t hsvHigh, RavoRgn** ppRgn) noexcept;
// Also -13 for a seed outside of the bitmap, or one that has no colour. pBorder may be null.
int32_t regionOfWand(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const COLORREF* pBorder, COLORREF crLower,
                     COLORREF crUpper, RavoRgn** ppRgn) noexcept;

// ---- the rows of a bitmap under a test -----------------------------------------------------------------------------

// What is asked of the pixels of a bitmap: which samples, and the test of them.
struct PixelTest {
    enum Samples {
        kNothing,   // no pixel passes
        kIndices,   // palette indices
        kColors,    // blue, green, red
        kHsv,       // hue, saturation, value
        kGrays,     // words of deep grey, at full scale
        kRawGrays,  // the same as they are stored
    };
    Samples samples = kNothing;
    bool bWholeRange = false;  // of the samples of deep grey, rather than their physical bits
    IndexTest indices;
    ByteTest bytes;
    WordTest words;
};

// The lookup table of a deep grey bitmap whose samples go by it, or null. One that lacks levels is not used.
const RGBQUAD* lutInForce(const BITMAPRECORD& bm, bool bWholeRange = false) noexcept;
// Grey of 12 or 16 bits; and that without a lookup table in force, whose channels have 16 bits here.
bool isDeepGray(const BITMAPRECORD& bm) noexcept;
bool isWideGray(const BITMAPRECORD& bm) noexcept;

// Stored words of deep grey whose values as signed numbers, without the bits above the physical range, lie within
// limits.
WordTest signedRange(const BITMAPRECORD& bm, int32_t nLow, int32_t nHigh) noexcept;

// Makes the test of indices out of one of palette entries.
template <class F>
void passEntries(const BITMAPRECORD& bm, const RGBQUAD* pEntries, PixelTest& test, F&& passes) {
    for (uint32_t i = 0; i < 1u << bm.BitsPerPixel; ++i)
        if (passes(pEntries[i])) test.samples = PixelTest::kIndices, test.indices.pass(i);
}

// The pixels of a mask as the spans of the builder's row, which is nWidth wide.
inline void addMaskRow(RgnBuilder& builder, const uint64_t* pMask, uint32_t nWidth) noexcept {
    builder.RowWords += uint32_t(bestMasks().spans(pMask, nWidth, builder.next()) - builder.next());
}

// Reads the rows of a bitmap as masks of the pixels that pass.
class MaskRows {
    BITMAPRECORD& m_bm;
    PixelTest m_test;
    RowReader m_reader;
    ConvertArgs m_args;
    bool m_bConvert = false;
    Buffer<uint8_t> m_row;
    const MaskOps& m_ops = bestMasks();

    const uint8_t* samples(const uint8_t* pRow) noexcept;

public:
    MaskRows(BITMAPRECORD& bm, const PixelTest& test) noexcept;
    // 1, or why a row can't be read.
    int32_t status() const noexcept { return m_bConvert && !m_row ? -1 : m_reader.status(); }
    bool read(int32_t nRow, uint64_t* pMask) noexcept;
};

}  // namespace rv
