// Sizes by filters: an area's average where an axis shrinks, linear or a natural cubic spline where it grows. Each axis
// is treated by itself: a row is resized first, then rows are combined. resize.h has the calls that choose.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Gives the bitmap another size in place. uFlags are the RSZ_ bits; RSZ_ALPHA_WEIGHTED and RSZ_RESAMPLE_COARSE count.
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -1 no memory, those of R_DupBitmapNewDim, of
/// the lock, of dithering and of row calls, the status callback's. On failure the bitmap stands as it was.
RV_API int32_t R_ResampleBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) RV_NOEXCEPT;
/// The same between two bitmaps with storage. nStructSize is the size of pDest's record.
/// Returns 1, or: -2 null or without storage, -789 unknown size, and those above.
RV_API int32_t R_ResampleBitmapInt(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize,
                                   uint32_t uFlags) RV_NOEXCEPT;
/// R_ResampleBitmap with a spline on an axis that grows.
RV_API int32_t R_BicubicResampleBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight,
                                       uint32_t uFlags) RV_NOEXCEPT;
/// R_ResampleBitmapInt with a spline on an axis that grows.
RV_API int32_t R_BicubicResampleBitmapInt(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize,
                                          uint32_t uFlags) RV_NOEXCEPT;

RV_C_END
