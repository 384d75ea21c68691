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

}  // namespace rv
