// Dithering: rows of any format become palette indices of 1 to 8 bits, with a state from row to row.
//
// The state hangs on the source bitmap (pDitherData). It is started, run row by row from top to bottom, and stopped:
//
//     bm.DitheringMethod = DITHER_FLOYD;
//     if (R_StartDithering(&bm, NULL, 2) == 1) {
//         for (y = 0; y < bm.Height; ++y) {
//             R_GetBitmapRow(&bm, row, y, bm.BytesPerLine);
//             R_DitherLine(&bm, row, out);
//         }
//         R_StopDithering(&bm);
//     }
//
// A state belongs to one thread at a time.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// BITMAPRECORD::DitheringMethod. The error diffusions walk every row from left to right and keep the errors of red,
/// green and blue as sums of weighted integers; a sum is divided, towards zero, when it becomes the addend of a pixel.
enum {
    DITHER_NONE = 0,            ///< the nearest colour
    DITHER_FLOYD = 1,           ///< Floyd-Steinberg, sixteenths
    DITHER_STUCKI = 2,          ///< after Stucki: one row below with the weights 3, 6, 12, 6, 1 of 42 in all
    DITHER_BURKES = 3,          ///< Burkes, in 32nds
    DITHER_SIERRA = 4,          ///< Sierra, in 32nds
    DITHER_STEVENSON_ARCE = 5,  ///< Stevenson-Arce, in 200ths
    DITHER_JARVIS = 6,          ///< Jarvis-Judice-Ninke, in 48ths
    DITHER_ORDERED = 7,         ///< dispersed dots, 8 by 8
    DITHER_CLUSTERED = 8        ///< clustered dots, 8 by 8
};

/// Starts dithering of pBitmap by its DitheringMethod to rows of nBitsPerPixelDst (1 to 8) bits.
///
/// pPalette has uColors entries and is copied; null is the fixed palette of the least depth that has as many. Indices
/// into a fixed palette, or into the web palette, are computed; those into any other are looked up in a cache by the
/// top five bits of red, green and blue, which is filled with what R_FindPaletteIndex says of the colour with the other
/// bits clear. Entries with bit 0 or 1 of the fourth byte set are left out of that search; where it has none left, the
/// index is 0. Entries past uColors are black. An index is cut to the depth of the row.
///
/// pUserMatchTable, or null, is such a cache of 32768 cells as R_CreateUserMatchTable makes; it is then used for every
/// palette. A cell is 0, or 1 more than the number of an entry among those that are searched. The table stays the
/// caller's, is written to as cells are needed, and must outlive the state.
///
/// The state takes the depth of the source, its palette at depths up to 8, and its PhysicalLowBit and PhysicalHighBit
/// where it has grey samples of 12, 16 or 32 bits (a negative one stands for the end of the sample). A state that is
/// there already is lost with its memory: stop before you start again.
///
/// Returns 1, or: -13 null bitmap, -789 unknown record size, -13 unknown depth of the source, uColors outside 1 to 256,
/// nBitsPerPixelDst outside 1 to 8, unknown method, -1 no memory.
RV_API int32_t R_StartDitheringExt(BITMAPRECORD* pBitmap, const RGBQUAD* pPalette, uint32_t uColors,
                                   int32_t nBitsPerPixelDst, uint32_t* pUserMatchTable) RV_NOEXCEPT;

/// The same to the depth of uColors: up to 2 are 1 bit, 4, 8, 16, 32, 64, 128 and 256 are 2 to 8 bits.
/// Returns as R_StartDitheringExt, and -13 for any other uColors, after the record size was checked.
RV_API int32_t R_StartDithering(BITMAPRECORD* pBitmap, const RGBQUAD* pPalette, uint32_t uColors) RV_NOEXCEPT;

/// Dithers the next row: Width pixels of pRowIn, in the bitmap's format, to pRowOut, which must not overlap them. Width
/// may be smaller than it was at the start; columns further right keep their errors. A row in ORDER_ROMM is changed in
/// place to ORDER_BGR. Bits of the last byte of pRowOut that belong to no pixel stay.
///
/// Grey samples of 12, 16 and 32 bits are levels: the top bits of the physical range, all of them where the bitmap has
/// pLUT16 or pLUT, else at most 8. pLUT16, else pLUT, gives the colour of a level whether or not BMF_USE_LUT is set;
/// levels past the end of the table are black.
///
/// Returns 1, or: -13 null bitmap, -789 unknown record size, -13 null row or no state; 1 with nothing done for a Width
/// below 1; -13 a Width larger than at the start.
RV_API int32_t R_DitherLine(BITMAPRECORD* pBitmap, uint8_t* pRowIn, uint8_t* pRowOut) RV_NOEXCEPT;

/// Frees the state. Returns 1, also without a state, or: -13 null bitmap, -789 unknown record size.
RV_API int32_t R_StopDithering(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

RV_C_END
