// Sizes: whole bitmaps into another width and height, and the resizer of single rows.
//
// Positions are stepped by integer quotient and remainder, never as a fraction. Whole-bitmap calls tell the thread's
// status callback 0 first and then each new percent; what it returns other than 1 ends the call with that status.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of uFlags of the whole-bitmap calls. Without any, the nearest pixel is taken.
///
/// RSZ_FAVOUR_BLACK counts the black pixels of the part of the source that a pixel stands for: as many columns and rows
/// as old / new tells (at least 1), with one more where the remainder carries. The pixel is black if there are t of
/// them, where t is the root of (old / new widths) x (old / new heights), each at least 1; but 1 for 2, 2 for 3 and 3
/// for 4. Black is the colour of 0-bits, of 1-bits where the palette is GRAYKIND_DESCENDING.
enum {
    RSZ_FAVOUR_BLACK = 0x01,     ///< 1-bit gray: counts black pixels, and keeps thin black lines
    RSZ_RESAMPLE = 0x02,         ///< the area's average where an axis shrinks, linear where it grows
    RSZ_BICUBIC = 0x04,          ///< cubic spline if either axis grows, else as RSZ_RESAMPLE
    RSZ_TO_GRAY = 0x08,          ///< a 1-bit gray bitmap becomes one of 8 bits
    RSZ_RESAMPLE_COARSE = 0x10,  ///< RSZ_RESAMPLE with weights of 10 bits in place of 12
    RSZ_ALPHA_WEIGHTED = 0x20    ///< 32 bits but for gray, and 64 bits: colours count by their alpha
};

/// Gives the bitmap another size in place. Its region and overlays are resized with it.
///
/// RSZ_FAVOUR_BLACK and RSZ_TO_GRAY count for 1-bit gray bitmaps (R_IsGrayScaleBitmap), where they stand in place of
/// RSZ_RESAMPLE; the latter beats the former. Of the filters RSZ_RESAMPLE_COARSE is looked at first, then RSZ_RESAMPLE,
/// then RSZ_BICUBIC, and only then those two.
///
/// With RSZ_ALPHA_WEIGHTED a bitmap that has an alpha below 2 is changed first, so that no dark fringe comes from
/// colours that nobody sees. Unless it gets narrower, each pixel with less than half of full alpha takes the colour c
/// of its right neighbour, else of its left one, if that has at least half: ((full - a) x own + a x c) >> 8 (16 at 64
/// bits), a being the neighbour's alpha; so does the neighbour on its other side. The end pixels are their own
/// neighbours there. Then, unless it gets lower, pixels of alpha 0 take the colour of the pixel below, else of the one
/// above, if that has any alpha.
///
/// Returns 1 (at once for the same size), or: -13 null or without storage, -789 unknown record size, -1 no memory;
/// those of R_DupBitmapNewDim, of the lock and of row calls; the status callback's. On failure the bitmap stands as it
/// was, but for the colours under transparent pixels, which RSZ_ALPHA_WEIGHTED evens out first.
RV_API int32_t R_SizeBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) RV_NOEXCEPT;

/// Fills pDest, which has storage, with the picture of pSource in pDest's size, depth and view perspective. A region of
/// pDest's own follows the source's size to its own, and so do overlays. Returns 1, or: -13 null, -789 unknown record
/// size, -2 without storage, -1 no memory; those of view changes, of R_ColorResBitmap and of R_IntResizeBitmap.
///
/// TOP_LEFT and BOTTOM_LEFT need no change of view. Another depth is reached by R_ColorResBitmap, with
/// CRF_BYTEORDERBGR above 8 bits, else with CRF_OPTIMIZEDPALETTE; pDest keeps its palette. RSZ_TO_GRAY then makes
/// RSZ_RESAMPLE of all flags, unless pDest has 1 bit.
RV_API int32_t R_ResizeBitmap(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t uFlags) RV_NOEXCEPT;

/// The bare resize between two bitmaps with storage. Rows are mirrored top to bottom where the views differ;
/// RSZ_FAVOUR_BLACK, which takes bitmaps of 1 bit and comes first, mirrors those of a BOTTOM_LEFT bitmap. Then
/// RSZ_RESAMPLE counts, then RSZ_BICUBIC; RSZ_RESAMPLE_COARSE counts beside these. The nearest pixel is that of column
/// or row new x old size / new size, truncated.
/// Returns 1, or: -2 null, without storage or empty; those of R_ResampleBitmapInt and R_BicubicResampleBitmapInt; -27
/// different depths, without these two; the status of a lock, -1 no memory, those of row calls, the status callback's.
RV_API int32_t R_IntResizeBitmap(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t uFlags) RV_NOEXCEPT;

// ---- single rows -------------------------------------------------------------------------------------------------

/// The state of the row resizer.
typedef struct RESIZEDATA {
    int32_t nLastRow;  ///< -1 at the start
    int32_t bBackward;
    int32_t nOldWidth, nOldHeight, nNewWidth, nNewHeight;
    int32_t nStepX;  ///< nOldWidth / nNewWidth, and the rest
    int32_t nRemX;
    int32_t nZero1, nZero2;
    int32_t nRepeat;  ///< nNewHeight / nOldHeight, and the rest
    int32_t nRemY;
    int32_t nZero3;
    int32_t nAccY;
} RESIZEDATA;
RV_RECORD_SIZE(RESIZEDATA, 56, 56);

/// Starts resizing rows of a picture of nOldWidth x nOldHeight. A new size of 0 is computed from the other one, so that
/// the aspect ratio stays. The caller ends it with R_StopResize.
/// Returns 1, or: -13 null, no size to be computed, or a negative one; -1 no memory.
RV_API int32_t R_StartResize(int32_t nOldWidth, int32_t nOldHeight, int32_t nNewWidth, int32_t nNewHeight,
                             void** ppResizeData) RV_NOEXCEPT;
/// Resizes row nRow in place: pBuffer holds the old row, and has room for the wider of both. Rows come in sequence, in
/// either direction. *pXSize is the new width, *pYSize how often the row is to be used. That is new / old height, and
/// one more where the remainder carries between this row and the next one; a row that comes right after the one below
/// it asks for the carry between the row above and itself. A row of an unknown depth stays as it is.
/// Returns *pYSize, 0 for a row that drops out (its pixels stay then), or: -13 null.
RV_API int32_t R_Resize(uint8_t* pBuffer, int32_t nRow, int32_t nBitsPerPixel, int32_t* pXSize, int32_t* pYSize,
                        void* pResizeData) RV_NOEXCEPT;
/// Frees the state. Returns 1, or -13 null.
RV_API int32_t R_StopResize(void* pResizeData) RV_NOEXCEPT;

/// Writes nCount pixels of a row by nearest columns. The walk starts at column nStartCol with the accumulator nAcc;
/// each pixel adds nRem, and a carry at nDenominator. Shrinking, the column moves by nStep and by one on the carry;
/// with bEnlarge it moves on the carry alone. Depths of 1 to 8, 12, 16, 24, 32, 48 and 64 bits; below 8 bits and at 12
/// what follows the last pixel in the uDstBytes bytes of pDst becomes 0. Null buffers, other depths and a denominator
/// below 1 write nothing. pDst may overlap pSrc where each pixel is read before it is written.
RV_API void R_GetResizedScanLine(int32_t nBitsPerPixel, uint32_t uDstBytes, int32_t nStartCol, int32_t nStep,
                                 int32_t nAcc, int32_t nRem, const uint8_t* pSrc, uint8_t* pDst, int32_t nCount,
                                 int32_t nDenominator, int32_t bEnlarge) RV_NOEXCEPT;
/// The same pixels, with bEnlarge written from the last to the first, so that a row that grows may overlay itself. nAcc
/// and nRem are not above nDenominator there.
RV_API void R_ReverseGetResizedScanLine(int32_t nBitsPerPixel, uint32_t uDstBytes, int32_t nStartCol, int32_t nStep,
                                        int32_t nAcc, int32_t nRem, const uint8_t* pSrc, uint8_t* pDst, int32_t nCount,
                                        int32_t nDenominator, int32_t bEnlarge) RV_NOEXCEPT;

RV_C_END
