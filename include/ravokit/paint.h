// Painting: a rectangle of a bitmap becomes pixels for a device of the caller's.
//
// The library owns no device. It chooses how to paint, cuts the work into bands of at most 8 MiB, or of one row, and
// hands each band to pfnStretchBits of a table of callbacks, the sink; rows that can go as they lie in memory go whole.
// The least sink has that call alone:
//
//     PAINTCALLBACKS sink = {sizeof sink};
//     sink.uSinkFlags = PAINTSINK_NO_INDICES;
//     sink.pUserData = &window;
//     sink.pfnStretchBits = drawBand;
//     R_PaintDCCallback(&sink, &bm, NULL, NULL, &destination, NULL, 0);
//
// A paint goes by the display mode of the thread that calls it, and by the bitmap's brightness, contrast and gamma
// (paintsettings.h). It writes nothing to the bitmap but its lock count.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of uSinkFlags.
enum {
    PAINTSINK_NO_INDICES = 1,   ///< never palette indices; tables hold colours
    PAINTSINK_ALPHA = 2,        ///< rows of 32 and 64 bits may come with their alpha
    PAINTSINK_NO_TRANSFORM = 4  ///< a world transform is not asked for
};

/// What pfnGetDeviceCaps is asked for.
enum {
    PAINTCAPS_TECHNOLOGY = 2,  ///< PAINTTECHNOLOGY_PRINTER, PAINTTECHNOLOGY_METAFILE, or anything else
    PAINTCAPS_BITS = 12,       ///< bits of a pixel
    PAINTCAPS_PLANES = 14      ///< its planes
};
enum { PAINTTECHNOLOGY_PRINTER = 2, PAINTTECHNOLOGY_METAFILE = 5 };

/// Modes of pfnSetStretchMode and of pfnSelectClipRgn, and the uUsage of pfnStretchBits.
enum { PAINTSTRETCH_COLOR = 3, PAINTSTRETCH_HALFTONE = 4 };
enum { PAINTCLIP_AND = 1, PAINTCLIP_COPY = 5 };
enum { PAINTUSAGE_COLORS = 0, PAINTUSAGE_INDICES = 1 };

/// A bit of the raster operation. With it pfnStretchBits gets an overlay: rows of 1 bit, of which only the pixels with
/// index 1 are drawn, in the colour of that entry; the sink isn't asked how it wants them, so they have their own length
/// and go from the bottom up. Given to R_PaintRgnDCCallback it leaves the clip in force.
#define PAINTROP_OVERLAY 0x10000000u

/// The bitmap info of a band: a header and its table. The table holds RGBQUADs, or where uUsage says so 16-bit indices.
/// A band has its rows from the bottom up, unless biHeight is negative; each takes ((biWidth x biBitCount + 31) / 32) x
/// 4 bytes, if the sink hasn't asked for another length; biSizeImage is 0 if all of them don't fit 32 bits. Colours
/// have blue first; 16 bits are 5-5-5, or what the sink asked for; biBitCount 32 and 64 have alpha last.
typedef struct PAINTBITMAPINFO {
    BITMAPINFOHEADER Header;
    union {
        RGBQUAD Colors[256];
        uint16_t Indices[256];
    } Table;
} PAINTBITMAPINFO;

/// Bits of SINKBITMAPINFO::uInfoFlags. The library adds the last one for itself.
enum {
    SINKINFO_NO_LUT = 1,      ///< gray rows without the bitmap's table
    SINKINFO_GRAY_RANGE = 2,  ///< gray goes to bits nInfoLowBit to nInfoHighBit of the samples
    SINKINFO_AS_STORED = 4,   ///< rows of 48 and 64 bits as they are
    SINKINFO_ALPHA = 8192     ///< the rows carry alpha
};

/// What rows a sink wants. The library clears the record and sets uStructSize before it asks.
typedef struct SINKBITMAPINFO {
    uint32_t uStructSize;  ///< sizeof the record
    int32_t
        nViewPerspective;   ///< BOTTOM_LEFT as bands are by themselves; TOP_LEFT: from the top down, biHeight negative
    int32_t nBitsPerPixel;  ///< depth of the rows
    int32_t nPlanes;        ///< 0 or 1
    int32_t nBytesPerLine;  ///< bytes from row to row; 0: as the bitmap info says
    int32_t nOrder;         ///< ORDER_RGB, ORDER_BGR or ORDER_GRAY
    uint32_t uInfoFlags;
    int32_t nInfoLowBit, nInfoHighBit;
    uint32_t uInfoLimit;  ///< at most 65535; kept for sinks
    uint32_t uReserved;
} SINKBITMAPINFO;

/// A row converter of a sink's own: writes the pixels nCol to nEndCol, exclusive, of pSource, a stored row of pBitmap,
/// to pDest, in the depth that the library would have given them.
typedef void (*PAINTCONVERTROW)(uint8_t* pDest, const uint8_t* pSource, const BITMAPRECORD* pBitmap, int32_t nCol,
                                int32_t nEndCol);

/// A paint sink. Any slot may be null but pfnStretchBits. Slots from pfnGetDeviceCaps to pfnGetWorldTransform, and the
/// last one, take a default where they are null; there is none on Linux.
typedef struct PAINTCALLBACKS {
    uint32_t uStructSize;  ///< sizeof the record, or PAINTCALLBACKS_OLD_SIZE
    uint32_t uSinkFlags;   ///< PAINTSINK_ bits
    void* pDisplay;        ///< first argument of every call
    void* pUserData;       ///< last argument of nearly every call
    int32_t (*pfnGetDeviceCaps)(void* pDisplay, int32_t nIndex, void* pUserData);
    int32_t (*pfnGetStretchMode)(void* pDisplay, void* pUserData);
    int32_t (*pfnSetStretchMode)(void* pDisplay, int32_t nMode, void* pUserData);
    int32_t (*pfnIntersectClip)(void* pDisplay, int32_t left, int32_t top, int32_t right, int32_t bottom,
                                void* pUserData);
    int32_t (*pfnSaveState)(void* pDisplay, void* pUserData);
    int32_t (*pfnRestoreState)(void* pDisplay, int32_t nState, void* pUserData);  ///< nState is -1, the last one
    /// Draws nSrcWidth x nSrcHeight pixels, from column nSrcX and row nSrcY as the rows follow each other in memory, to
    /// nWidth x nHeight at x, y. -1 is failure.
    int32_t (*pfnStretchBits)(void* pDisplay, int32_t x, int32_t y, int32_t nWidth, int32_t nHeight, int32_t nSrcX,
                              int32_t nSrcY, int32_t nSrcWidth, int32_t nSrcHeight, const void* pPixels,
                              const PAINTBITMAPINFO* pInfo, uint32_t uUsage, uint32_t uRop, void* pUserData);
    void* reserved1;
    int32_t (*pfnGetOrigin)(void* pDisplay, POINT* pOrigin, void* pUserData);
    int32_t (*pfnSelectClipRgn)(void* pDisplay, RVHANDLE hRgn, int32_t nMode, void* pUserData);
    void* reserved2[2];
    int32_t (*pfnGetGraphicsMode)(void* pDisplay, void* pUserData, double dOne, double dZero);  ///< 2: has a transform
    int32_t (*pfnGetWorldTransform)(void* pDisplay, float* pTransform, void* pUserData);  ///< six values, as region.h
    /// 0: forgets all fields from pUserData on.
    int32_t (*pfnValidate)(void* pDisplay, const BITMAPRECORD* pBitmap, void* pUserData);
    // The older form ends here.
    PAINTCONVERTROW pfnConvertRow;
    /// What rows are wanted, nWidth pixels wide. 1: what *pInfo says; 0 nothing special; a negative status ends the
    /// paint.
    int32_t (*pfnGetBitmapInfo)(void* pDisplay, const BITMAPRECORD* pBitmap, int32_t nWidth, SINKBITMAPINFO* pInfo,
                                void* pUserData);
    /// Once at the start; pDestClip may be null. A status other than 1 ends the paint, without pfnEnd.
    int32_t (*pfnBegin)(void* pDisplay, const BITMAPRECORD* pBitmap, const RECT* pDestClip, void* pUserData);
    int32_t (*pfnEnd)(void* pDisplay, const BITMAPRECORD* pBitmap, void* pUserData);  ///< once at the end
    void (*pfnDefaultSlot)(void);
} PAINTCALLBACKS;

/// uStructSize of the older form: a prefix of the current one.
#define PAINTCALLBACKS_OLD_SIZE ((uint32_t)offsetof(PAINTCALLBACKS, pfnConvertRow))

RV_RECORD_SIZE(PAINTCALLBACKS, 96, 184);
RV_RECORD_SIZE(SINKBITMAPINFO, 44, 44);
RV_STATIC_ASSERT(sizeof(void*) != 4 || offsetof(PAINTCALLBACKS, pfnConvertRow) == 76, "the older form is a prefix");

/// Paints pSource, in stored columns and rows, stretched to pDest as the bitmap's view shows it. A null pSource is the
/// whole bitmap; both clips may be null, and cut their rectangle without changing the scale. uRop is handed through.
///
/// The depth of the device is that of pfnGetBitmapInfo's record, or PAINTCAPS_BITS x PAINTCAPS_PLANES rounded down to
/// 1, 4, 8 or 24, or 24 for a metafile and for a sink that doesn't tell. By it, the bitmap and the display mode, rows
/// go out as they are stored, converted, or dithered; 1-bit pictures under DM_BITONAL_COVERAGE and DM_BITONAL_SMOOTH
/// become 8-bit gray. Rows of up to 8 bits come with a table: indices into the bitmap's palette, or the device's fixed
/// one, under DM_INDEXED_PAINT where the sink takes them and no paint table is in force; else colours, through
/// pPaintLUT. Gray ramps always come with colours. Rows of 24 bits, and the colours of 32, go through pPaintLUT; wider
/// ones don't.
///
/// A pixel is the source pixel at x * source width / destination width, or under DM_RESAMPLE and DM_BICUBIC that of
/// R_StartResizeBitmap2, of the part of pSource that the bitmap has, but for 1-bit gray and colours of 12 bits. The
/// result doesn't depend on clips and bands, except where errors are diffused, and for a few levels where the filters
/// average or follow splines, which start at the first column that is painted.
///
/// Overlays with OVERLAY_SHOW follow, each as a paint of its own with PAINTROP_OVERLAY; it is clipped to the picture by
/// pfnIntersectClip unless OVERLAY_LET_OUT is set, and left out if pfnBegin gives -815 for it. Its pixels are the
/// nearest ones, but where 1-bit pictures are smoothed, one is set if any of those is that it stands for.
///
/// Returns 1, also where there is nothing to paint, or: -2 a null bitmap or one without storage; -789 unknown record
/// size; -13 null pDest, null sink or one of unknown size; -13 a rectangle wider or higher than 2^31 - 1; -13 a sink
/// without pfnStretchBits; the status of pfnBegin; that of the lock; -1491 a bad SINKBITMAPINFO; -27 rows that can't go
/// out in the sink's depth; -1 no memory, or pfnStretchBits failed: what is drawn stays; those of row access and of
/// R_StartResizeBitmap2.
RV_API int32_t R_PaintDCCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                                 const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip,
                                 uint32_t uRop) RV_NOEXCEPT;

/// The same for rows in a buffer: |nRows| rows from nRow on, BytesPerLine apart, or for a negative nRows as run lists
/// (compressed.h). The bitmap tells their format and needs no storage. Only what these rows show is painted. 1-bit
/// pictures are not smoothed. Rows in the bitmap's format that keep their size go out straight from the buffer where
/// they follow each other as the sink wants them, and are turned into a band elsewhere; the buffer is never written to.
/// pfnSaveState, pfnIntersectClip and pfnRestoreState go around them.
/// Returns as R_PaintDCCallback, but -2 for a null bitmap alone, and after -13 for pDest: -1486 a table whose length
/// doesn't fit the bitmap, -13 null rows; and after pfnBegin: -27 run lists of another depth than 1, -13 -2^31 of them.
RV_API int32_t R_PaintDCBufferCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                                       const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip, uint32_t uRop,
                                       const uint8_t* pRows, int32_t nRow, int32_t nRows) RV_NOEXCEPT;

/// R_PaintDCCallback clipped to the bitmap's region, which is scaled with the picture: it goes to pfnSelectClipRgn with
/// PAINTCLIP_AND, between pfnSaveState and pfnRestoreState, moved by pfnGetOrigin. Under pDisplay and a world transform
/// that is not the identity, it is transformed. With PAINTROP_OVERLAY in uRop the state is not restored; the bit is not
/// handed on.
/// Returns as R_PaintDCCallback, and those of R_GetResizedRgnHandle; -1 a transform that a region can't follow.
RV_API int32_t R_PaintRgnDCCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                                    const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip,
                                    uint32_t uRop) RV_NOEXCEPT;
/// R_PaintDCBufferCallback clipped likewise, with PAINTCLIP_COPY, without origin and transform; the state is always
/// restored.
RV_API int32_t R_PaintRgnDCBufferCallback(const PAINTCALLBACKS* pSink, BITMAPRECORD* pBitmap, const RECT* pSource,
                                          const RECT* pSourceClip, const RECT* pDest, const RECT* pDestClip,
                                          uint32_t uRop, const uint8_t* pRows, int32_t nRow, int32_t nRows) RV_NOEXCEPT;

RV_C_END
