// Colour models: rows of pixels from one model to another by way of blue, green, red, and single colours as hue,
// saturation, value.
#pragma once

#include "types.h"

RV_C_BEGIN

/// The models of R_ConvertColorSpace with 8 bits a sample, and their samples in order.
enum {
    COLORSPACE_BGR = 0,   ///< blue, green, red
    COLORSPACE_YUV = 1,   ///< Y, U, V as signed words on a scale of 16384: Y 0 to 16384, U blue - Y, V red - Y
    COLORSPACE_CMYK = 2,  ///< cyan, magenta, yellow, black
    COLORSPACE_HSV = 3,   ///< hue, saturation, value
    COLORSPACE_HLS = 4,   ///< hue, lightness, saturation
    COLORSPACE_YIQ = 5,   ///< Y, I, Q as signed words on a scale of 16384
    COLORSPACE_CMY = 6    ///< cyan, magenta, yellow
};
/// The same models with 16 bits a sample, in little-endian words. They are numbered in another order.
enum {
    COLORSPACE_BGR16 = 16,
    COLORSPACE_YUV16 = 32,
    COLORSPACE_YIQ16 = 48,
    COLORSPACE_HSV16 = 64,
    COLORSPACE_HLS16 = 80,
    COLORSPACE_CMY16 = 96,
    COLORSPACE_CMYK16 = 112
};

/// Converts nWidth pixels from one model to another through blue, green, red; also a model to itself, which costs it
/// what the pivot doesn't hold. Both codes are of 8 bits or both of 16. The buffers are the caller's; they lie apart or
/// start at the same byte, and need no alignment.
///
/// What comes out of YUV and YIQ beyond the range of a sample is cut to the sample's width without a clamp, and so is a
/// hue of a full circle or more, which is 0 at 8 bits and may reach 384 at 16.
///
/// Hue at 8 bits is 256 to the circle for HSV and 255 for HLS. At 16 bits it is 65792 to the circle for HSV, both ways,
/// and 65535 for HLS.
///
/// Returns 1, or: -13 null buffer, a code of 8 bits with one of 16, an unknown code, a negative nWidth; -1 no memory.
RV_API int32_t R_ConvertColorSpace(const uint8_t* pBufferSrc, uint8_t* pBufferDst, int32_t nWidth, int32_t nFormatSrc,
                                   int32_t nFormatDst) RV_NOEXCEPT;

/// Hue in the low byte, then saturation, then value, of the low three bytes of crColor. The top byte is not defined.
RV_API uint32_t R_RGBtoHSV(COLORREF crColor) RV_NOEXCEPT;
/// Stores what R_RGBtoHSV returns; a null pHSV is left alone.
RV_API void R_RGBtoHSV2(COLORREF crColor, uint32_t* pHSV) RV_NOEXCEPT;
/// The plain colour of a word as R_RGBtoHSV returns it, whose top byte is not consulted. It may differ from the colour
/// that the word was made of by what the rounding of the hue takes.
RV_API COLORREF R_HSVtoRGB(uint32_t hsv) RV_NOEXCEPT;
/// R_HSVtoRGB of *pHSV; 0 for null.
RV_API COLORREF R_HSVtoRGB2(const uint32_t* pHSV) RV_NOEXCEPT;

RV_C_END
