// Grey rows: window levels of 32-bit grey samples.
#pragma once

#include "types.h"

RV_C_BEGIN

/// Turns nCount grey samples of 32 bits into bytes: v = (sample >> nShift) & uMask becomes (v - Min) x 255 / (Max -
/// Min), rounded to nearest and cut to the width. nShift outside 0 to 31 gives v 0. The rows may start at the same
/// byte, and need no alignment.
///
/// With Max from -2^31 to 2^31 - 1, v - Min and Max - Min are cut to signed 32-bit numbers, so that signed samples have
/// their window too: -1 is 999 above a Min of -1000. Ties then go away from zero, and where the cut divisor is 0 or the
/// quotient doesn't fit 32 bits, it is -1, all ones. With another Max the arithmetic is in 64 bits, adding half the
/// range before the division, which truncates.
///
/// If Min and Max are equal, nCount bytes are set to all ones.
RV_API void R_Gray32To8(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift,
                        int64_t Min, int64_t Max) RV_NOEXCEPT;
/// The same with words and 65535. If Min and Max are equal, just nCount bytes are set, half the row, as it has always
/// been.
RV_API void R_Gray32To16(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift,
                         int64_t Min, int64_t Max) RV_NOEXCEPT;

RV_C_END
