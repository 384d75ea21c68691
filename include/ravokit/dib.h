// Exchange with device-independent bitmaps: a header (40 bytes, or the older 12), a table of colours, and rows padded
// to 4 bytes, the bottom row first, as they are passed about in memory. All numbers are little-endian.
//
// A DIB doesn't tell its own size. Given by its address, its header is trusted to stand for a block that holds it all:
// colours and rows are read as the header counts them. One in a memory handle is measured.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Makes a DIB of a bitmap, in a memory handle that the caller frees with R_OsFreeHandle. It has 1, 4, 8, 16, 24 or 32
/// bits: 2 and 3 become 4, and 5, 6 and 7 become 8, with the bitmap's own colours; grey of 12 and 16 bits and 48 bits
/// become 24, 64 become 32, and so does grey of 32; 16 bits are 5-5-5. Rows run from bottom to top, biHeight is
/// positive, a view other than TOP_LEFT and BOTTOM_LEFT is turned. 32-bit rows keep their alpha.
/// Returns null for a bad bitmap or one without storage, for a DIB past 4 GiB, and for anything that fails on the way.
RV_API MEMHANDLE* R_ConvertToDIB(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// The same in a plain block, which the caller frees with R_LocalFree. *puSize, if given, is its size, 0 on failure.
/// uFlags are not consulted. Two names of one call.
RV_API void* R_ConvertToDIB2(BITMAPRECORD* pBitmap, uint32_t uFlags, uint32_t* puSize) RV_NOEXCEPT;
RV_API void* R_ConvertToDIBPTR(BITMAPRECORD* pBitmap, uint32_t uFlags, uint32_t* puSize) RV_NOEXCEPT;
/// R_ConvertToDIB that frees the bitmap once the DIB is made; on failure the bitmap stays.
RV_API MEMHANDLE* R_ChangeToDIB(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

/// Makes a bitmap of a DIB. pBitmap is initialised as a record of uStructSize bytes; what it held is not freed. The DIB
/// stays the caller's. nFlags are not consulted.
///
/// The bitmap has the DIB's depth, with ORDER_BGR above 8 bits, and the view BOTTOM_LEFT, or TOP_LEFT where biHeight is
/// negative. The resolution is the header's, or the thread's default where that is 0. biClrUsed counts the colours, 0
/// meaning 2^depth; above 8 bits it may be up to 256, which are skipped.
///
/// biCompression 0 takes 1, 4, 8, 16, 24 and 32 bits; 32-bit rows are taken as they are. 3 takes 16 and 32 bits with
/// three masks behind the header, each one run of bits: they become 5-5-5 by their top bits, or 8 bits a channel with
/// alpha 255. Four-character codes of video frames become 24 bits: "YVU9", "IF09", "I420", "IYUV", "YV12" (planes),
/// "Y41P", "Y41T", "UYVY", "Y42T", "cyuv" (UYVY with the rows in reverse order), "YUY2", "YVYU", "Y211" (packed), with
/// b = (1192 c + 2066 U - 263937) >> 10, g = (1192 c - 401 U - 832 V + 158335) >> 10, r = (1192 c + 1634 V - 208641) >>
/// 10, c = Y - 16, limited to bytes. The groups of "Y41P", "Y41T" (8 pixels) and "Y211" (4) are whole in every row.
///
/// Returns 1, or: -789 unknown uStructSize, -13 null, -13 a header of another size, planes other than 1, more colours
/// than the depth has; -16 another compression, or one at a depth or
/// of dimensions that it doesn't take, or a frame of "dmb1", "MJPG" or "JPEG"; -27 another depth, -11 no size; those of
/// R_AllocateBitmap and the row calls; -1 no memory. On failure pBitmap is as it was.
RV_API int32_t R_ConvertFromDIB(BITMAPRECORD* pBitmap, uint32_t uStructSize, const void* pDIB,
                                uint32_t nFlags) RV_NOEXCEPT;
/// R_ConvertFromDIB of a DIB in a memory handle, which is freed on success; -13 also where it is too small for what the
/// header tells. pDIB may be the address of a DIB as well, which stays the caller's, but not of one from a doubtful
/// source: a first word of 3 says that it is a handle.
RV_API int32_t R_ChangeFromDIB(BITMAPRECORD* pBitmap, uint32_t uStructSize, void* pDIB) RV_NOEXCEPT;
/// R_ConvertFromDIB with the rows stored in the reverse order, and TOP_LEFT and BOTTOM_LEFT exchanged: the same
/// picture.
RV_API int32_t R_MirrorFromDIB(BITMAPRECORD* pBitmap, uint32_t uStructSize, const void* pDIB) RV_NOEXCEPT;

RV_C_END
