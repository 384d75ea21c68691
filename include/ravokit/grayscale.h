// Grey rows: window levels of 32-bit grey samples.
#pragma once

#include "types.h"

RV_C_BEGIN

/// Turns nCount grey samples of 32 bits into bytes: v = (sample >> nShift) & uMask becomes (v - Min) x 255 / (Max -
/// Min), rounded to nearest and cut to the width. If Min and Max are equal, nCount bytes are set to all ones. nShift
/// outside 0 to 31 gives v 0. The rows may start at the same byte, and need no alignment.
RV_API void R_Gray32To8(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift,
                        int64_t Min, int64_t Max) RV_NOEXCEPT;
/// The same with words and 65535. If Min and Max are equal, just nCount bytes are set, half the row, as it has always
/// been.
RV_API void R_Gray32To16(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift,
                         int64_t Min, int64_t Max) RV_NOEXCEPT;

RV_C_END
