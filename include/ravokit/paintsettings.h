// How bitmaps are painted: the thread's display mode, a bitmap's brightness, contrast and gamma, and where a picture
// goes within a rectangle.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of the display mode.
enum {
    DM_ORDERED_DITHER = 1,       ///< dithering by the ordered matrix, not by error diffusion
    DM_DIRECT_STRETCH = 2,       ///< a sink without a display may get the stored picture whole
    DM_INDEXED_PAINT = 4,        ///< palette indices go out, unless the sink forbids them
    DM_DITHER = 8,               ///< dithers for devices of few colours
    DM_BITONAL_COVERAGE = 16,    ///< 1-bit pictures scale by counting pixels
    DM_DITHER_CLUSTERED = 32,    ///< the clustered matrix
    DM_BITONAL_SMOOTH = 64,      ///< 1-bit pictures scale by spreading runs
    DM_DITHER_8BIT = 128,        ///< with DM_DITHER, also for devices of 8 bits
    DM_FIXED_PALETTE_ALT = 256,  ///< the second fixed palette of 8 bits
    DM_RESAMPLE = 512,           ///< scales by areas and lines
    DM_BICUBIC = 1024,           ///< scales by splines, unless DM_RESAMPLE is set
    DM_RGB_SWAP = 2048,          ///< rows of ORDER_RGB go out as they are
    DM_RESET_INDICES = 4096      ///< a request that has nothing to do here: the table of indices never changes
};

/// Replaces the bits of uMask in the calling thread's display mode with those of uValue. A thread starts with
/// DM_INDEXED_PAINT and DM_DITHER. Returns the mode before.
RV_API uint32_t R_SetDisplayMode(uint32_t uMask, uint32_t uValue) RV_NOEXCEPT;
/// The calling thread's display mode.
RV_API uint32_t R_GetDisplayMode(void) RV_NOEXCEPT;

/// Set the bitmap's brightness or contrast (-1000 to 1000, 0 is neutral) or gamma (in hundredths, 100 is neutral) for
/// painting, and rebuild its paint tables; pixels stay. Gray of 12 and 16 bits gets a table of 16 bits, too, from the
/// first call on; any brightness other than 0 disturbs that table, as its offset grows from entry to entry. The value
/// that is set already changes nothing.
/// Return 1, or: -13 null, -789 unknown record size, -13 a value out of range, -1 no memory, with all as it was.
RV_API int32_t R_SetPaintIntensity(BITMAPRECORD* pBitmap, int32_t nIntensity) RV_NOEXCEPT;
RV_API int32_t R_SetPaintContrast(BITMAPRECORD* pBitmap, int32_t nContrast) RV_NOEXCEPT;
RV_API int32_t R_SetPaintGamma(BITMAPRECORD* pBitmap, uint32_t uGamma) RV_NOEXCEPT;
/// The value, or: -13 null, -789 unknown record size. Brightness and contrast have these values, too.
RV_API int32_t R_GetPaintIntensity(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_GetPaintContrast(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_GetPaintGamma(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;

/// How a picture is fitted.
enum {
    FIT_NORMAL = 0,     ///< its own size
    FIT_IF_LARGER = 1,  ///< its own size if that fits, else FIT_ALWAYS
    FIT_ALWAYS = 2,     ///< as large as fits
    FIT_WIDTH = 3,      ///< as wide as the rectangle
    FIT_STRETCH = 4,    ///< the rectangle
    FIT_HEIGHT = 5      ///< as high as the rectangle
};
/// Where it stands along an axis.
enum {
    ALIGN_START = 0,
    ALIGN_CENTER = 1,         ///< at the start if it is larger
    ALIGN_CENTER_ALWAYS = 2,  ///< may begin before the rectangle
    ALIGN_END = 3             ///< at the start if it is larger
};
/// Makes *pRect the place of a picture of nWidth x nHeight within it. Sizes keep the aspect ratio but for FIT_STRETCH
/// and are rounded to whole pixels; coordinates beyond 32 bits become the nearest that fit. Returns 1, or -13: null, a
/// size below 1, another fit or alignment.
RV_API int32_t R_CalculatePaintModeRectangle(int32_t nWidth, int32_t nHeight, RECT* pRect, uint32_t uFit,
                                             uint32_t uHorizontal, uint32_t uVertical) RV_NOEXCEPT;

RV_C_END
