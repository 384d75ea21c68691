// Row access: the road to the pixels of every storage class.
//
// A row buffer holds the pixels just as the bitmap stores them: BitsPerPixel bits each, in the bitmap's Order, sub-byte
// depths with the most significant bit first. Row 0 is the first stored row, whatever ViewPerspective says. The bitmap
// is locked with R_AccessBitmap around these calls. Rows, columns and lengths are not range-tested: they are the
// caller's to keep inside the bitmap. A length beyond the rest of the row runs on into the rows that follow.
//
// The four calls return the count of bytes moved, or: -13 null bitmap or buffer, -789 unknown record size, the non-zero
// result of pfnGetRow or pfnPutRow, -2 conventional bitmap without pData (movable memory that isn't locked), -4 seek
// failed, -7 read failed, -5 write failed, -1 no storage class, a tile that can't be written or no memory for a run
// list, -13 a row or column outside of a compressed bitmap.
//
// Tiles give the whole count for every read; what can't be read is clear. Compressed bitmaps (1 bit) take columns by
// whole bytes and store no bits behind the last column. Compressed strips count a column as three bytes at 8 bits, too,
// and move less than was asked for where the rows end or a strip can't be opened. A write to strips that can't be done
// moves the bitmap to conventional memory or to disk first; where that fails, its status is the result.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Reads nBytes from the start of row nRow.
RV_API int32_t R_GetBitmapRow(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, uint32_t nBytes) RV_NOEXCEPT;
/// Reads nBytes of row nRow from the byte that holds column nCol.
RV_API int32_t R_GetBitmapRowCol(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                                 uint32_t nBytes) RV_NOEXCEPT;
/// Writes nBytes from the start of row nRow.
RV_API int32_t R_PutBitmapRow(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nRow, uint32_t nBytes) RV_NOEXCEPT;
/// Writes nBytes of row nRow from the byte that holds column nCol.
RV_API int32_t R_PutBitmapRowCol(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                                 uint32_t nBytes) RV_NOEXCEPT;

RV_C_END
