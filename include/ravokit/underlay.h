// A texture under a picture.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// How the texture covers the picture.
enum {
    UNDERLAY_TILE = 0,    ///< repeated, from the first stored row and column
    UNDERLAY_STRETCH = 1  ///< resized to the picture
};

/// Makes the pixels of pBitmap brighter or darker by a texture, which is the grey of pUnderlay: each of blue, green and
/// red becomes channel + grey - 128, cut to 0 and 255. The texture is brought to the bitmap's view first. pUnderlay is
/// not changed; it may be pBitmap.
///
/// Only pixels of the bitmap's region are written. Alpha stays. Other formats than 24 and 32 bits go through 24-bit
/// colour: grey by its physical bits, whatever its table; wide samples by their high bytes; up to 8 bits are dithered
/// back to the bitmap's own palette, row by row, whichever pixels are written.
///
/// The status callback hears what the steps on the texture tell.
///
/// Returns 1, or: -2 null or without storage; -789 unknown record size; -13 another mode; for the texture those of
/// R_CopyBitmap, R_GrayScaleBitmap, R_ChangeBitmapViewPerspective and R_SizeBitmap; -1 no memory; those of
/// R_StartDitheringExt and of the locks; the count of bytes of a short read, or the status of a row call, which leave
/// the rows done so far.
RV_API int32_t R_UnderlayBitmap(BITMAPRECORD* pBitmap, BITMAPRECORD* pUnderlay, uint32_t uMode) RV_NOEXCEPT;

RV_C_END
