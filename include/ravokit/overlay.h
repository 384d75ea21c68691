// Overlays: up to 16 planes of one bit that a bitmap carries over its picture, as medical images do for annotations.
//
// An overlay is a bitmap of its own, of 1 bit, or lives in a bit of the picture's gray samples;
// R_UpdateBitmapOverlayBits moves it between the two. Its origin is where the left top corner of the overlay, as its
// view shows it, lies in the picture as that is seen; it may lie outside. Copies take overlays along, and an overlay
// stays on the same content when the picture is flipped, turned, resized or cropped: its bitmap undergoes the same, and
// its origin moves. Changes of view alone show the overlay through another view likewise.
//
// Resized, it covers the pixels whose nearest old ones it covered, with the nearest of its own, and at least one pixel
// each way. Turned by other than quarters, it turns about its middle, on a canvas that holds it.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

#define OVERLAY_COUNT 16
/// Characters of an overlay's text, with the terminator.
#define OVERLAY_TEXT_SIZE 65

/// Bits of the uFlags of an overlay. The others are kept for who set them; bit 31 is cleared with each new bitmap.
enum {
    OVERLAY_SHOW = 1,         ///< painted with the picture
    OVERLAY_LET_OUT = 2,      ///< and beyond its edges
    OVERLAY_IN_BIT_PLANE = 8  ///< lives in bit nBitPosition of the picture's samples
};

/// Which attributes a call takes: bits of its uFlags.
enum {
    OVERLAYATTR_ORIGIN = 1,
    OVERLAYATTR_COLOUR = 2,
    OVERLAYATTR_FLAGS = 4,
    OVERLAYATTR_BIT_POSITION = 8,
    OVERLAYATTR_TEXT = 16
};

/// How a bitmap is handed over: the uFlags of R_SetOverlayBitmap and R_GetOverlayBitmap.
enum {
    OVERLAY_COPY = 0,
    OVERLAY_SHARE = 1,  ///< both records point to the same storage, which the slot frees
    OVERLAY_MOVE = 3
};

#pragma pack(push, 1)

/// What is written with an overlay. It is kept and given back as it is; modules that write texts fill it.
typedef struct OVERLAYTEXT {
    uint16_t uMode[3];
    uint8_t Font[32];
    uint16_t uStyle[2];
    char16_t szText[3][OVERLAY_TEXT_SIZE];
    uint32_t uUnit;
    double dScale[2];
    uint32_t uKind;
    uint16_t uExtra;
    uint8_t Data[28];
    uint16_t uLast;
} OVERLAYTEXT;

/// The same with narrow texts.
typedef struct OVERLAYTEXTA {
    uint16_t uMode[3];
    uint8_t Font[32];
    uint16_t uStyle[2];
    char szText[3][OVERLAY_TEXT_SIZE];
    uint32_t uUnit;
    double dScale[2];
    uint32_t uKind;
    uint16_t uExtra;
    uint8_t Data[28];
    uint16_t uLast;
} OVERLAYTEXTA;

/// The attributes of an overlay.
typedef struct OVERLAYATTRIBUTES {
    uint32_t uStructSize;
    int32_t nOriginX, nOriginY;
    COLORREF Colour;  ///< a plain colour
    uint32_t uFlags;
    int32_t nBitPosition;
    OVERLAYTEXT Text;
} OVERLAYATTRIBUTES;
typedef struct OVERLAYATTRIBUTESA {
    uint32_t uStructSize;
    int32_t nOriginX, nOriginY;
    COLORREF Colour;
    uint32_t uFlags;
    int32_t nBitPosition;
    OVERLAYTEXTA Text;
} OVERLAYATTRIBUTESA;

/// An overlay as its bitmap carries it.
typedef struct OVERLAYSLOT {
    uint32_t reserved1;
    BITMAPRECORD* pBitmap;  ///< a block of its own, as long as the slot is in use; else null
    uint8_t reserved2[4];
    uint8_t Colour[3];  ///< red, green, blue
    uint32_t uFlags;
    int32_t nBitPosition;
    int32_t nOriginX, nOriginY;
    OVERLAYTEXT Text;
    uint8_t reserved3[3];
} OVERLAYSLOT;

/// What BITMAPRECORD::pOverlays points to.
typedef struct OVERLAYSET {
    uint32_t uStructSize;
    OVERLAYSLOT Slots[OVERLAY_COUNT];
} OVERLAYSET;

#pragma pack(pop)

RV_RECORD_SIZE(OVERLAYTEXT, 488, 488);
RV_RECORD_SIZE(OVERLAYATTRIBUTES, 512, 512);
RV_RECORD_SIZE(OVERLAYATTRIBUTESA, 317, 317);
RV_RECORD_SIZE(OVERLAYSLOT, 522, 526);
RV_RECORD_SIZE(OVERLAYSET, 8356, 8420);

/// Gives a slot its bitmap, of 1 bit, and uses the slot from then on. What it held is freed, unless pOverlay shares it:
/// then that stays with the caller. A null pOverlay, or one without storage that is copied, leaves a record without
/// storage: of pOverlay's size and view, or of what the seen picture has from the slot's origin on to the right and
/// down. uFlags is OVERLAY_COPY, OVERLAY_SHARE (the storage is the slot's, and pOverlay becomes a copy of its record)
/// or OVERLAY_MOVE (pOverlay becomes empty). The palette gets two entries: its first two, or black and white. Returns
/// 1, or: -2 null bitmap; -789 unknown record size, also pOverlay's; -13 other uFlags, an index above 15, the bitmap as
/// its own overlay, other than copied, or the slot's own record; -1 no memory. From here on the slot is in use, and
/// empty on failure: -11 no such size is possible, -27 another depth, those of R_CopyBitmap, -1 no memory.
RV_API int32_t R_SetOverlayBitmap(BITMAPRECORD* pBitmap, uint32_t uIndex, BITMAPRECORD* pOverlay,
                                  uint32_t uFlags) RV_NOEXCEPT;
/// Hands a slot's bitmap out, in a record of uStructSize bytes that is not freed first: a copy, the record that shares
/// the slot's storage, or, moved, the storage itself; the slot stays in use then, and is empty.
/// Returns 1, or: -2 null bitmap; -789 unknown record size, also uStructSize; -13 an index above 15, null pOverlay,
/// other uFlags; -815 the slot is not in use; copied, those of R_CopyBitmap, which are -13 without storage.
RV_API int32_t R_GetOverlayBitmap(const BITMAPRECORD* pBitmap, uint32_t uIndex, BITMAPRECORD* pOverlay,
                                  uint32_t uStructSize, uint32_t uFlags) RV_NOEXCEPT;

/// Stores the attributes that uFlags (OVERLAYATTR_ bits) selects, and uses the slot from then on.
/// Returns 1, or: -814 null attributes, -789 another size of them, -2 null bitmap, -789 unknown record size, -13 an
/// index above 15, -1 no memory.
RV_API int32_t R_SetOverlayAttributes(BITMAPRECORD* pBitmap, uint32_t uIndex, const OVERLAYATTRIBUTES* pAttributes,
                                      uint32_t uFlags) RV_NOEXCEPT;
/// Fetches the attributes that uFlags selects, and sets the record's size; the rest of it stays.
/// Returns 1, or: -13 null, -789 uStructSize is not that of the record, -789 unknown record size of the bitmap, -13 an
/// index above 15, -815 the slot is not in use.
RV_API int32_t R_GetOverlayAttributes(const BITMAPRECORD* pBitmap, uint32_t uIndex, OVERLAYATTRIBUTES* pAttributes,
                                      uint32_t uStructSize, uint32_t uFlags) RV_NOEXCEPT;
/// The same with UTF-8 texts, cut to 64 bytes. What is set is read as R_A2THelper does; what is too long when fetched
/// ends with the last character that fits.
RV_API int32_t R_SetOverlayAttributesA(BITMAPRECORD* pBitmap, uint32_t uIndex, const OVERLAYATTRIBUTESA* pAttributes,
                                       uint32_t uFlags) RV_NOEXCEPT;
RV_API int32_t R_GetOverlayAttributesA(const BITMAPRECORD* pBitmap, uint32_t uIndex, OVERLAYATTRIBUTESA* pAttributes,
                                       uint32_t uStructSize, uint32_t uFlags) RV_NOEXCEPT;

/// Counts the slots in use. Returns 1, or: -2 null bitmap, -789 unknown record size, -814 null puCount.
RV_API int32_t R_GetOverlayCount(const BITMAPRECORD* pBitmap, uint32_t* puCount) RV_NOEXCEPT;

/// uFlags of R_UpdateBitmapOverlayBits.
enum {
    OVERLAYBITS_TAKE = 0,  ///< from the samples into the overlay's bitmap
    OVERLAYBITS_PUT = 1    ///< from the overlay's bitmap into the samples
};

/// Moves an overlay between its bitmap and bit nBitPosition of the samples that it covers; all others stay. Taken bits
/// are cleared in the samples. A bitmap without storage gets some, and one without a size gets that of a null
/// R_SetOverlayBitmap. Put bits take the place of those of the samples, and stay in the bitmap too. Only bit 0 of
/// uFlags is looked at. Returns 1, or: -2 null, -789 unknown record size, -13 an index above 15, -27 samples of other
/// than 8, 12 or 16 bits, -815 the slot is not in use, -816 it is not flagged OVERLAY_IN_BIT_PLANE or has no such bit,
/// -2 a bitmap without storage, -815 an overlay without storage to be put, -1 no memory, those of
/// R_ChangeBitmapViewPerspective, of the lock and of row calls.
RV_API int32_t R_UpdateBitmapOverlayBits(BITMAPRECORD* pBitmap, uint32_t uIndex, uint32_t uFlags) RV_NOEXCEPT;

RV_C_END
