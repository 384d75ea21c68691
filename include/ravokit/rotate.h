// Turns by any angle, in hundredths of a degree, and exact quarter turns.
#pragma once

#include "bitmap.h"
#include "palette.h"

RV_C_BEGIN

/// Bits of R_RotateBitmap's uFlags. The two filters do nothing where pixel values are not linear (palettes, gray with a
/// table) and below 8 bits.
enum {
    ROT_RESIZE = 1,    ///< the canvas grows to hold the whole picture
    ROT_BILINEAR = 2,  ///< blends with the neighbour on the side of the fraction
    ROT_BICUBIC = 4,   ///< natural spline of 4 by 4 pixels; beats ROT_BILINEAR
    ROT_CENTER = 8     ///< about a given point; the canvas grows as with ROT_RESIZE
};

/// sin and cos of an angle of 0 to 35999 hundredths of a degree, times 16384. The range is not checked.
RV_API int32_t R_SinValue(int32_t nAngle) RV_NOEXCEPT;
RV_API int32_t R_CosValue(int32_t nAngle) RV_NOEXCEPT;

/// Turns the picture clockwise, as it is displayed, about its middle. crFill colours what it leaves uncovered.
/// Returns 1, or: -789 unknown record size (null passes on), and those of R_IntRotateBitmap.
RV_API int32_t R_RotateBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, uint32_t uFlags, COLORREF crFill) RV_NOEXCEPT;
/// The same, with the part of a progress that it reports, in percent, and with the centre of ROT_CENTER in storage
/// coordinates. Returns 1, or: -2 null or without storage, -1 no memory, those of R_DupBitmapNewDim, of the lock and of
/// row calls, the status callback's. On failure the bitmap stands as it was.
RV_API int32_t R_IntRotateBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, uint32_t uFlags, COLORREF crFill,
                                 int32_t nStart, int32_t nEnd, float fCenterX, float fCenterY) RV_NOEXCEPT;

/// Turns the picture by 90 degrees as it is seen (stored views 2, 4, 5 and 7 turn the other way), without loss; width,
/// height and resolutions change places. nStart and nEnd are the percent that its progress begins and ends with.
/// A BMF_COMPRESSED bitmap of at most 18,000,000 bytes of rows is not compressed any more afterwards, if there is
/// memory for that.
/// Returns 1, or: -2 null, -789 unknown record size, -2 without storage, -1 no memory, those of R_DupBitmapNewDim, of
/// the lock and of row calls, the status callback's. On failure the bitmap stands as it was.
RV_API int32_t R_RotateBitmap90(BITMAPRECORD* pBitmap, int32_t bClockwise, int32_t nStart, int32_t nEnd) RV_NOEXCEPT;
/// Turns packed rows of whole 32-bit words: nWidth x nHeight pixels of pSource into nHeight x nWidth of pDest. What a
/// row of pDest has behind its last pixel is unspecified.
/// Returns 1 (also for no pixels), or -13: null, a negative size, an unknown depth.
RV_API int32_t R_RotateBuffer90(const uint8_t* pSource, uint8_t* pDest, int32_t bClockwise, int32_t nWidth,
                                int32_t nHeight, int32_t nBitsPerPixel) RV_NOEXCEPT;
/// The same by 180 degrees, into another buffer of the same size.
RV_API int32_t R_RotateBuffer180(const uint8_t* pSource, uint8_t* pDest, int32_t nWidth, int32_t nHeight,
                                 int32_t nBitsPerPixel) RV_NOEXCEPT;

RV_C_END
