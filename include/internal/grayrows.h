// Rows of grey samples with a window: levels of 12, 16 and 32-bit samples to grey of other depths.
#pragma once

#include "internal/convsteps.h"
#include "ravokit/grayscale.h"

namespace rv {

// The level v = (sample >> nShift) & uMask of samples of 12 or 16 bits becomes grey of 8, 12 or 16 bits: that of entry
// v of pLUT16, else of pPalette, at the full scale of the destination, or without a table v x full scale / uMask,
// truncated, where uMask is less than the full scale, else v cut to the depth; 12 bits to 12 are scaled by any mask.
// uMask is 2^n - 1 of up to 16 bits. The rows may start at the same byte.
void grayRow(int32_t nBitsSrc, int32_t nBitsDst, size_t nCount, const RGBQUAD* pPalette, const RGBQUAD64* pLUT16,
             const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, uint32_t nShift) noexcept;

// The sibling of R_Gray32To8 for 12 bits. If Min and Max are equal, all pixels are set to all ones.
void gray32To12(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift, int64_t Min,
                int64_t Max) noexcept;

// Adds the steps between a level and grey of nBitsDst (8, 12, 16 or 32) as told at grayRow.
void addLevelsToGray(RowPlan& plan, RowWork& w, int32_t nBitsDst, const RGBQUAD* pPalette,
                     const RGBQUAD64* pLUT16) noexcept;
// Adds v x nFull / mask, truncated, where that changes anything.
void addScaleLevels(RowPlan& plan, RowWork& w, uint32_t nFull) noexcept;

// Tells MinVal and MaxVal the range of a bitmap's greys, which the rows alone know at 32 bits. 1, or a status of
// R_IntGetMinMaxValGray.
int32_t refreshGrayRange(BITMAPRECORD& bm) noexcept;

}  // namespace rv
