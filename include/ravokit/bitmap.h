// The bitmap: its record, its enumerations, and its life from initialisation to freeing.
//
// A BITMAPRECORD is the caller's, on the stack or inside a structure of his own; the library owns what hangs from it.
// R_InitBitmap fixes the geometry, R_AllocateBitmap gives it storage (R_CreateBitmap does both), R_AccessBitmap and
// R_ReleaseBitmap stand around all work on pixels, R_FreeBitmap ends it. A bitmap belongs to one thread at a time.
//
//     BITMAPRECORD bm;
//     if (R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, 640, 480, 24, ORDER_BGR, NULL, TOP_LEFT, NULL, 0) == 1) {
//         R_AccessBitmap(&bm);
//         ... R_PutBitmapRow(&bm, row, y, bm.BytesPerLine) ...
//         R_ReleaseBitmap(&bm);
//         R_FreeBitmap(&bm);
//     }
#pragma once

#include "types.h"

RV_C_BEGIN

/// State bits of BITMAPRECORD::Flags.
enum {
    BMF_ALLOCATED = 0x00001,        ///< storage exists; nearly every operation asks for it
    BMF_CONVENTIONAL = 0x00002,     ///< data in memory; tiled and compressed bitmaps carry it too
    BMF_DISK = 0x00004,             ///< data in a temporary file, which is hMemory
    BMF_LOCKED = 0x00010,           ///< pData was derived from hMemory for the time of a lock
    BMF_WAIT_USER_INPUT = 0x00040,  ///< playback waits for the user
    BMF_TRANSPARENCY = 0x00080,     ///< Transparency is in force
    BMF_COMPRESSED = 0x00100,       ///< rows as run lists
    BMF_SIGNED = 0x00200,           ///< samples are signed
    BMF_USER_DATA = 0x00400,        ///< the caller owns the data
    BMF_USE_LUT = 0x00800,          ///< pLUT is applied; the physical bits are valid
    BMF_GLOBAL = 0x01000,           ///< movable memory, reached only under a lock
    BMF_PAINT_LUT = 0x02000,        ///< pPaintLUT is no identity
    BMF_TILED = 0x04000,            ///< tiles in memory and files
    BMF_SUPERCOMPRESSED = 0x08000,  ///< compressed strips
    BMF_RGN_NOCLIP = 0x10000,       ///< the region may reach outside the bitmap
    BMF_PREMULTIPLIED = 0x20000,    ///< colour is multiplied by alpha; carried into copies
    BMF_NONLINEAR_LUT = 0x40000     ///< pLUT is no straight ramp
};

/// BITMAPRECORD::Order. Depths up to 8 have ORDER_RGB.
enum {
    ORDER_RGB = 0,
    ORDER_BGR = 1,
    ORDER_GRAY = 2,
    ORDER_ROMM = 5,   ///< wide gamut; 24 and 48 bits only
    ORDER_BGR565 = 7  ///< a form of 16-bit rows in calls; no allocated bitmap has it
};

/// BITMAPRECORD::ViewPerspective: the corner of the picture at which the stored row 0, column 0 stands. The numbers are
/// those of the TIFF orientation tag.
enum {
    TOP_LEFT = 1,      ///< top row, left column
    TOP_RIGHT = 2,     ///< 1 mirrored
    BOTTOM_RIGHT = 3,  ///< 1 rotated by 180 degrees
    BOTTOM_LEFT = 4,   ///< 1 flipped: rows run from bottom to top
    LEFT_TOP = 5,      ///< 4 rotated by 90 degrees
    RIGHT_TOP = 6,     ///< 1 rotated by 90 degrees
    RIGHT_BOTTOM = 7,  ///< 4 rotated by 270 degrees
    LEFT_BOTTOM = 8    ///< 1 rotated by 270 degrees
};

/// Memory flags of R_AllocateBitmap and R_CreateBitmap.
enum {
    BMMEM_CONVENTIONAL = 1,  ///< memory, falling back to tiles and disk as allowed
    BMMEM_USER = 2,          ///< no storage; the caller supplies pData
    BMMEM_TILED = 4,
    BMMEM_NO_TILED = 8,
    BMMEM_DISK = 128,
    BMMEM_NO_DISK = 256,
    BMMEM_COMPRESSED = 512,       ///< run lists; 1 bit per pixel only
    BMMEM_SUPERCOMPRESSED = 1024  ///< compressed strips; 1, 8 and 24 bits per pixel only
};

typedef struct BITMAPDATACALLBACKS BITMAPDATACALLBACKS;

/// The bitmap record. uStructSize is sizeof(BITMAPRECORD), or BITMAPRECORD_OLD_SIZE for the older form, which ends
/// before LUT16Length. A field that says "owned" is freed by R_FreeBitmap.
typedef struct BITMAPRECORD {
    uint32_t uStructSize;
    MEMHANDLE* hMemory;     ///< owner of the storage; null for tiled, compressed and the caller's data
    uint8_t* pData;         ///< pixels of a flat bitmap while reachable (32-byte aligned); else the class's own table
    int32_t Width;          ///< pixels in a row
    int32_t Height;         ///< rows
    int32_t BitsPerPixel;   ///< 1 to 8, 12, 16, 24, 32, 48, 64
    uint32_t BytesPerLine;  ///< bytes from row to row, a multiple of 4
    uint32_t Flags;         ///< BMF_ bits
    uint32_t nColors;       ///< palette entries; 0 above 8 bits per pixel
    RGBQUAD* pPalette;      ///< owned
    int32_t ViewPerspective;
    int32_t Order;
    uint32_t Size;      ///< bytes of data, low part
    void* pDitherData;  ///< state of a running dither
    int32_t DitheringMethod;
    RavoRgn* pRgnInfo;    ///< region, owned
    int32_t XResolution;  ///< dots per inch
    int32_t YResolution;  ///< dots per inch
    int32_t Left, Top;    ///< place in an animation
    uint32_t Delay;       ///< time in an animation
    COLORREF Background, Transparency;
    uint32_t DisposalMethod;
    int32_t PhysicalLowBit, PhysicalHighBit;  ///< bit range of the samples as stored
    RGBQUAD* pLUT;                            ///< window-level table, owned
    uint32_t LUTLength;                       ///< entries in pLUT
    uint32_t nDataOffset;                     ///< bytes between the start of the storage and pData
    int32_t MinVal, MaxVal;                   ///< range of sample values
    int32_t LowBit, HighBit;                  ///< bit range to display; -1 in HighBit stands for BitsPerPixel - 1
    uint32_t PaintGamma;                      ///< hundredths
    int32_t PaintContrast, PaintIntensity;
    uint8_t* pPaintLUT;               ///< 256 entries, owned
    void* pOverlays;                  ///< owned
    uint32_t nCarriedTag;             ///< zero at first; follows the bitmap when it is rebuilt
    void* pExtraData;                 ///< owned
    uint32_t ExtraDataSize;           ///< bytes
    int32_t nLockCount;               ///< nesting of R_AccessBitmap
    BITMAPDATACALLBACKS* pCallbacks;  ///< owned copy, or null
    uintptr_t reserved1;
    // The older form ends here.
    uint32_t LUT16Length;   ///< entries in pLUT16
    RGBQUAD64* pLUT16;      ///< 16-bit form of pLUT, owned
    uint16_t* pPaintLUT16;  ///< 65536 entries, owned, made on demand
    uint64_t Size64;        ///< bytes of data
    uint32_t reserved2[5];
} BITMAPRECORD;

/// uStructSize of the older form of the record: a prefix of the current one.
#define BITMAPRECORD_OLD_SIZE ((uint32_t)offsetof(BITMAPRECORD, LUT16Length))

RV_RECORD_SIZE(BITMAPRECORD, 216, 296);
RV_STATIC_ASSERT(offsetof(BITMAPRECORD, LUT16Length) == (sizeof(void*) == 4 ? 176 : 240), "the older form is a prefix");
RV_STATIC_ASSERT(sizeof(void*) != 4 || offsetof(BITMAPRECORD, Size64) == 188,
                 "the wide size follows the 16-bit tables");

/// What allocation callbacks see. A callback may change uMemoryFlags; the allocator reads it back.
#pragma pack(push, 1)
typedef struct BITMAPALLOCATEINFO {
    uint32_t uStructSize;
    uint32_t reserved;
    uint32_t uMemoryFlags;
    int32_t Width, Height, BitsPerPixel;
    uint32_t BytesPerLine;  ///< 0 for the process-wide callback
    int32_t Order, ViewPerspective;
    uint64_t Size;
    const RGBQUAD* pPalette;
} BITMAPALLOCATEINFO;
#pragma pack(pop)
RV_RECORD_SIZE(BITMAPALLOCATEINFO, 48, 52);

/// Callbacks of one bitmap; any of them may be null. pUserData is handed to each.
struct BITMAPDATACALLBACKS {
    uint32_t uStructSize;
    void* pUserData;
    /// 1 goes on with pInfo's memory flags; 2: the callback has supplied the data; any other status ends the
    /// allocation.
    int32_t (*pfnAllocate)(BITMAPRECORD* pBitmap, BITMAPALLOCATEINFO* pInfo, void* pUserData);
    /// 2: the callback has disposed of the storage; the library frees none.
    int32_t (*pfnFree)(BITMAPRECORD* pBitmap, void* pUserData);
    /// 1: the new bitmap takes pNewCallbacks as the callback filled it; 2: no change; any other status fails the copy.
    int32_t (*pfnBeginCopy)(BITMAPRECORD* pSource, int32_t bFlag, BITMAPALLOCATEINFO* pInfo,
                            BITMAPDATACALLBACKS* pNewCallbacks, void* pUserData);
    int32_t (*pfnEndCopy)(BITMAPRECORD* pBitmap, int32_t bFlag, void* pUserData, BITMAPDATACALLBACKS* pCallbacks);
    /// 2: the lock is done; 1 goes on; any other status fails the lock.
    int32_t (*pfnAccess)(BITMAPRECORD* pBitmap, void* pUserData);
    /// 2: the release is done; 1 goes on; any other status is returned.
    int32_t (*pfnRelease)(BITMAPRECORD* pBitmap, void* pUserData);
    /// Non-zero ends the row call with that result; 0 reads or writes the normal way.
    int32_t (*pfnGetRow)(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes,
                         void* pUserData);
    int32_t (*pfnPutRow)(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes,
                         void* pUserData);
    /// Gives a row buffer of nBytes for writes by segments.
    int32_t (*pfnGetRowBuffer)(BITMAPRECORD* pBitmap, uint8_t** ppBuffer, uint32_t nBytes, void* pUserData);
};
RV_RECORD_SIZE(BITMAPDATACALLBACKS, 44, 88);

/// Process-wide allocation callback. Any status but 1 fails the allocation with it.
typedef int32_t (*ALLOCATEBITMAPCALLBACK)(BITMAPALLOCATEINFO* pInfo, void* pUserData);

/// Initialises a record: clears it to uStructSize bytes and sets geometry, order, resolution, bit ranges and defaults.
/// The old contents are gone, so a bitmap is freed before it is initialised again. No storage is made. With Width,
/// Height and BitsPerPixel all 0 the record keeps only its size.
/// Depths up to 8 get ORDER_RGB, 12 ORDER_GRAY, others ORDER_BGR; the view is BOTTOM_LEFT. MinVal is 0 and MaxVal
/// 2^BitsPerPixel - 1, cut to 32 bits.
/// Returns 1, or: -13 null record, -789 unknown uStructSize, -11 negative width or height, -27 unknown depth, -3 data
/// too large for the older form (the record is cleared).
RV_API int32_t R_InitBitmap(BITMAPRECORD* pBitmap, uint32_t uStructSize, int32_t Width, int32_t Height,
                            int32_t BitsPerPixel) RV_NOEXCEPT;
/// R_InitBitmap with data callbacks, which are copied; null for none. A failure to keep them is not reported.
RV_API int32_t R_InitBitmapWithCallbacks(BITMAPRECORD* pBitmap, uint32_t uStructSize, int32_t Width, int32_t Height,
                                         int32_t BitsPerPixel, const BITMAPDATACALLBACKS* pCallbacks) RV_NOEXCEPT;

/// Gives an initialised bitmap its storage, cleared, in the class that uMemoryFlags (BMMEM_ bits), the thresholds and
/// the machine allow: memory, then tiles, then a temporary file, each link cut by its flag.
/// Returns 1, or: -13 null record, -789 unknown uStructSize, -11 no size, the status of the process-wide callback,
/// -13 flags outside their set, the status of pfnAllocate, -356 or -357 no codec module, -1 no storage of any class. A
/// bitmap that failed keeps its geometry and can be allocated again with other flags.
RV_API int32_t R_AllocateBitmap(BITMAPRECORD* pBitmap, uint32_t uMemoryFlags) RV_NOEXCEPT;

/// R_InitBitmap and R_AllocateBitmap in one, with order, palette and view. BitsPerPixel 0 makes 8 bits with a grey
/// palette. Depths up to 8 get a copy of pPalette, or a grey palette (Order is ORDER_GRAY), or the fixed one.
/// ViewPerspective 0 is TOP_LEFT. With BMMEM_USER and pData the data pointer is set, and stays the caller's.
/// Returns 1, or the statuses of R_InitBitmap, then -27 ORDER_ROMM at a depth other than 24 and 48, -13 view above 8,
/// then those of R_AllocateBitmap and R_SetBitmapDataPointer.
RV_API int32_t R_CreateBitmap(BITMAPRECORD* pBitmap, uint32_t uStructSize, uint32_t uMemoryFlags, int32_t Width,
                              int32_t Height, int32_t BitsPerPixel, int32_t Order, const RGBQUAD* pPalette,
                              int32_t ViewPerspective, uint8_t* pData, uint32_t dwDataSize) RV_NOEXCEPT;
RV_API int32_t R_CreateBitmapWithCallbacks(BITMAPRECORD* pBitmap, uint32_t uStructSize, uint32_t uMemoryFlags,
                                           int32_t Width, int32_t Height, int32_t BitsPerPixel, int32_t Order,
                                           const RGBQUAD* pPalette, int32_t ViewPerspective, uint8_t* pData,
                                           uint32_t dwDataSize, const BITMAPDATACALLBACKS* pCallbacks) RV_NOEXCEPT;

/// Frees all that the bitmap owns, locked or not. Null and unknown records are left alone. The geometry survives, so
/// that the record can be allocated again; the lock count stays as it was.
RV_API void R_FreeBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;

/// Locks the bitmap for work on its pixels; locks nest. The pointer is trusted.
/// Returns 1, or the status of pfnAccess, and then nothing is locked.
RV_API int32_t R_AccessBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Takes one lock back.
/// Returns 1, or: -814 null, -789 unknown record size, the status of pfnRelease (the count has been lowered then).
RV_API int32_t R_ReleaseBitmap(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// R_AccessBitmap that also tells *pbLocked, if given: 1 locked, 0 not.
RV_API int32_t R_IntAccessBitmap(BITMAPRECORD* pBitmap, int32_t* pbLocked) RV_NOEXCEPT;
/// Releases if bLocked, and hands nStatus through; the status of the release counts only where nStatus is 1.
/// Returns -814 for a null bitmap.
RV_API int32_t R_IntReleaseBitmap(BITMAPRECORD* pBitmap, int32_t bLocked, int32_t nStatus) RV_NOEXCEPT;

/// A shallow copy of the record: both point at the same storage, and one of the two is freed. The copy has the smaller
/// of the two sizes, and says so.
/// Returns 1 (also for a null pDst), or -789 for an unknown uStructSize, the source's or the argument.
RV_API int32_t R_CopyBitmapHandle(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc, uint32_t uStructSize) RV_NOEXCEPT;

/// Stores the address of the caller's data, which the library never frees. On a bitmap that isn't of the caller's data,
/// dwSize must be the bitmap's size; a bitmap of the caller's data takes any.
/// Returns 1, or: -2 null bitmap, -13 wrong size, -789 unknown record size.
RV_API int32_t R_SetBitmapDataPointer(BITMAPRECORD* pBitmap, uint8_t* pData, uint32_t dwSize) RV_NOEXCEPT;

/// Keeps a copy of pCallbacks, in place of an older one; null removes them.
/// Returns 1, or: -13 null bitmap, -789 unknown record size, -11 the bitmap has no size yet, -789 unknown size of
/// pCallbacks, -1 no memory.
RV_API int32_t R_SetBitmapDataCallbacks(BITMAPRECORD* pBitmap, const BITMAPDATACALLBACKS* pCallbacks) RV_NOEXCEPT;
/// Copies the callbacks out into the caller's *ppCallbacks; a bitmap without callbacks clears it and sets its size.
/// Returns 1, or: -13 null bitmap or pointer, -789 unknown record size.
RV_API int32_t R_GetBitmapDataCallbacks(const BITMAPRECORD* pBitmap, BITMAPDATACALLBACKS** ppCallbacks) RV_NOEXCEPT;

/// Sets the process-wide allocation callback, null for none; the old pair comes back through the pointers that are
/// given. Not locked: to be set during start-up. Always 1.
RV_API int32_t R_SetAllocateBitmapCallback(ALLOCATEBITMAPCALLBACK pfn, void* pUser, ALLOCATEBITMAPCALLBACK* ppfnOld,
                                           void** ppUserOld) RV_NOEXCEPT;

/// Asks the source's pfnBeginCopy, telling it pDst's geometry. Where it answers 1, pDst takes the callbacks that it
/// gives and *puMemoryFlags the flags that it leaves in the record; where it answers 2, nothing changes. Returns 1
/// (also without a callback), or: -13 null flags or bitmap, the callback's status, that of R_SetBitmapDataCallbacks,
/// after pfnEndCopy was called: only a begin that gave 1 waits for R_IntEndCopyBitmap.
RV_API int32_t R_IntBeginCopyBitmap(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, int32_t bFlag,
                                    uint32_t* puMemoryFlags) RV_NOEXCEPT;
/// Calls pfnEndCopy and returns its status; 1 if there is none.
RV_API int32_t R_IntEndCopyBitmap(BITMAPRECORD* pBitmap, int32_t bFlag) RV_NOEXCEPT;

/// Computes the size anew, from Height and BytesPerLine for flat and tiled data, from its own storage for compressed
/// data. uFlags is not consulted.
/// Returns 1, or: -2 null or not allocated, -3 too large for the older form; the record is then as it was.
RV_API int32_t R_UpdateBitmapSize(BITMAPRECORD* pBitmap, uint32_t uFlags) RV_NOEXCEPT;

RV_C_END
