// Outlines: point lists that become regions, regions that become rectangles and closed contours, and smooth curves as
// Bézier points.
//
// Points lie on the corners of pixels: the outline (0,0) (4,0) (4,3) (0,3) surrounds the pixels of columns 0 to 3 and
// rows 0 to 2.
#pragma once

#include "region.h"

RV_C_BEGIN

/// The region that an outline surrounds. pTypes has a word for each point, of which zero starts a new closed polygon;
/// null is one polygon. The first point always starts one. nFillMode 0 takes the pixels that the outline winds around,
/// any other value those for which it is crossed an odd number of times. A pixel is judged at its left upper corner: it
/// belongs by the crossings at or left of it, where a row crosses an edge from its upper end to before its lower one.
/// Crossings are computed in double precision. Groups of four points that are upright rectangles, if there are no
/// others, count with one sense of turning, so that nFillMode 0 gives their union. A list that surrounds nothing gives
/// an empty region. Returns 1, or: -13 null, -13 a negative count, -1.
RV_API int32_t R_SegmentsToRegion(RavoRgn** ppRgn, const POINT* pPoints, const uint32_t* pTypes, int32_t nCount,
                                  int32_t nFillMode) RV_NOEXCEPT;

/// The region as rectangles, from the top down and from left to right, each as large as equal spans below each other
/// make it: four points (left, top), (right, top), (right, bottom), (left, bottom) with the types 0, 1, 1, 1. The
/// caller frees both lists with R_FreeRegionSegments; an empty region has none. Returns 1, -13 null, or -1; the results
/// are written on success only.
RV_API int32_t R_RegionToSegments(const RavoRgn* pRgn, POINT** ppPoints, uint32_t** ppTypes,
                                  int32_t* pnCount) RV_NOEXCEPT;
/// Frees both lists and clears the pointers. Either address may be null.
RV_API void R_FreeRegionSegments(POINT** ppPoints, uint32_t** ppTypes) RV_NOEXCEPT;

/// Closed contours. The first entry of ppContourPoints owns one block with the points of all.
typedef struct SEGMENTLINES {
    int32_t nContours;
    int32_t* pPointsPerContour;
    int32_t* pContourClosed;  ///< 1 each
    POINT** ppContourPoints;
} SEGMENTLINES;
RV_RECORD_SIZE(SEGMENTLINES, 16, 32);

/// The outline of the union of rectangles, four corners each as R_RegionToSegments gives them. Outer contours go
/// clockwise, holes the other way; each point is a corner, and the way from the last point leads to the first. Where
/// two parts touch at a corner only, their contours stay apart. pLines is cleared first; the caller ends it with
/// R_FreeSegmentLines. Returns 1, or: -13 null, fewer than 4 points or no multiple of 4; -1.
RV_API int32_t R_SegmentsToLines(const POINT* pPoints, int32_t nCount, SEGMENTLINES* pLines) RV_NOEXCEPT;
/// Frees the lists and clears the pointers. Returns 1 or -13.
RV_API int32_t R_FreeSegmentLines(SEGMENTLINES* pLines) RV_NOEXCEPT;

/// A smooth curve through points.
typedef struct CURVE {
    uint32_t uStructSize;
    int32_t nType;  ///< 1 cardinal spline, 2 interpolating cubic spline
    int32_t nPointCount;
    const POINT* pPoints;
    uint32_t uReserved1, uReserved2;
    double dTension;     ///< of type 1; 0.5 gives the usual curve
    int32_t uCloseMode;  ///< 0 open, 1 closed, 2 open with its end tangents kept
} CURVE;
RV_RECORD_SIZE(CURVE, 36, 48);

/// The curve as cubic Bézier spans: a first point, then three for each span; results are truncated to integers. With a
/// null pPoints only the count is told, which is for n points: type 1 open 3n - 8, as its first and last point only
/// shape the ends; closed 3n + 1; all others 3n - 2. The spline of type 2 is natural at open ends; with its tangents
/// kept it leaves along its first chord and arrives along its last, and a cardinal spline goes on to its first and last
/// point as if they were there twice.
/// Returns 1, or: -13 null curve or count, -789 unknown record size, -13 null points, another type or mode, fewer than
/// 3 points, or than 4 for an open curve of type 1; -1.
RV_API int32_t R_CurveToBezier(const CURVE* pCurve, int32_t* pnCount, POINT* pPoints) RV_NOEXCEPT;

// ---- the window system's calls -----------------------------------------------------------------------------------

/// A handle to the region of a polygon; with fewer than two points it holds none. nFillMode goes to R_SegmentsToRegion
/// as it is. Null on failure. The two names are one function; the caller ends the handle with DeleteObject.
RV_API RVHANDLE CreatePolygonRgn(const POINT* pPoints, int32_t nCount, int32_t nFillMode) RV_NOEXCEPT;
RV_API RVHANDLE R_WinCreatePolygonRgn(const POINT* pPoints, int32_t nCount, int32_t nFillMode) RV_NOEXCEPT;
/// A handle to the region of the ellipse in a box, flattened to a polygon of 48 points; an odd width or height loses
/// its last column or row. A box without width or height gives a handle that holds no region. Null on failure.
RV_API RVHANDLE CreateEllipticRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) RV_NOEXCEPT;
RV_API RVHANDLE R_WinCreateEllipticRgn(int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) RV_NOEXCEPT;
RV_API RVHANDLE R_WinCreateEllipticRgnIndirect(const RECT* pRect) RV_NOEXCEPT;

RV_C_END
