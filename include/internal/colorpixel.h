// One pixel of a bitmap's own format from a colour.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

// The bit range of grey samples that a colour goes to, as the record tells it: low, and high or -1.
struct BitRange {
    int32_t nLow, nHigh;
};

// The pixel of a bitmap of more than 8 bits, in the low-order bytes, from a colour that R_TranslateBitmapColor named in
// it. To grey an index of the lookup table (kind 1) goes as it is, a grey level (kind 4) as one of 16 bits. Alpha is
// full. 1, or the status of the converter.
int32_t deepPixel(const BITMAPRECORD& bm, COLORREF cr, const BitRange& range, uint64_t& uPixel) noexcept;

// The pixel, in its low-order bytes, with which a colour fills a bitmap of any depth; uAlpha, 0 to 255, goes to 32 and
// 64 bits.
uint64_t fillPixel(BITMAPRECORD& bm, COLORREF cr, uint32_t uAlpha) noexcept;
// A whole row of it, BytesPerLine bytes.
void fillRow(const BITMAPRECORD& bm, uint64_t uPixel, uint8_t* pRow) noexcept;

}  // namespace rv
