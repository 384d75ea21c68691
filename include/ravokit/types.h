// The plain types that every other header uses: handles, colours, rectangles, callbacks. C11 and C++.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define RV_NOEXCEPT noexcept
#define RV_C_BEGIN extern "C" {
#define RV_C_END }
#define RV_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#include <uchar.h>
#define RV_NOEXCEPT
#define RV_C_BEGIN
#define RV_C_END
#define RV_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/// Marks what leaves the shared library.
#define RV_API __attribute__((visibility("default")))

/// Holds a record to its published size under 32 bits; under 64 bits only the pointers may have grown.
#define RV_RECORD_SIZE(type, size32, size64) \
    RV_STATIC_ASSERT(sizeof(type) == (sizeof(void*) == 4 ? (size32) : (size64)), #type " has its published size")

RV_C_BEGIN

/// A handle of the library: the address of a block that opens with its kind. Null and all ones are never valid.
typedef struct MEMHANDLE* RVHANDLE;

/// The handle record. Kinds: 1 logical palette (a record of its own, see palette.h), 3 movable memory, 4 region,
/// 9 wrapped operating-system handle; 2, 6, 7 and 8 belong to whoever set R_SetCloseHandleEx.
typedef struct MEMHANDLE {
    uint32_t uKind;
    void* pBlock;    ///< kind 3: start of the block that holds the data; kinds 4 and 9: the region, the system's handle
    uint32_t nSize;  ///< kind 3: usable bytes
    int32_t nLocks;  ///< kind 3: always 0; locks are not counted
    uint32_t uFlags;  ///< kind 3: allocation flags; 66 where the library allocates for itself
    uintptr_t reserved[3];
} MEMHANDLE;

/// A logical palette: opens with the word 1, see R_CreatePalette.
typedef struct LOGICALPALETTE* HPALETTE;

/// A colour: low byte red, then green, then blue. The top byte is its kind: 0 a plain colour, 1 a palette index in the
/// low 16 bits, 4 a grey level.
typedef uint32_t COLORREF;

/// An entry of a palette.
typedef struct RGBQUAD {
    uint8_t rgbBlue, rgbGreen, rgbRed, rgbReserved;
} RGBQUAD;

/// An entry of a 16-bit lookup table.
typedef struct RGBQUAD64 {
    uint16_t rgbBlue, rgbGreen, rgbRed, rgbReserved;
} RGBQUAD64;

/// A rectangle of pixels; right and bottom are exclusive.
typedef struct RECT {
    int32_t left, top, right, bottom;
} RECT;

typedef struct POINT {
    int32_t x, y;
} POINT;

typedef struct SIZE {
    int32_t width, height;
} SIZE;

/// The header of a device-independent bitmap, as it stands in files.
typedef struct BITMAPINFOHEADER {
    uint32_t biSize;  ///< 40
    int32_t biWidth;
    int32_t biHeight;  ///< negative: the rows stand from the top down
    uint16_t biPlanes, biBitCount;
    uint32_t biCompression, biSizeImage;
    int32_t biXPelsPerMeter, biYPelsPerMeter;
    uint32_t biClrUsed, biClrImportant;
} BITMAPINFOHEADER;

/// A region: opaque here.
typedef struct RavoRgn RavoRgn;

/// Hears the percent of a long operation (0 to 100). 1 goes on; any other status ends the operation and is its result.
typedef int32_t (*STATUSCALLBACK)(int32_t nPercent, void* pUserData);

RV_C_END

RV_RECORD_SIZE(RGBQUAD, 4, 4);
RV_RECORD_SIZE(RGBQUAD64, 8, 8);
RV_RECORD_SIZE(RECT, 16, 16);
RV_RECORD_SIZE(BITMAPINFOHEADER, 40, 40);
RV_RECORD_SIZE(MEMHANDLE, 32, 56);
