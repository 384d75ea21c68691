// Compressed rows: run lists of 1-bit rows, on plain buffers and in bitmaps that keep their rows as such lists.
//
// A run list is a sequence of 16-bit lengths of runs of equal pixels from left to right. The first run is of 0-bits
// (it is 0 where the row starts with a 1-bit), then the colour alternates; the sum is the width. Bit 0x80 of the first
// byte is column 0. Runs of length 0 are legal anywhere; a run of more than 65535 pixels is written as 65535, 0 and
// what is left.
//
// A record is a list as it travels: the count of the values, 32 bits, then the values, all little-endian. Records of
// several rows follow each other without padding, so a count may stand on any even address. A record of nWidth pixels
// that the library writes has at most (nWidth + 3) x 2 bytes. The count of a record that is read is trusted: the
// library can't measure the buffer behind it. A list that is too long for the width is cut there, one that ends early
// stands for 0-bits from there on.
//
// pWork, where a call has it, is a row buffer of BytesPerLine bytes for bitmaps that are not compressed; null makes the
// call allocate one.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// A heap of run lists; opaque here.
typedef struct HEAP HEAP;

// ---- plain buffers

/// Writes the record of nWidth pixels. pBits is the byte that holds the first of them, at bit nStartCol & 7 from the
/// top. Returns nWidth, or: -13 null or negative width.
RV_API int32_t R_CompressRow(uint16_t* pRecord, const uint8_t* pBits, int32_t nStartCol, int32_t nWidth) RV_NOEXCEPT;
/// Writes the records of nRows rows, which lie whole 32-bit words apart.
/// Returns 1, also for no rows, or: -13 null or negative width.
RV_API int32_t R_CompressRows(uint16_t* pRecords, const uint8_t* pBits, int32_t nWidth, int32_t nRows) RV_NOEXCEPT;
/// Skips nStartCol pixels of the list and writes the nWidth that follow from bit 0x80 of pBits on. All (nWidth + 7) / 8
/// bytes are written. Returns 1, or: -13 null or negative start or width.
RV_API int32_t R_ExpandRow(const uint16_t* pRecord, uint8_t* pBits, int32_t nStartCol, int32_t nWidth) RV_NOEXCEPT;
/// Expands nRows records to rows that lie whole 32-bit words apart; what lies between rows stays.
/// Returns 1, also for no rows, or: -13 null or negative width.
RV_API int32_t R_ExpandRows(const uint16_t* pRecords, uint8_t* pBits, int32_t nWidth, int32_t nRows) RV_NOEXCEPT;
/// Copies nRows records in reverse order. The buffers do not overlap. Returns 1, or: -13 null.
RV_API int32_t R_FlipCompressedBuffer(const uint16_t* pIn, uint16_t* pOut, int32_t nRows) RV_NOEXCEPT;
/// Copies nRows records with each list reversed: a 0 in front is dropped, and an even list gets one. pOut has room for
/// one value more in each record. The buffers do not overlap. Returns 1, or: -13 null.
RV_API int32_t R_MirrorCompressedBuffer(const uint16_t* pIn, uint16_t* pOut, int32_t nRows) RV_NOEXCEPT;

// ---- rows of 1-bit bitmaps in any storage class

/// Reads the lists of nLines rows from nRow on; rows past the last one are dropped. A compressed bitmap gives its lists
/// as they are stored.
/// Returns 1, also where no rows are left, or: -13 null bitmap or records, -789 unknown record size, -13 negative row,
/// -1 no memory, a negative status of R_GetBitmapRowCol, -5 a short read.
RV_API int32_t R_GetBitmapRowCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, uint16_t* pRecords, int32_t nRow,
                                        int32_t nLines) RV_NOEXCEPT;
/// Reads nWidth pixels of a row from nCol on as one list; pixels past Width are dropped. A row of a compressed bitmap
/// that was never written, asked for as a whole, gives one run where it is narrower than 32768 pixels, else values of
/// 32767 and what is left, whose sum is the width.
/// Returns 1, or: -13 null bitmap or record, -789 unknown record size, -13 row, column or width outside the bitmap, -1
/// no memory, a negative status of R_GetBitmapRowCol, -5 a short read.
RV_API int32_t R_GetBitmapRowColCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, uint16_t* pRecord, int32_t nRow,
                                           int32_t nCol, int32_t nWidth) RV_NOEXCEPT;
/// Writes nLines rows from nRow on; rows past the last one are dropped. A compressed bitmap stores the lists as they
/// are where they fit its width. When its heaps then take more than BytesPerLine x Height bytes, compression has
/// stopped to pay, and the bitmap becomes a conventional one if it can.
/// Returns 1, also where no rows are left, or: -13 null bitmap or records, -789 unknown record size, -13 negative row,
/// -1 no memory, the status of R_PutBitmapRowCol, -5 a short write.
RV_API int32_t R_PutBitmapRowCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, const uint16_t* pRecords, int32_t nRow,
                                        int32_t nLines) RV_NOEXCEPT;
/// Writes nWidth pixels of a row from nCol on; pixels past Width are dropped. Other bitmaps than compressed ones are
/// written by whole bytes, as R_PutBitmapRowCol does: from the byte that holds nCol, (nWidth + 7) / 8 bytes.
/// Returns 1, or: -13 null bitmap or record, -789 unknown record size, -13 row, column or width outside the bitmap, -1
/// no memory, the status of R_PutBitmapRowCol, -5 a short write.
RV_API int32_t R_PutBitmapRowColCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, const uint16_t* pRecord, int32_t nRow,
                                           int32_t nCol, int32_t nWidth) RV_NOEXCEPT;

/// Writes stretches of a row of any depth; all other pixels stay. pRow is a whole row in the bitmap's format. pSegments
/// tells nSegmentWords values in pairs (start, end), end exclusive, in ascending order, counted from column nCol; what
/// lies outside the row is dropped. bKeepAlpha keeps the fourth sample of 32 and 64 bits and the top bit of 16 bits
/// that are not gray; with ORDER_BGR565 it is ignored. Where the bitmap has callbacks the row is merged in the buffer
/// of pfnGetRowBuffer, if it answers 1 and gives one.
/// Returns 1, or: -13 null bitmap, row or segments, -789 unknown record size, -13 row outside a bitmap without
/// callbacks, -1 no memory or a short write, the status of a row call.
RV_API int32_t R_PutBitmapRowSegments(BITMAPRECORD* pBitmap, const uint8_t* pRow, int32_t nRow, int32_t nCol,
                                      const uint32_t* pSegments, uint32_t nSegmentWords,
                                      int32_t bKeepAlpha) RV_NOEXCEPT;

// ---- compression of whole bitmaps

/// Moves the pixels to another storage class: 0 not compressed, 1 run lists (1 bit per pixel only), 2 compressed strips
/// (1, 8 and 24 bits per pixel only). On failure the bitmap stands as it was.
/// Returns 1, also where that is its class already, or: -2 null or not allocated, -789 unknown record size, -13 another
/// value or a depth that the class doesn't hold, those of R_DupBitmapNewDim and R_CopyBitmapData.
RV_API int32_t R_ChangeBitmapCompression(BITMAPRECORD* pBitmap, int32_t nCompression) RV_NOEXCEPT;
/// Undoes either compression, or moves a bitmap that has none to run lists.
/// Returns 1, or: -2 null, not allocated or not of 1 bit per pixel, -789 unknown record size, those of
/// R_ChangeBitmapCompression.
RV_API int32_t R_ToggleBitmapCompression(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

// ---- heaps of compressed bitmaps

/// Gives back what the heaps of a compressed bitmap have free at their ends, but for 128 bytes each. uReserved is not
/// consulted. Stops at the first heap, from the last to the first, that has nothing to give.
/// Returns 1, or 0 where it stopped, or: -13 null, not allocated or not compressed, -789 unknown record size.
RV_API int32_t R_TrimBitmapHeap(BITMAPRECORD* pBitmap, uint32_t uReserved) RV_NOEXCEPT;
/// Makes room for lists of nBytes bytes in all, in equal shares at the ends of the heaps of a compressed bitmap.
/// Returns 1, or 0 where memory is short, or: -13 null, not allocated or not compressed.
RV_API int32_t R_GrowBitmapHeap(BITMAPRECORD* pBitmap, uint32_t nBytes) RV_NOEXCEPT;
/// Gives a node back to its heap, joined with its free neighbours. A null heap and offset 0 are let pass.
RV_API void R_HeapFree(HEAP* pHeap, uint32_t nOffset) RV_NOEXCEPT;
/// Frees a heap; null is let pass.
RV_API void R_HeapTerm(HEAP* pHeap) RV_NOEXCEPT;

RV_C_END
