// The region of a bitmap: how it is set and combined with the one that is there, how it is read back in the bitmap's
// coordinates or those of a display, and how it follows what is done to the bitmap.
//
// A bitmap owns one region, BITMAPRECORD::pRgnInfo; null selects every pixel. Fills, pixel writes and all that paints
// keep inside it. Its coordinates are stored rows and columns, whatever the view. With BMF_RGN_NOCLIP it may reach
// outside the bitmap, and is not cut. Flips, turns, new sizes, shears, changes of view and copies carry it along.
//
// Statuses: 1, -2 for a null bitmap, -789 for an unknown record size, -13 for another null pointer that is wanted, -1
// when memory is short, in this order, except where it says otherwise. On failure the bitmap's region is as it was.
// A null mapping stands for none.
#pragma once

#include "region.h"

RV_C_BEGIN

/// How a new region and the one on the bitmap, the old one, become one. A bitmap without a region has one of all its
/// pixels here (with BMF_RGN_NOCLIP of those of the new region's bounds too).
enum {
    RGN_MODE_AND = 0,            ///< what is in both
    RGN_MODE_SET = 1,            ///< the new one; the old one is dropped
    RGN_MODE_NEW_MINUS_OLD = 2,  ///< the new one without the old one
    RGN_MODE_OLD_MINUS_NEW = 3,  ///< the old one without the new one
    RGN_MODE_OR = 4,             ///< what is in either
    RGN_MODE_XOR = 5,            ///< what is in one alone
    RGN_MODE_SET_NOT = 6,        ///< the bitmap without the new one; the old one is dropped
    RGN_ELLIPSE_HANDLE = 8       ///< a bit for R_SetBitmapRgnEllipse
};

// ---- setting -----------------------------------------------------------------------------------------------------

// A region goes into the bitmap's coordinates through a mapping in this order: it is moved by the offsets, scaled by
// the fractions, and turned from the mapping's view into the bitmap's, in which step only what lies in the bitmap's
// rectangle is kept. The caller gives what leads from its coordinates to the bitmap's. Unless BMF_RGN_NOCLIP is set,
// the result is cut to the bitmap.

/// Sets a region, which the call takes over, also where it fails; -2 and -789 leave it alone. A null one removes the
/// bitmap's, in every mode. Returns 1, or: -2, -789; -13 the region that the bitmap has; -13 a mapping with another
/// view than 1 to 8 or a zero denominator, those of the steps of the mapping; -13 a mode above RGN_MODE_SET_NOT; -1.
RV_API int32_t R_SetBitmapRgn(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RavoRgn* pRgn,
                              uint32_t uMode) RV_NOEXCEPT;
/// Sets the pixels of a rectangle. Returns 1, or: -2, -789, -13 a null rectangle, those of R_SetBitmapRgn; -1. The two
/// names are one function.
RV_API int32_t R_SetBitmapRgnRect(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect,
                                  uint32_t uMode) RV_NOEXCEPT;
RV_API int32_t R_IntSetBitmapRgnRect(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect,
                                     uint32_t uMode) RV_NOEXCEPT;
/// Sets an ellipse in a box. The low three bits of uMode are the mode. Without RGN_ELLIPSE_HANDLE the polygon of the
/// ellipse is filled, with the height of the box as an absolute value and an empty region for an empty box. With it the
/// region is that of CreateEllipticRgn, and an empty box removes the bitmap's region.
/// Returns 1, or: -2, -789, -13 a null box (with the bit -13 a null bitmap or box, -789), those of R_SetBitmapRgn; -1.
RV_API int32_t R_SetBitmapRgnEllipse(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const RECT* pRect,
                                     uint32_t uMode) RV_NOEXCEPT;
/// Sets a polygon, as R_SegmentsToRegion fills it. A count of 0 removes the bitmap's region, and pPoints may be null.
/// Returns 1, or: -2, -789, those of R_SegmentsToRegion and R_SetBitmapRgn.
RV_API int32_t R_SetBitmapRgnPolygon(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const POINT* pPoints,
                                     int32_t nCount, int32_t nFillMode, uint32_t uMode) RV_NOEXCEPT;
/// Sets a copy of the region behind a handle, which stays the caller's. A null handle removes the bitmap's region, and
/// so does one that holds none. Returns 1, or: -13 a null bitmap, -789, -13 a bad handle, those of R_SetBitmapRgn.
RV_API int32_t R_SetBitmapRgnHandle(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RVHANDLE h,
                                    uint32_t uMode) RV_NOEXCEPT;
/// Sets the white pixels of a mask: of a 1-bit bitmap in black and white, whichever comes first, as it stands; of any
/// other bitmap once it is resolved to black and white. The mask's own region is not looked at.
/// Returns 1, or: -13 a null bitmap or mask, or a mask without storage; -789 either size; those of R_ColorResBitmap,
/// of reading the mask and of R_SetBitmapRgn.
RV_API int32_t R_SetBitmapRgnFromMask(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, const BITMAPRECORD* pMask,
                                      uint32_t uMode) RV_NOEXCEPT;
/// Sets a list of rectangles of nSize bytes. A size of 0 is R_FreeBitmapRgn.
/// Returns 1, or: -13 a negative size, -13 a null bitmap, -789, -1 a list that ExtCreateRegion doesn't take, those of
/// R_SetBitmapRgn.
RV_API int32_t R_SetBitmapRgnData(BITMAPRECORD* pBitmap, const RgnMapping* pMapping, int32_t nSize,
                                  const RGNDATA* pData, uint32_t uMode) RV_NOEXCEPT;
/// Deletes the region. Returns 1, or: -13 a null bitmap, -789.
RV_API int32_t R_FreeBitmapRgn(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

/// Whether regions that are set from now on are cut to the bitmap; the present one stays as it is. Returns 1, -2, -789.
RV_API int32_t R_SetBitmapRgnClip(BITMAPRECORD* pBitmap, int32_t bClip) RV_NOEXCEPT;
/// 1 or 0; 0 also for a null bitmap and an unknown record size.
RV_API int32_t R_GetBitmapRgnClip(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;

// ---- asking ------------------------------------------------------------------------------------------------------

/// 1 if the bitmap has a region; 0 also for a null bitmap and an unknown record size.
RV_API int32_t R_BitmapHasRgn(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;

// Rectangles and regions go out of the bitmap's coordinates through a mapping in another order: into the mapping's
// view, scaled by the fractions, moved by the offsets. Scaled values are truncated, but left and right are rounded up,
// and so are top and bottom where the mapping's view is 1 or 4: the denominator less 1 is added before the division.

/// The bounds of the region, of the bitmap without one. Returns 1, or: -2 a null bitmap or rectangle, -789, -13 a
/// mapping with another view than 1 to 8 or a zero denominator.
RV_API int32_t R_GetBitmapRgnBounds(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RECT* pRect) RV_NOEXCEPT;
/// The same, cut to the bitmap's width and height as they are, after the mapping.
RV_API int32_t R_GetBitmapRgnBoundsClip(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping,
                                        RECT* pRect) RV_NOEXCEPT;
/// The number of pixels in the region, or in the bitmap without one, modulo 2^32. Returns 1, or: -2, -13, -789.
RV_API int32_t R_GetBitmapRgnArea(const BITMAPRECORD* pBitmap, uint32_t* puPixels) RV_NOEXCEPT;
/// 1 if the pixel is in the region, or in the bitmap without one; else 0, also for a null bitmap and an unknown record
/// size.
RV_API int32_t R_IsPtInBitmapRgn(const BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol) RV_NOEXCEPT;

/// The most words that R_GetBitmapClipSegments gives for a row: 2 without a region. Returns 1, or: -2, -13, -789.
RV_API int32_t R_GetBitmapClipSegmentsMax(const BITMAPRECORD* pBitmap, uint32_t* puWords) RV_NOEXCEPT;
/// The stretches of a row in which pixels may be written, as R_PutBitmapRowSegments takes them: pairs (start, end), end
/// exclusive, none outside of the bitmap. The whole row without a region, whichever it is; no words for a row outside
/// of the region or the bitmap. Returns 1, or: -2, -13, -789.
RV_API int32_t R_GetBitmapClipSegments(const BITMAPRECORD* pBitmap, int32_t nRow, uint32_t* pWords,
                                       uint32_t* puWords) RV_NOEXCEPT;

/// Makes a 1-bit bitmap of the bitmap's size and view, 1 where its region is, and all ones without one; the caller
/// frees it. Returns 1, or: -13 a null bitmap or mask, -789 either size, -13 a view above 8 (0 becomes 1); those of
/// R_CreateBitmap and R_FillBitmap. There is no mask on failure.
RV_API int32_t R_CreateMaskFromBitmapRgn(const BITMAPRECORD* pBitmap, BITMAPRECORD* pMask,
                                         uint32_t uStructSize) RV_NOEXCEPT;

// ---- in display coordinates --------------------------------------------------------------------------------------

// The last region that was made for a display is kept with the bitmap's, as long as shape, view and scale stay the
// same; where only the offsets change it is moved. So no two threads may ask for one bitmap at the same time. An empty
// region, and one of which a scale leaves nothing, gives a handle that holds an empty region.

/// A handle to the region in display coordinates, or to the bitmap's rectangle, which the caller ends with
/// DeleteObject. Returns 1, or: -13 a null ph, 0 whatever else failed before the copy, -1 no memory for that.
RV_API int32_t R_GetBitmapRgnHandle(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RVHANDLE* ph) RV_NOEXCEPT;
/// The same handle as it is kept: *pbOwned is 0 and the handle the region's, or 1 and it is the caller's.
/// Returns 1, or: -2, -789, -13 a null pointer, -13 a bad mapping, -1.
RV_API int32_t R_IntGetBitmapRgnHandle(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, RVHANDLE* ph,
                                       int32_t* pbOwned) RV_NOEXCEPT;
/// The handle for the bitmap, or the part of it in pSrcRect, shown upright in pDstRect.
/// Returns 1, or: -13 a null bitmap or destination, those of R_DupBitmapNewDim and R_CopyBitmapRgn for the part, those
/// of R_IntGetBitmapRgnHandle; -1.
RV_API int32_t R_GetResizedRgnHandle(BITMAPRECORD* pBitmap, const RECT* pSrcRect, const RECT* pDstRect, RVHANDLE* ph,
                                     int32_t* pbOwned) RV_NOEXCEPT;
/// The region in display coordinates as a list of rectangles, as GetRegionData gives it. Returns the bytes that takes,
/// which are written only where nSize holds them, or: -13 a negative size, 0 a null bitmap or no region, -789, 0 a
/// handle that can't be had, -1 a list that can't be told.
RV_API int32_t R_GetBitmapRgnData(const BITMAPRECORD* pBitmap, const RgnMapping* pMapping, int32_t nSize,
                                  RGNDATA* pData) RV_NOEXCEPT;

// ---- following the bitmap ----------------------------------------------------------------------------------------

// The operations on bitmaps call these. Without a region they have nothing to do: 1.

/// Moves the region, that of all pixels for a bitmap without one, and cuts it unless BMF_RGN_NOCLIP is set. Returns 1,
/// or: -2, -789, -1, -13 a place that 32 bits don't hold.
RV_API int32_t R_OffsetBitmapRgn(BITMAPRECORD* pBitmap, int32_t nRowOffset, int32_t nColOffset) RV_NOEXCEPT;
/// Scales the region for a bitmap that becomes nWidth x nHeight; it has the old size still. Returns 1, or: -2, -789,
/// those of R_ScaleRavoRgn. The two names are one function.
RV_API int32_t R_SizeBitmapRgn(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight) RV_NOEXCEPT;
RV_API int32_t R_KrnSizeBitmapRgn(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight) RV_NOEXCEPT;
/// Mirror the region left to right, or top to bottom, in stored columns and rows. Return 1, or: -2, -789, -13 a place
/// that 32 bits don't hold.
RV_API int32_t R_ReverseBitmapRgn(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
RV_API int32_t R_FlipBitmapRgn(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Gives pDest, which is another bitmap, a copy of the region of pSource, moved, and cut unless BMF_RGN_NOCLIP is set
/// there. What pDest had is overwritten, not deleted. Returns 1, or: -13 null or one and the same, -789 either size,
/// -13 a place that 32 bits don't hold, -1; pDest has none on failure.
RV_API int32_t R_CopyBitmapRgn(BITMAPRECORD* pDest, const BITMAPRECORD* pSource, int32_t dx, int32_t dy) RV_NOEXCEPT;
/// Turns the region with a picture of nSrcWidth x nSrcHeight, clockwise as the bitmap's view sees it, by nAngle
/// hundredths of a degree. The bitmap has the new size already: where it differs the whole picture was turned, where
/// it is the same the picture turned about its middle. What lies outside of either is lost. Exact turns of the whole
/// picture are exact; others are those of R_RotateBitmap on a mask. Returns 1, or: -2, -789, those of R_RotateRavoRgn,
/// R_CreateMaskFromBitmapRgn, R_RotateBitmap and R_ChangeBitmapViewPerspective.
RV_API int32_t R_IntRotateBitmapRgn(BITMAPRECORD* pBitmap, int32_t nSrcWidth, int32_t nSrcHeight,
                                    int32_t nAngle) RV_NOEXCEPT;
/// Moves each row of the region to the right as R_ShearBitmap moves rows for this angle, whose sign is dropped: k rows
/// from where the picture stands still by k x sine / cosine, rounded down; it stands still at row 0 in the views 2, 4,
/// 5 and 7, else at the last row. The bitmap has the new width already. Returns 1, or: -2, -789, -13 an angle beyond
/// 8999, -13 a place that 32 bits don't hold, -1.
RV_API int32_t R_IntShearBitmapRgn(BITMAPRECORD* pBitmap, int32_t nAngle) RV_NOEXCEPT;

RV_C_END
