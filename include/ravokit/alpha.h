// Alpha: moving it in and out of bitmaps, and rows of colour samples with and without it multiplied in.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Multiplies the three colour samples of each pixel by its alpha, the fourth sample, in place: c x alpha / full scale,
/// truncated; full scale is 255 at 32 bits and 65535 at 64. Alpha 0 gives 0, full alpha leaves the samples as they are.
/// pRow is the caller's row of uBytes bytes; a part of a pixel at its end is left alone, and so is a row of any other
/// depth, or none. The samples are little-endian words at 64 bits; the row needs no alignment. Always returns 1.
RV_API int32_t R_ConvertToPremultipliedAlpha(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes) RV_NOEXCEPT;

/// The way back: c x full scale / alpha, truncated and cut to the sample's width without a clamp, so that a sample
/// above its alpha wraps. Alpha 0 gives 0, full alpha leaves the samples as they are. Always returns 1.
RV_API int32_t R_ConvertFromPremultipliedAlpha(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes) RV_NOEXCEPT;

/// Sets the alpha of all pixels of a row of uBytes bytes: the low byte of uAlpha at 32 bits, the low word at 64. A part
/// of a pixel at its end, and a row of any other depth, is left alone. Always returns 1.
RV_API int32_t R_SetRowAlphaValues(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes, uint32_t uAlpha) RV_NOEXCEPT;

// ---- bitmaps -----------------------------------------------------------------------------------------------------
//
// Alpha is the fourth sample of colour of 32 and 64 bits, and bit 15 of 5-5-5 pixels. Grey of 32 bits has none.

/// Makes pAlphaBitmap, a record of uStructSize bytes that is overwritten without being freed, a grey bitmap of the
/// other's alpha: of 16 bits (ORDER_GRAY) for 64 bits, else of 8 bits with a grey palette; any depth but 32 and 64
/// gives full alpha, 5-5-5 too. It has the view, the resolution and a copy of the region, in a file if the bitmap is in
/// one. Returns 1, or: -13 null, or a bitmap without storage; -789 unknown record size; those of R_AllocateBitmap, of a
/// lock or of a row; -1 no memory. On failure pAlphaBitmap is freed.
RV_API int32_t R_GetBitmapAlpha(BITMAPRECORD* pBitmap, BITMAPRECORD* pAlphaBitmap, uint32_t uStructSize) RV_NOEXCEPT;

/// Replaces the alpha of a bitmap by the greys of another one, pixel by pixel in storage coordinates; pixels that
/// pAlphaBitmap doesn't have keep their alpha. A bitmap that has no alpha is resolved first, to 64 bits if it has 48,
/// else to 32; ORDER_RGB stays, of more than 16 bits, all else becomes ORDER_BGR. 5-5-5 pixels take the top bit of the
/// alpha.
///
/// An alpha bitmap of 1 bit (for 5-5-5), 8 bits (for 5-5-5 and 32 bits) or 16 bits (for 64 bits) is used as it stands,
/// if it is GRAYKIND_ASCENDING and has the same view; of any other one a copy is made and turned into grey of 8 or 16
/// bits. Conversions report to the status callback.
/// Returns 1, or: -13 null or without storage; -789 unknown record size; those of R_IntIsGrayScaleBitmap, R_CopyBitmap,
/// R_GrayScaleBitmap and R_ColorResBitmap, and the bitmap is as it was; the status of a lock or of a row.
RV_API int32_t R_SetBitmapAlpha(BITMAPRECORD* pBitmap, BITMAPRECORD* pAlphaBitmap) RV_NOEXCEPT;

/// R_SetRowAlphaValues on every row, or on the rows that the region's bounds reach.
/// Returns 1, or: -13 null or without storage, -789 unknown record size, -1 no memory, the status of a lock or of a
/// row.
RV_API int32_t R_SetBitmapAlphaValues(BITMAPRECORD* pBitmap, uint32_t uAlpha) RV_NOEXCEPT;

/// 1 if the alpha of a bitmap of 32 bits tells anything: the first pixel's is neither 0 nor 255, or the pixels differ.
/// 0 for a null bitmap, any other depth, grey, and rows that can't be read.
RV_API int32_t R_BitmapHasMeaningfulAlpha(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

RV_C_END
