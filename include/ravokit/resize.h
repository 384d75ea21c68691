// Sizes: whole bitmaps into another width and height, and the resizer of single rows.
//
// Positions are stepped by integer quotient and remainder, never as a fraction. Whole-bitmap calls tell the thread's
// status callback 0 first and then each new percent; what it returns other than 1 ends the call with that status.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of uFlags of the whole-bitmap calls. Without any, the nearest pixel is taken.
enum {
    RSZ_FAVOUR_BLACK = 0x01,     ///< 1-bit gray: counts black pixels, and keeps thin black lines
    RSZ_RESAMPLE = 0x02,         ///< the area's average where an axis shrinks, linear where it grows
    RSZ_BICUBIC = 0x04,          ///< cubic spline if either axis grows, else as RSZ_RESAMPLE
    RSZ_TO_GRAY = 0x08,          ///< a 1-bit gray bitmap becomes one of 8 bits
    RSZ_RESAMPLE_COARSE = 0x10,  ///< RSZ_RESAMPLE with weights of 10 bits in place of 12
    RSZ_ALPHA_WEIGHTED = 0x20    ///< 32 and 64 bits: colours count by their alpha
};

/// Gives the bitmap another size in place. Its region and overlays are resized with it.
/// Returns 1 (at once for the same size), or: -13 null or without storage, -789 unknown record size, -1 no memory;
/// those of R_DupBitmapNewDim, of the lock and of row calls; the status callback's. On failure the bitmap stands as it
/// was, but for the colours under transparent pixels, which RSZ_ALPHA_WEIGHTED evens out first.
RV_API int32_t R_SizeBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) RV_NOEXCEPT;

/// Fills pDest, which has storage, with the picture of pSource in pDest's size, depth and view perspective. A region of
/// pDest's own follows the source's size to its own, and so do overlays. Returns 1, or: -13 null, -789 unknown record
/// size, -2 without storage, -1 no memory; those of view changes, of R_ColorResBitmap, of row calls; the status
/// callback's.
RV_API int32_t R_ResizeBitmap(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t uFlags) RV_NOEXCEPT;

/// The bare resize between two bitmaps with storage and of one depth. Rows are mirrored top to bottom where the views
/// differ. Returns 1, or: -2 null or without storage, the status of a lock, -1 no memory, those of row calls, the
/// status callback's.
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
/// either direction. *pXSize is the new width, *pYSize how often the row is to be used.
/// Returns *pYSize, 0 for a row that drops out, or: -13 null; -1 no memory.
RV_API int32_t R_Resize(uint8_t* pBuffer, int32_t nRow, int32_t nBitsPerPixel, int32_t* pXSize, int32_t* pYSize,
                        void* pResizeData) RV_NOEXCEPT;
/// Frees the state. Returns 1, or -13 null.
RV_API int32_t R_StopResize(void* pResizeData) RV_NOEXCEPT;

/// Writes nCount pixels of a row by nearest columns. The walk starts at column nStartCol with the accumulator nAcc;
/// each pixel adds nRem, and a carry at nDenominator. Shrinking, the column moves by nStep and by one on the carry;
/// with bEnlarge it moves on the carry alone. Depths of 1 to 8, 12, 16, 24, 32, 48 and 64 bits; below 8 bits and at 12
/// the uDstBytes bytes of pDst are cleared first. Null buffers and other depths write nothing. pDst may overlap pSrc
/// where each pixel is read before it is written.
RV_API void R_GetResizedScanLine(int32_t nBitsPerPixel, uint32_t uDstBytes, int32_t nStartCol, int32_t nStep,
                                 int32_t nAcc, int32_t nRem, const uint8_t* pSrc, uint8_t* pDst, int32_t nCount,
                                 int32_t nDenominator, int32_t bEnlarge) RV_NOEXCEPT;
/// The same pixels, written from the last to the first, so that a row that grows may overlay itself.
RV_API void R_ReverseGetResizedScanLine(int32_t nBitsPerPixel, uint32_t uDstBytes, int32_t nStartCol, int32_t nStep,
                                        int32_t nAcc, int32_t nRem, const uint8_t* pSrc, uint8_t* pDst, int32_t nCount,
                                        int32_t nDenominator, int32_t bEnlarge) RV_NOEXCEPT;

RV_C_END
