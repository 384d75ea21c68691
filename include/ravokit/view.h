// Flips, and the view perspective: how stored rows and columns relate to what is seen.
//
// R_FlipBitmap (top to bottom) and R_ReverseBitmap (left to right) act on what is seen, the R_Int forms on stored rows.
// The calls with ViewPerspective in their names change how the stored pixels are seen; R_ChangeBitmapViewPerspective
// moves the pixels, so that the same picture is seen through another value.
#pragma once

#include "bitmap.h"
#include "numeric.h"

RV_C_BEGIN

/// Mirrors what is seen top to bottom. Returns 1, or: -13 null or without storage, -789 unknown record size, and those
/// of R_IntFlipBitmap.
RV_API int32_t R_FlipBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Exchanges stored rows, from both ends; the progress is that of half the height, rounded up. The region and the
/// overlays follow. Rows that are not flat go by bands, and the callback hears of a band's rows once all of them are
/// there. Returns 1, or: -2 null or without storage, the status of the lock, -1 no memory, those of row calls, the
/// status callback's, which leaves the rows done so far; a run list bitmap of more than 32768 rows may stop being
/// compressed, as with R_PutBitmapRowCompressed.
RV_API int32_t R_IntFlipBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Mirrors what is seen left to right. Returns 1, or: -13 null, -789 unknown record size, and those of
/// R_IntReverseBitmap.
RV_API int32_t R_ReverseBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Mirrors each stored row. Statuses of R_IntFlipBitmap.
RV_API int32_t R_IntReverseBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

/// Reverses the order of nWidth packed pixels in place; what the last byte has behind the last pixel becomes 0. Unknown
/// depths are left alone. Returns 1, or -13 null.
RV_API int32_t R_MirrorLine(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixel) RV_NOEXCEPT;

/// Change the view alone: the picture is seen flipped, mirrored, or turned clockwise by nAngle degrees, which is a
/// multiple of 90. A quarter turn exchanges the resolutions. No pixel moves, and a ViewPerspective that isn't 1 to 8
/// stays.
/// Return 1, or: -13 null, -789 unknown record size (not the R_Int forms), -13 another angle.
RV_API int32_t R_FlipBitmapViewPerspective(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_IntFlipBitmapViewPerspective(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_ReverseBitmapViewPerspective(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_IntReverseBitmapViewPerspective(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_RotateBitmapViewPerspective(BITMAPRECORD* pBitmap, int32_t nAngle) RV_NOEXCEPT;
RV_API int32_t R_IntRotateBitmapViewPerspective(BITMAPRECORD* pBitmap, int32_t nAngle) RV_NOEXCEPT;

/// What leads from one view to another: a flip top to bottom, if *pbFlip, and then a turn clockwise by *pnAngle
/// degrees. The angle is 0 to 270; for 2 to 8 it is -90, and there points and rectangles are flipped alone. Returns 1,
/// or -13: null, or a value that isn't 1 to 8.
RV_API int32_t R_GetChangeViewPerspectiveParams(int32_t nOld, int32_t nNew, int32_t* pbFlip,
                                                int32_t* pnAngle) RV_NOEXCEPT;
/// Moves a rectangle of a picture of nWidth x nHeight, as nOld sees it, to how nNew sees it. Returns 1, or -13: null,
/// or an unknown value.
RV_API int32_t R_ChangeRectViewPerspective(int32_t nOld, int32_t nWidth, int32_t nHeight, int32_t nNew,
                                           RECT* pRect) RV_NOEXCEPT;

/// Stores the picture so that it looks the same through nViewPerspective: in pDest, which becomes a full copy with a
/// record of uStructSize bytes, or in place where pDest is null or pSource; uStructSize is not looked at then.
/// Returns 1, or: -13 null source or one without storage, -789 unknown size, and those of
/// R_IntChangeBitmapViewPerspective.
RV_API int32_t R_ChangeBitmapViewPerspective(BITMAPRECORD* pDest, BITMAPRECORD* pSource, uint32_t uStructSize,
                                             int32_t nViewPerspective) RV_NOEXCEPT;
/// The same with the DUP_ bits of the copy; a null pDest is in place. The thread's status callback rests meanwhile.
/// Returns 1, or: -13 null source, those of R_DupBitmapNewDim and R_CopyBitmapData, -13 an unknown value, those of
/// R_IntFlipBitmap, R_IntReverseBitmap and R_RotateBitmap. On failure there is no copy; in place the picture looks as
/// it did, unless rows could not be read or written.
RV_API int32_t R_IntChangeBitmapViewPerspective(BITMAPRECORD* pDest, BITMAPRECORD* pSource, uint32_t uStructSize,
                                                int32_t nViewPerspective, uint32_t uCopyFlags) RV_NOEXCEPT;

/// Move a point or a rectangle (right and bottom exclusive) between the bitmap's stored coordinates and those in which
/// nViewPerspective sees the picture. To the bitmap, the views 5 and 7 don't exchange width and height.
/// Return 1, or: -13 null, -789 unknown record size, -13 an unknown value.
RV_API int32_t R_PointToBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, int32_t* pX,
                               int32_t* pY) RV_NOEXCEPT;
RV_API int32_t R_PointFromBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, int32_t* pX,
                                 int32_t* pY) RV_NOEXCEPT;
RV_API int32_t R_RectToBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, RECT* pRect) RV_NOEXCEPT;
RV_API int32_t R_RectFromBitmap(const BITMAPRECORD* pBitmap, int32_t nViewPerspective, RECT* pRect) RV_NOEXCEPT;

RV_C_END
