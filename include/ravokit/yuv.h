// Whole bitmaps from and to the sample layouts of video.
//
// Luma is Y, 16 to 235; chroma is U and V, 16 to 240 around 128. Y stands for each pixel, U and V for two by two of
// them, or for the two of a pair in YUV_YUY2. The rows are those of the storage, from row 0 on.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Layouts of samples.
enum {
    YUV_PLANAR_420 = 0,  ///< all Y, then all U, then all V; width and height even; 3 x width x height / 2 bytes
    YUV_NV12 = 1,        ///< all Y, then U and V in turn; likewise
    YUV_NV21 = 2,        ///< all Y, then V and U in turn; likewise
    YUV_YUY2 = 3,        ///< Y0, U, Y1, V for each pair of a row; width even; 2 x width x height bytes
    YUV_GENERIC = 4      ///< planes with steps of their own, for R_BitmapFromYUV only
};

/// Samples and where they lie. Steps count bytes and may be negative. The caller owns the buffers.
typedef struct YUVDESCRIPTOR {
    uint32_t reserved1;
    int32_t Width, Height;  ///< pixels
    uint32_t reserved2;
    const uint8_t* pYBuffer;  ///< the first Y sample; all the data for YUV_PLANAR_420 to YUV_YUY2
    uint32_t uYSize;          ///< bytes of that data; not consulted for YUV_GENERIC
    int32_t nYRowStep, nYPixelStep;
    uint32_t reserved3;
    const uint8_t* pUBuffer;  ///< the first U sample
    uint32_t reserved4;
    int32_t nURowStep,
        nUPixelStep;  ///< from one row or column of chroma to the next, which is two rows or columns of Y
    uint32_t reserved5;
    const uint8_t* pVBuffer;  ///< the first V sample
    uint32_t reserved6;
    int32_t nVRowStep, nVPixelStep;
    int32_t nPlanes;  ///< 3 for YUV_GENERIC; not consulted else
    int32_t nFormat;  ///< a layout
} YUVDESCRIPTOR;
RV_RECORD_SIZE(YUVDESCRIPTOR, 80, 96);

/// Sets all pixels of a bitmap of 8, 24 or 32 bits from uSize bytes of samples, which the caller keeps. A bitmap
/// without storage gets it in memory. 24 and 32 bits take ORDER_BGR, and alpha is 255. 8 bits take Y as it is, without
/// a change of its range, and a grey palette. Returns 1, or, before anything changes: -814 null bitmap or data, -789
/// unknown record size, -27 another depth, -1782 unknown layout, -11 a width or height that the layout doesn't take,
/// -1783 uSize is not what the layout needs, -1 no memory. Then the status of R_AllocateBitmap or of the lock; a result
/// of R_PutBitmapRow that is not a whole row ends the work and is returned.
RV_API int32_t R_SetBitmapYUVData(BITMAPRECORD* pBitmap, const uint8_t* pYUVData, uint32_t uSize,
                                  int32_t nYUVFormat) RV_NOEXCEPT;

/// Gets all pixels of a bitmap of 8, 24 or 32 bits as samples. Chroma is the mean of the pixels that share it,
/// truncated. 8 bits give the pixel as Y, whatever the palette, and 128 as chroma. An odd last column is not read and
/// has no samples, and neither has an odd last row but for YUV_YUY2: sizes are those of the even width and height.
///
/// *puSize tells the bytes of the caller's buffer, and is not changed where they are enough. With a null pYUVData it
/// receives the bytes needed.
/// Returns 1, or: -2 null bitmap or no storage, -789 unknown record size, -814 null puSize, -27 another depth, -1782
/// unknown layout, -1783 the buffer is too small, and *puSize receives the bytes needed (all ones if they don't fit it,
/// and then also with a null pYUVData), -1 no memory, the status of the lock or of a row.
RV_API int32_t R_GetBitmapYUVData(BITMAPRECORD* pBitmap, uint8_t* pYUVData, uint32_t* puSize,
                                  int32_t nYUVFormat) RV_NOEXCEPT;

/// Makes a bitmap of the samples that a descriptor tells of, TOP_LEFT, in memory. The record's old contents are gone,
/// as with R_InitBitmap. uStructSize is sizeof(BITMAPRECORD). YUV_GENERIC samples are of full range, 0 to 255, and any
/// width and height will do; at 8 bits the chroma is not read, and its pointers may be null.
/// Returns 1, or, before anything changes: -789 another uStructSize, -814 null bitmap, descriptor or buffer, -27 depth
/// other than 8, 24 and 32, -794 YUV_GENERIC with nPlanes other than 3, then as R_SetBitmapYUVData: -1782, -11, -1783.
/// Then the statuses of R_CreateBitmap; a bitmap that failed has no storage.
RV_API int32_t R_BitmapFromYUV(BITMAPRECORD* pBitmap, uint32_t uStructSize, const YUVDESCRIPTOR* pDescriptor,
                               int32_t nBitsPerPixel) RV_NOEXCEPT;

RV_C_END
