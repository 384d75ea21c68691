// Alpha: rows of colour samples with and without their alpha multiplied in.
#pragma once

#include "types.h"

RV_C_BEGIN

/// Multiplies the three colour samples of each pixel by its alpha, the fourth sample, in place: c x alpha / full scale,
/// truncated; full scale is 255 at 32 bits and 65535 at 64. Alpha 0 gives 0, full alpha leaves the samples as they are.
/// pRow is the caller's row of uBytes bytes; a part of a pixel at its end is left alone, and so is a row of any other
/// depth. The samples are little-endian words at 64 bits; the row needs no alignment. Always returns 1.
RV_API int32_t R_ConvertToPremultipliedAlpha(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes) RV_NOEXCEPT;

/// The way back: c x full scale / alpha, truncated and cut to the sample's width without a clamp, so that a sample
/// above its alpha wraps. Alpha 0 gives 0, full alpha leaves the samples as they are. Always returns 1.
RV_API int32_t R_ConvertFromPremultipliedAlpha(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes) RV_NOEXCEPT;

RV_C_END
