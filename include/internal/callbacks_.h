// What allocation callbacks are shown of a bitmap.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

BITMAPALLOCATEINFO allocateInfo(const BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette) noexcept;

}  // namespace rv
