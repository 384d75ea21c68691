// Regions: sets of pixels in whole coordinates, which may be negative, and the region handles of the window system's
// vocabulary, which this library makes itself.
//
// A region is kept row by row, from its first row with pixels to its last: each row has a sorted list of half-open
// spans. What a call gives through ppRgn belongs to the caller, who ends it with R_DeleteRavoRgn. Calls that change a
// region keep the record's address. Regions have no locks: one may be read by several threads while none changes it.
//
// Statuses: 1, -13 for a null pointer that is wanted or a bad mode, -1 when memory is short. A call that fails leaves
// regions, handles and out pointers as they were, except where it says otherwise. A region is not tested further: only
// what these calls made is given to them.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// How bitmap coordinates relate to those of a second space, such as a display.
typedef struct RgnMapping {
    int32_t MapViewPerspective;    ///< 1 to 8, as BITMAPRECORD::ViewPerspective
    int32_t XScaleNum, XScaleDen;  ///< horizontal scale as a fraction
    int32_t YScaleNum, YScaleDen;  ///< vertical scale
    int32_t XOffset, YOffset;
} RgnMapping;
RV_RECORD_SIZE(RgnMapping, 28, 28);

/// A row of a region.
typedef struct RgnRow {
    uint32_t SpanWords;   ///< 32-bit words of the row in pSpans: two for each span, 0 for an empty row
    uint32_t SpanOffset;  ///< bytes from pSpans to the row's first word; 0 for an empty row
} RgnRow;
RV_RECORD_SIZE(RgnRow, 8, 8);

/// The region. In a row, spans are sorted, none is empty, and no two overlap or touch. The first and the last row have
/// spans, rows between may have none. An empty region has zero bounds and null tables.
struct RavoRgn {
    RVHANDLE hDisplayRgn;       ///< a copy in display coordinates, or null; owned; dropped when the shape changes
    RgnMapping DisplayMapping;  ///< what hDisplayRgn was made with
    int32_t DisplayBitmapView;  ///< view of the bitmap when hDisplayRgn was made
    RVHANDLE hDisplayRgn2;      ///< a second copy; dropped with the first, never made
    RgnMapping DisplayMapping2;
    int32_t DisplayBitmapView2;
    RECT rcBounds;          ///< tight; all zero for an empty region
    uint32_t RowTableSize;  ///< bytes in pRows
    RgnRow* pRows;          ///< one for each row of the bounds, from the top
    uint32_t SpanDataSize;  ///< bytes in pSpans
    int32_t* pSpans;        ///< left, right, left, right ... of all rows
};
RV_RECORD_SIZE(RavoRgn, 104, 128);

// ---- making and ending -------------------------------------------------------------------------------------------

/// The pixels of a rectangle; an empty region for one without width or height. Returns 1, -13 or -1. The two names are
/// one function.
RV_API int32_t R_CreateRavoRgnRect(RavoRgn** ppRgn, const RECT* pRect) RV_NOEXCEPT;
RV_API int32_t CreateRavoRgnRect(RavoRgn** ppRgn, const RECT* pRect) RV_NOEXCEPT;
/// A copy with its own tables and a cached handle of its own with its mapping, but without the view that belongs to
/// it, so that the cache counts as stale. A null source gives null. Returns 1, -13 for a null ppDst, -1.
RV_API int32_t R_CopyRavoRgn(RavoRgn** ppDst, const RavoRgn* pSrc) RV_NOEXCEPT;
/// The same as a result, with the status, if asked for, through pnStatus. Null on failure.
RV_API RavoRgn* R_CopyRavoRgnPtr(const RavoRgn* pSrc, int32_t* pnStatus) RV_NOEXCEPT;
/// Frees a region with all that it owns. Returns 1 or -13.
RV_API int32_t R_DeleteRavoRgn(RavoRgn* pRgn) RV_NOEXCEPT;

// ---- asking ------------------------------------------------------------------------------------------------------

/// 1 if the pixel is in the region, else 0, also for a null region. The two names are one function.
RV_API int32_t R_IsPtInRavoRgn(const RavoRgn* pRgn, int32_t nRow, int32_t nCol) RV_NOEXCEPT;
RV_API int32_t R_IsPtInRgn(const RavoRgn* pRgn, int32_t nRow, int32_t nCol) RV_NOEXCEPT;
/// Copies rcBounds. The pointers are trusted. Returns 1.
RV_API int32_t R_GetRavoRgnBounds(const RavoRgn* pRgn, RECT* pRect) RV_NOEXCEPT;

/// The region as one block of little-endian 32-bit words: left, top, right, bottom, the number R of rows, R times
/// SpanWords and SpanOffset, the number W of span words, the words: 24 + 8 R + 4 W bytes. With a null buffer *puSize
/// receives the size, else it must be just that.
/// Returns 1, or: -13 null puSize; for a null region -13 if the buffer is null too, else 1 with 0 in the buffer's
/// first byte and in *puSize; -1 a size past 32 bits; -13 another size than the block's.
RV_API int32_t R_GetRavoRgnData(const RavoRgn* pRgn, uint8_t* pBuffer, uint32_t* puSize) RV_NOEXCEPT;
/// A region of such a block. No size is given and nothing is checked: the block must come from R_GetRavoRgnData, and
/// one that was stored where others may change it must not be handed on. Returns 1, -13 or -1.
RV_API int32_t R_SetRavoRgnData(RavoRgn** ppRgn, const uint8_t* pData) RV_NOEXCEPT;

// ---- combining ---------------------------------------------------------------------------------------------------

/// Makes a new region of two. nMode: 0 what is in both, 1 a copy of a (b is ignored, a null one gives null), 3 a
/// without b, 4 what is in either, 5 what is in one alone. ppResult may be where the caller keeps a or b, which stay
/// his. Returns 1, or: -13 a null ppResult or another mode, -13 a null region that the mode wants, -1.
RV_API int32_t R_CombineRavoRgn(RavoRgn** ppResult, const RavoRgn* pA, const RavoRgn* pB, int32_t nMode) RV_NOEXCEPT;
RV_API int32_t CombineRavoRgn(RavoRgn** ppResult, const RavoRgn* pA, const RavoRgn* pB, int32_t nMode) RV_NOEXCEPT;

// ---- changing in place -------------------------------------------------------------------------------------------

// Each drops the cached handles when it changes the shape or the place. An empty region stays as it is.

/// Reduces the region to a rectangle. One that holds the whole region changes nothing. Returns 1, -13 or -1.
RV_API int32_t R_ClipRavoRgnRect(RavoRgn* pRgn, const RECT* pRect) RV_NOEXCEPT;
RV_API int32_t ClipRavoRgnRect(RavoRgn* pRgn, const RECT* pRect) RV_NOEXCEPT;
/// Moves the region. Returns 1, or: -13 null, -13 a move past 32-bit coordinates.
RV_API int32_t R_OffsetRavoRgn(RavoRgn* pRgn, int32_t dx, int32_t dy) RV_NOEXCEPT;
/// Mirrors the region top to bottom within a raster of nHeight rows. Returns 1 or -13, as R_OffsetRavoRgn.
RV_API int32_t R_FlipRavoRgn(RavoRgn* pRgn, int32_t nHeight) RV_NOEXCEPT;
/// Turns what the region has of a raster of nSrcWidth x nSrcHeight clockwise with it; nAngle in hundredths of a
/// degree, a multiple of 9000. Where the two sizes differ the raster is turned whole; where they are the same it turns
/// about its middle, and what a quarter turn takes out of it is lost. What reaches out of nDstWidth x nDstHeight is
/// lost too. A whole turn changes nothing.
/// Returns 1, or: -13 null, -13 another angle, -1.
RV_API int32_t R_RotateRavoRgn(RavoRgn* pRgn, int32_t nSrcWidth, int32_t nSrcHeight, int32_t nDstWidth,
                               int32_t nDstHeight, int32_t nAngle) RV_NOEXCEPT;
/// Scales about the origin by nXNum / nXDen and nYNum / nYDen; edges are rounded to the nearest whole coordinate, ties
/// away from zero. Rows and spans whose two edges meet are lost. Equal fractions of 1 change nothing. A negative
/// fraction leaves an empty region. Returns 1, or: -13 null or a zero denominator, -1.
RV_API int32_t R_ScaleRavoRgn(RavoRgn* pRgn, int32_t nXNum, int32_t nXDen, int32_t nYNum, int32_t nYDen) RV_NOEXCEPT;
RV_API int32_t ScaleRavoRgn(RavoRgn* pRgn, int32_t nXNum, int32_t nXDen, int32_t nYNum, int32_t nYDen) RV_NOEXCEPT;
/// Tells the region of a picture of nWidth x nHeight, seen as nFromView, as nToView sees it: a flip, then a turn.
/// Returns 1, or: -13 null, those of R_GetChangeViewPerspectiveParams, -1; a flip that was done before memory ran out
/// is taken back.
RV_API int32_t UpdateRegionViewPerspective(RavoRgn* pRgn, int32_t nFromView, int32_t nToView, int32_t nWidth,
                                           int32_t nHeight) RV_NOEXCEPT;

// ---- from bitmaps and handles ------------------------------------------------------------------------------------

/// A copy of the bitmap's region, told as TOP_LEFT sees it, then moved by pMapping's offsets and scaled by its
/// fractions; null for no mapping. A bitmap without a region gives null. *ppRgn is null on failure.
/// Returns 1, -13 for a null pointer, and those of UpdateRegionViewPerspective and R_ScaleRavoRgn.
RV_API int32_t R_CloneRavoRgn(const BITMAPRECORD* pBitmap, RavoRgn** ppRgn, const RgnMapping* pMapping) RV_NOEXCEPT;
/// A copy of the region behind a handle; null where that holds none. Returns 1, or: -13 a null ppRgn or anything but a
/// region handle, -1.
RV_API int32_t R_ConvertHandleToRgn(RVHANDLE h, RavoRgn** ppRgn) RV_NOEXCEPT;

// ---- region handles ----------------------------------------------------------------------------------------------

// Calls with the names, the argument lists and the manner of reporting of the window system: null or 0 for failure, no
// status. A handle is of kind 4, is closed with DeleteObject, and owns its region; it may hold none, which counts as
// empty where a call only reads. A handle is used by one thread at a time. A bad handle is one that is null, all ones
// or of another kind.

/// A list of rectangles: this header, and nCount rectangles behind it.
typedef struct RGNDATA {
    uint32_t uHeaderSize;  ///< 32
    uint32_t uType;        ///< 1
    uint32_t nCount;
    uint32_t uRectBytes;  ///< nCount x 16
    RECT rcBounds;
} RGNDATA;
RV_RECORD_SIZE(RGNDATA, 32, 32);

/// A handle to the pixels of a rectangle, whose corners may come the wrong way round. Null when memory is short, and
/// from the Indirect form for a null rectangle.
RV_API RVHANDLE CreateRectRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) RV_NOEXCEPT;
RV_API RVHANDLE R_WinCreateRectRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) RV_NOEXCEPT;
RV_API RVHANDLE R_WinCreateRectRgnIndirect(const RECT* pRect) RV_NOEXCEPT;

/// A handle to the union of a list's rectangles, in any order; empty ones don't count, and the header's bounds don't
/// either. uSize: bytes at pData, at least (nCount + 2) x 16, and 33. pTransform, if not null, has six numbers m0 to
/// m5: the corners (left, top) and (right, bottom) of each rectangle go to x' = m0 x - m1 y + m4, y' = m3 y - m2 x + m5
/// in single precision, truncated toward zero and cut to 32 bits, and then the smaller coordinate comes first.
/// Null for a null list, a size that is too small, another header size or type, and when memory is short.
RV_API RVHANDLE ExtCreateRegion(const float* pTransform, uint32_t uSize, const RGNDATA* pData) RV_NOEXCEPT;
RV_API RVHANDLE R_WinExtCreateRegion(const float* pTransform, uint32_t uSize, const RGNDATA* pData) RV_NOEXCEPT;

/// Gives the handle the region of a rectangle whose corners are taken as they come. 1, or 0 for a bad handle. The
/// region that was there is not freed, for those who still look at it: it stays until the process ends. When memory is
/// short the handle holds an empty region: 0.
RV_API int32_t SetRectRgn(RVHANDLE h, int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) RV_NOEXCEPT;

/// Puts the combination of two regions into hDst, which may be one of the two. nMode: 1 intersection, 2 union, 3
/// symmetric difference, 4 the first without the second, 5 a copy of the first. Returns what the result is: 1 empty, 2
/// a rectangle, 3 anything else; or 0 with hDst as it was: a bad handle, another mode, a handle without a region in
/// modes 1 to 4, no memory.
RV_API int32_t CombineRgn(RVHANDLE hDst, RVHANDLE hFirst, RVHANDLE hSecond, int32_t nMode) RV_NOEXCEPT;

/// R_OffsetRavoRgn and its status, 1 where there is no region; 0 for a bad handle.
RV_API int32_t OffsetRgn(RVHANDLE h, int32_t x, int32_t y) RV_NOEXCEPT;
/// Copies the bounds. Returns what the region is, as CombineRgn; 0 for a bad handle or a null rectangle.
RV_API int32_t GetRgnBox(RVHANDLE h, RECT* pRect) RV_NOEXCEPT;
/// The region as a list: its bounds if it is a rectangle or empty, else each span as a rectangle one row high. Returns
/// the bytes that takes; they are written only where pData is not null and uSize holds them. 0 for a bad handle, and
/// for a list past 32 bits.
RV_API uint32_t GetRegionData(RVHANDLE h, uint32_t uSize, RGNDATA* pData) RV_NOEXCEPT;
/// 1 if the pixel is in the region, else 0, also for a bad handle.
RV_API int32_t PtInRegion(RVHANDLE h, int32_t x, int32_t y) RV_NOEXCEPT;

RV_C_END
