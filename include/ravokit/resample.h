// Sizes by filters: an area's average where an axis shrinks, linear or a natural cubic spline where it grows. Each axis
// is treated by itself: a row is resized first, then rows are combined. resize.h has the calls that choose.
//
// Samples are those of the destination: 32-bit grey, grey of 16 bits for 12 and 16, 16 bits a sample at 48 and 64, else
// 8 bits of blue, green, red, and alpha at 16 and 32. An 8-bit bitmap with a grey palette is grey by its indices; other
// palette depths are dithered (Floyd-Steinberg) to the destination's palette. Grey goes to colours by its lookup table.
//
// Every division truncates, that of an area along the row and that of the rows as well; lines between samples are
// floored. Sums are exact. With RSZ_ALPHA_WEIGHTED the colours of an area of pixels with alpha weigh alpha + 1 each; on
// an axis that grows it changes nothing.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Gives the bitmap another size in place. uFlags are the RSZ_ bits; RSZ_ALPHA_WEIGHTED and RSZ_RESAMPLE_COARSE count.
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -1 no memory, those of R_DupBitmapNewDim, of
/// the lock, of dithering and of row calls, the status callback's. On failure the bitmap stands as it was. Its region
/// and overlays are resized with it. Grey with a table that is no straight ramp (BMF_NONLINEAR_LUT) becomes 24 bits.
RV_API int32_t R_ResampleBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) RV_NOEXCEPT;
/// The same between two bitmaps with storage, which may differ in depth. nStructSize is the size of pDest's record.
/// Where the views differ, rows are mirrored top to bottom. Returns 1, or: -2 null or without storage, -789 unknown
/// size, and those above.
RV_API int32_t R_ResampleBitmapInt(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize,
                                   uint32_t uFlags) RV_NOEXCEPT;
/// R_ResampleBitmap with a spline on an axis that grows; RSZ_RESAMPLE_COARSE doesn't count.
RV_API int32_t R_BicubicResampleBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight,
                                       uint32_t uFlags) RV_NOEXCEPT;
/// R_ResampleBitmapInt with a spline on an axis that grows.
RV_API int32_t R_BicubicResampleBitmapInt(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize,
                                          uint32_t uFlags) RV_NOEXCEPT;

RV_C_END
