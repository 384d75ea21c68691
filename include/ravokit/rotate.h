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

/// sin and cos of an angle in hundredths of a degree, times 16384, rounded to nearest. Made for 0 to 35999; other
/// angles are taken modulo a whole turn.
RV_API int32_t R_SinValue(int32_t nAngle) RV_NOEXCEPT;
RV_API int32_t R_CosValue(int32_t nAngle) RV_NOEXCEPT;

/// Turns the picture clockwise, as it is displayed, about its middle, by nAngle hundredths of a degree. crFill colours
/// what it leaves uncovered, alpha full. Without ROT_RESIZE the canvas keeps its size, and corners are cut.
///
/// The view becomes TOP_LEFT, or BOTTOM_LEFT where that is what the old one goes back to. Half turns, and quarter turns
/// of square pictures or with ROT_RESIZE, move pixels without loss. Otherwise each pixel takes the nearest one of the
/// source, or what a filter makes of those around it, sample by sample as they are stored: 16-bit pixels are one
/// sample, also where they hold colours, whose fields run into each other then; 32-bit pixels are four of 8 bits, also
/// where they are grey, whose levels come out wrong then. What a filter finds outside of the picture has the colour of
/// the fill. The filters are left out below 8 bits, at 8 bits with a palette that is no grey ramp, and for grey with a
/// lookup table. Resolutions turn along.
///
/// Returns 1, or: -789 unknown record size (null passes on), and those of R_IntRotateBitmap.
RV_API int32_t R_RotateBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, uint32_t uFlags, COLORREF crFill) RV_NOEXCEPT;
/// The same, with the part of a progress that it reports, in percent, which begins with nStart, and with the centre of
/// ROT_CENTER in storage coordinates. With that flag there are no exact turns.
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -13 a centre beyond 2^30 or that is no number,
/// -11 a canvas of no valid size, -1 no memory, those of R_DupBitmapNewDim, of R_RotateBitmap90, of the lock and of row
/// calls, the status callback's. On failure the bitmap stands as it was.
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
