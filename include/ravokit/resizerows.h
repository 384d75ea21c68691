// Rows of a resized picture on demand: any span of any row, in any order, in the caller's depth, order and palette,
// without a destination bitmap.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of uFlags. Without an output order the pixels come in ORDER_RGB. Bits 16 to 23 are the dithering method.
enum {
    RSR_GRAY_RANGE = 0x00002,  ///< gray output goes to bits nLowBit to nHighBit of its samples
    RSR_OUT_BGR = 0x00004,     ///< ORDER_BGR; beats the other two
    RSR_RESAMPLE = 0x00010,    ///< the area's average where an axis shrinks, linear where it grows
    RSR_BICUBIC = 0x00020,     ///< spline where an axis grows, else as RSR_RESAMPLE; colours come multiplied by alpha
    RSR_OUT_GRAY = 0x00080,    ///< ORDER_GRAY; beats the next one. 8 bits are samples, not indices
    RSR_LUT_AFTER = 0x01000,   ///< a gray source's table is applied after resizing
    RSR_NO_LUT = 0x02000,      ///< a gray source's table is ignored
    RSR_OUT_ORDER7 = 0x04000   ///< ORDER_BGR565
};

/// Gives source rows: uBytes bytes of row nRow from pixel column nCol, as the bitmap stores them. nCol starts on a
/// byte. Returns 1, or a status, which becomes that of the request.
typedef int32_t (*RESIZEROWCALLBACK)(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                                     uint32_t uBytes, void* pUserData);

/// Starts the engine: rows of pBitmap resized to nWidth x nHeight. A size of 0 is computed from the other one, so that
/// the aspect ratio stays. nBitsPerPixel is the depth that rows come in; 0 keeps the pixel values as samples of 8 bits:
/// palette indices as they are, others as gray. pPalette (null or empty: the source's) has uPaletteEntries and is
/// copied. A null pfnCallback reads the bitmap itself. nLowBit and nHighBit are the range of RSR_GRAY_RANGE; a high bit
/// of -1 is the top one. The bitmap stays locked until R_StopResizeBitmap, which also frees what *ppResizeData points
/// at. One state serves one thread at a time.
///
/// A picture that keeps size and depth is copied as it is stored, whatever the output order; RSR_BICUBIC multiplies its
/// colours too, at 64 bits those of each 4096 pixels of a request by byte 3 of their first pixel, plus 1, / 65536. Else, without a filter, a
/// pixel is the source pixel at x * source width / width, in the row that starts last at or before its own. Indices of
/// 1 to 8 bits are dithered, but for 8 bits of a gray source without a palette, of a palette of 256 grays, and of an
/// unfiltered source with just this palette. A table of a gray source with fewer entries than levels counts as black
/// past its end; gray of 32 bits has none. Indices of a gray palette are worked on as the grays that they stand for, in
/// whatever order; but those of 8 bits with 256 entries stay indices where 8 bits are asked for with just this palette
/// or none.
///
/// Returns 1, or: -2 null bitmap; -789 unknown record size; -13 null ppResizeData, no size to be computed, or a
/// negative one; -27 unknown depth of the bitmap; -13 unknown nBitsPerPixel; -1 no memory; those of R_StartDitheringExt
/// and of the lock. On failure nothing is kept.
RV_API int32_t R_StartResizeBitmap2(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, int32_t nBitsPerPixel,
                                    const RGBQUAD* pPalette, uint32_t uPaletteEntries, uint32_t uFlags,
                                    RESIZEROWCALLBACK pfnCallback, void* pUserData, void** ppResizeData,
                                    int32_t nLowBit, int32_t nHighBit) RV_NOEXCEPT;
/// R_StartResizeBitmap2 without a gray range.
RV_API int32_t R_StartResizeBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, int32_t nBitsPerPixel,
                                   const RGBQUAD* pPalette, uint32_t uPaletteEntries, uint32_t uFlags,
                                   RESIZEROWCALLBACK pfnCallback, void* pUserData, void** ppResizeData) RV_NOEXCEPT;
/// Writes uBytes bytes of row nRow from column nCol on; at depths below 8 and at 12, nCol is one that starts on a byte.
/// Rows in any order; rows outside the picture are the nearest one. The result does not depend on other
/// requests, but for error diffusion, which carries errors from one to the next. Averages hand the rest of a rounded
/// weight on from column nCol, and splines start a few columns before it: pixels may differ by a few levels from those
/// of a request with another nCol. Bytes behind the row's last pixel are 0.
/// Returns 1, or: -13 no such state, a null buffer or a negative column; -74 a column, or more bytes, than the row has;
/// -1 no memory for a stretch of columns that is new; the row source's status, which is -7 for a short row; those of
/// dithering and conversion.
RV_API int32_t R_GetResizedRowCol(void* pResizeData, uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                                  uint32_t uBytes) RV_NOEXCEPT;
/// Ends the engine. Returns 1, or -13 no such state.
RV_API int32_t R_StopResizeBitmap(void* pResizeData) RV_NOEXCEPT;

RV_C_END
