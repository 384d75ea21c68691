// Copying, duplicating, trimming and filling whole bitmaps and rectangles. All work on every storage class.
//
// Copies report to the copy callback (R_SetCopyStatusCallBack), so that an operation which copies inside doesn't
// disturb its caller's progress. A callback that stops ends the call with its status.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of R_DupBitmapNewDim's uFlags.
enum {
    DUP_ALLOCATE = 1,        ///< allocate storage of the source's class
    DUP_PALETTE = 2,         ///< duplicate palette and gray tables; else the pointers are shared
    DUP_REGION = 4,          ///< duplicate the region, cut to the new size; else the pointer is shared
    DUP_OVERLAYS = 8,        ///< duplicate the overlays; else the pointer is shared
    DUP_BEGIN_REPLACE = 64,  ///< pfnBeginCopy with flag 0, and the source's lock count
    DUP_BEGIN_COPY = 128     ///< pfnBeginCopy with flag 1, and pfnEndCopy of the source with 1
};

/// Makes pDst a bitmap that resembles pSrc, with other dimensions or depth: flags, view, resolution, order, palette,
/// gray parameters, playback fields, region, overlays, paint tables, extra data. Returns 1, or: -13 null, or a source
/// without storage; -789 unknown size, the source's or uStructSize; those of R_InitBitmap, of the callbacks, of
/// R_AllocateBitmap; -1 no memory. On failure nothing is left behind, and a copy that began has ended. Who drops the
/// duplicate instead of putting it in the source's place calls R_IntEndCopyBitmap(pSrc, 0).
RV_API int32_t R_DupBitmapNewDim(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t Width,
                                 int32_t Height, int32_t BitsPerPixel, uint32_t uFlags) RV_NOEXCEPT;
/// Undoes a duplicate made with uFlags: what it shares is unlinked, what it owns is freed.
RV_API void R_FreeDuplicateBitmap(BITMAPRECORD* pBitmap, uint32_t uFlags) RV_NOEXCEPT;

/// Copies the pixels between two bitmaps of the same format. The rows that both have are moved; what a row of pDst has
/// beyond one of pSrc is cleared.
/// Returns 1 (also for one and the same bitmap), or: -2 null or without storage, -789 unknown record size, the status
/// of a lock, -1 no memory or a short write, the copy callback's status.
RV_API int32_t R_CopyBitmapData(BITMAPRECORD* pDst, BITMAPRECORD* pSrc) RV_NOEXCEPT;

/// Makes pDst a full copy of pSrc in the same storage class. pDst is not freed first.
/// Returns 1 (also for one and the same bitmap), or: -13 null, or a source without storage; -789 unknown size; those of
/// R_DupBitmapNewDim and R_CopyBitmapData.
RV_API int32_t R_CopyBitmap(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize) RV_NOEXCEPT;
/// R_CopyBitmap into the storage that uMemoryFlags asks for.
RV_API int32_t R_CopyBitmap2(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize,
                             uint32_t uMemoryFlags) RV_NOEXCEPT;

/// Makes pDst a bitmap of nWidth x nHeight pixels with the rectangle of pSrc at column nCol and row nRow, in storage
/// coordinates. What lies outside the source is cleared. A null pDst, or pSrc itself, replaces the source.
/// Returns 1, or: -13 null source or one without storage, -789 unknown size, -11 negative width or height; those of
/// R_DupBitmapNewDim and of the row calls; the copy callback's status.
RV_API int32_t R_CopyBitmapRect(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t nCol,
                                int32_t nRow, int32_t nWidth, int32_t nHeight) RV_NOEXCEPT;
/// R_CopyBitmapRect into the storage that uMemoryFlags asks for.
RV_API int32_t R_CopyBitmapRect2(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t nCol,
                                 int32_t nRow, int32_t nWidth, int32_t nHeight, uint32_t uMemoryFlags) RV_NOEXCEPT;

/// Cuts the bitmap to a rectangle in storage coordinates; parts outside of it are dropped first.
/// Returns 1, or: -13 null or without storage, -789 unknown record size, -11 nothing is left; those of
/// R_CopyBitmapRect.
RV_API int32_t R_TrimBitmap(BITMAPRECORD* pBitmap, int32_t nCol, int32_t nRow, int32_t nWidth,
                            int32_t nHeight) RV_NOEXCEPT;

/// Fills the bitmap, or its region if it has one, with a colour. Gray bitmaps take the colour's gray level in their bit
/// range, palette depths the nearest entry, 32 and 64 bits uAlpha (0 to 255) as alpha.
/// Returns 1, or: -13 null or without storage, -789 unknown record size, -1 no memory, the status of a lock or a row
/// call, that of the status callback, which runs for disk bitmaps only.
RV_API int32_t R_FillBitmap2(BITMAPRECORD* pBitmap, COLORREF crFill, uint32_t uAlpha) RV_NOEXCEPT;
/// R_FillBitmap2 with alpha 255.
RV_API int32_t R_FillBitmap(BITMAPRECORD* pBitmap, COLORREF crFill) RV_NOEXCEPT;
/// Sets all bits of the pixels of the bitmap, or of its region, to 0. Statuses of R_FillBitmap2.
RV_API int32_t R_ClearBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

RV_C_END
