// Grey: turning bitmaps into grey ones, telling which are, and window levels of 32-bit grey samples.
#pragma once

#include "bitmap.h"

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

// ---- bitmaps -----------------------------------------------------------------------------------------------------

/// Turns the bitmap into a grey one of nBitsPerPixel, 8, 12, 16 or 32, in place. 8 bits get an ascending grey palette,
/// deeper ones ORDER_GRAY with the whole sample for their bit range. Geometry, view, resolution, region, overlays,
/// extra data, playback fields and locks stay; paint and lookup tables go. The new storage is conventional, or a file
/// if the old one was.
///
/// Colour, palette entries included, becomes grey by (blue + 5 green + 2 (red + 2)) >> 3, at full scale: g x (2^n - 1)
/// / 255, truncated. 48 and 64 bits go by the high bytes for 8 bits, and by the words for deeper grey, of which the top
/// bits are kept (32 bits repeat the word). Grey of 12 and 16 bits goes by its physical bit range: through pLUT16 if
/// that is in force, else through pLUT if there is one, else v x (2^n - 1) / m, truncated, with m the full scale of the
/// range, which is cut to its top n bits if it has more. 16-bit greys of pLUT16 stay such at 32 bits. Grey of 32 bits
/// is stretched from its smallest and largest level (R_IntGetMinMaxValGray) by R_Gray32To8 and its kin, without a
/// table; to 32 bits it is scaled by its bit range. BMF_SIGNED is not consulted, and is cleared: R_ClearNegativePixels
/// comes first.
///
/// A grey bitmap that has this depth, no table and the whole sample for its physical range is left as it is.
///
/// Returns 1, or: -2 null or without storage; -789 unknown record size; -1486 a table whose length doesn't fit the bit
/// range; -27 another depth; those of R_AllocateBitmap, of locks, of rows and of the callbacks; -1 no memory; the
/// status of the status callback, which hears the rows. On failure the bitmap is as it was.
RV_API int32_t R_GrayScaleBitmap(BITMAPRECORD* pBitmap, int32_t nBitsPerPixel) RV_NOEXCEPT;

/// Makes pBitmapDst a grey copy of the source, of the least of 8, 12, 16 and 32 bits that has a bit nHighBit; the
/// physical bit range of the source is brought to the whole sample, as R_GrayScaleBitmap does. A negative nHighBit
/// stands for as many bits as that range has (8 for a coloured source). pBitmapDst is a record that was initialised or
/// cleared; what it has is freed once the copy is made. It may be the source, which then is replaced.
/// Returns 1, or: -2 null, or a source without storage; -789 unknown record size; -13 nHighBit above 31; those of
/// R_CopyBitmap and R_GrayScaleBitmap, and then both bitmaps are as they were.
RV_API int32_t R_CreateGrayScaleBitmap(BITMAPRECORD* pBitmapDst, BITMAPRECORD* pBitmapSrc,
                                       int32_t nHighBit) RV_NOEXCEPT;

/// The grey kind of a bitmap (GRAYKIND_ of palette.h). Up to 8 bits it is that of the palette, or of the fixed one
/// where it has none; greys whose count isn't 2^depth are unordered. A grey bitmap is ascending, unless a lookup table
/// is in use (BMF_USE_LUT): then its entries decide. They are a ramp if both ends are those of the scale (1 off at 8
/// bits, 255 at 16) and at most three pieces of even step, 1 off, make up the table. With BMF_SIGNED each half of it
/// has to be such a ramp, between its own ends, in the same direction.
/// Returns the kind, or: -13 null, -789 unknown record size, -1486 a table whose length doesn't fit the bit range.
RV_API int32_t R_IsGrayScaleBitmap(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// The same, with the lookup table taken for one in use if bForceLUT is not 0.
RV_API int32_t R_IntIsGrayScaleBitmap(const BITMAPRECORD* pBitmap, int32_t bForceLUT) RV_NOEXCEPT;

/// The smallest and the largest grey of a bitmap. Grey of 32 bits is searched for it, by the unsigned levels of its
/// physical bit range; others tell MinVal and MaxVal.
/// Returns 1, or: -13 null, -789 unknown record size, -2 without storage (32 bits), -1 no memory, the status of a lock
/// or of a row; both numbers are then as they were.
RV_API int32_t R_IntGetMinMaxValGray(BITMAPRECORD* pBitmap, int64_t* pMin, int64_t* pMax) RV_NOEXCEPT;

/// Makes 0 of every negative sample of a signed bitmap, and the bitmap unsigned. Samples have the width that they have
/// in the pixel: 8 bits at 24 and in colour of 32 bits, 16 at 48 and 64, else all of the pixel. Bitmaps without
/// BMF_SIGNED, and those of 16 bits that aren't grey, are left alone; the status callback hears 0 and 100.
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -1 no memory for a row; BMF_SIGNED is cleared
/// by now: the status of the lock, of a row, or of the status callback, which hears the rows; those done stay done.
RV_API int32_t R_ClearNegativePixels(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

RV_C_END
