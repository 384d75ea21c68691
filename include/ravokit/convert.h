// The row converter: one row of pixels from any format to any other, in place.
//
// Depths are values of BitsPerPixel, and 0 for eight-bit grey without a palette. The buffer starts with the source row
// and ends with the destination row; it must hold the larger of the two (R_CalcConvertSize).
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Conversion flags.
enum {
    CONVERT_SRC_GRAY = 0x001,      ///< the source holds grey samples
    CONVERT_DST_GRAY = 0x002,      ///< the destination holds grey samples
    CONVERT_SRC_BITRANGE = 0x004,  ///< nLowBit and nHighBit describe the source sample
    CONVERT_DST_BITRANGE = 0x008,  ///< nLowBit and nHighBit describe the destination sample
    CONVERT_TRANSPARENT = 0x080,   ///< alpha is derived from crTransparent
    CONVERT_SIGNED = 0x100         ///< 16-bit grey samples are signed; for 16-bit grey to 16-bit grey
};

RV_API int32_t R_ConvertBuffer(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                               int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                               const RGBQUAD* pPaletteDst) RV_NOEXCEPT;

RV_C_END
