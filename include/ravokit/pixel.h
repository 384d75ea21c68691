// Single pixels, as colours or as bytes. Rows and columns are those of the storage, whatever ViewPerspective says.
// Every call locks the bitmap, moves the pixel by row access and releases it: loops over pixels are for rows.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// The colour of a pixel, red in the low byte, then green and blue. Palette pixels give the entry, or without a table
/// their index with the top byte 1. Grey of 12 and 16 bits gives the entry of pLUT, under BMF_USE_LUT, of the level in
/// the physical bit range, or else that level scaled to 16 bits with the top byte 4. Wide samples give their high
/// bytes; ORDER_ROMM is converted. 0x80000000 stands for no colour: a null bitmap, one without storage or of an unknown
/// record size, a pixel outside of it, grey of 32 bits, and rows that can't be read.
RV_API COLORREF R_GetPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol) RV_NOEXCEPT;
/// The same, with the pixel's alpha in *pAlpha, which may be null: byte 3 at 32 bits, the word scaled to a byte and
/// truncated at 64, else 255, also on failure.
RV_API COLORREF R_IntGetPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, uint8_t* pAlpha) RV_NOEXCEPT;

/// Stores a colour, or a colour reference, in a pixel, as R_TranslateBitmapColor names it in the bitmap with no source.
/// Deeper bitmaps than 8 bits get what the row converter makes of it, full alpha included; grey goes to the physical
/// bit range, a reference to grey (top byte 4) as a level of 16 bits. A bitmap with a region takes pixels inside of
/// that only. Returns 1, also for a pixel that the region keeps out, or: -2 null or without storage, -789 unknown
/// record size, -13 outside of the bitmap, or an order that its depth doesn't take; the status of a lock or of a row.
RV_API int32_t R_PutPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crColor) RV_NOEXCEPT;
/// The same call under the name that the library uses.
RV_API int32_t R_IntPutPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crColor) RV_NOEXCEPT;

/// Reads the bytes that hold a pixel, ((nCol + 1) x depth + 7) / 8 - nCol x depth / 8 of them; below 8 bits and at 12
/// they hold parts of its neighbours too. pData has room for uSize bytes.
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -13 outside of the bitmap or uSize too small,
/// the status of the lock, -1 the row can't be read.
RV_API int32_t R_GetPixelData(BITMAPRECORD* pBitmap, void* pData, int32_t nRow, int32_t nCol,
                              uint32_t uSize) RV_NOEXCEPT;
/// Writes these bytes, those bits of them that belong to neighbours too. Statuses of R_GetPixelData.
RV_API int32_t R_PutPixelData(BITMAPRECORD* pBitmap, const void* pData, int32_t nRow, int32_t nCol,
                              uint32_t uSize) RV_NOEXCEPT;

RV_C_END
