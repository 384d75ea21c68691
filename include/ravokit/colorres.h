// Colour resolution: a bitmap of any depth becomes one of a chosen depth, order and palette, row by row, dithered where
// the destination has fewer colours.
//
//     R_ColorResBitmap(&photo, &page, sizeof page, 1, CRF_FIXEDPALETTE | DITHER_FLOYD << CRF_DITHERING_SHIFT, NULL,
//                      NULL, 0, NULL, NULL);
//     R_ColorResBitmap(&photo, &photo, sizeof photo, 24, CRF_BYTEORDERBGR, NULL, NULL, 0, NULL, NULL);  // in place
//
// Destinations of at most 8 bits choose one palette by the low ten bits of uFlags; other combinations than these are
// refused, after CRF_BYTEORDERBGR and CRF_GRAY were cleared: CRF_OPTIMIZEDPALETTE, CRF_RESERVEDENTRIES, both or
// neither, each also with CRF_NOOPTIMIZEDMATCH; CRF_OPTIMIZEDPALETTE with CRF_USERMATCHTABLE (CRF_NOOPTIMIZEDMATCH
// beside these two is cleared); CRF_USERPALETTE, also with CRF_USERMATCHTABLE; CRF_FIXEDPALETTE, CRF_NETSCAPEPALETTE or
// both.
//
// - CRF_USERPALETTE takes pPalette, or hPalette, and dithers to it.
// - CRF_FIXEDPALETTE and CRF_NETSCAPEPALETTE take the fixed palette of the depth and the web palette, and dither.
// - All others compute the best palette. Entries that pPalette tells as fixed keep their places and colours; the free
//   slots are filled, those of pPalette too. Without pPalette all slots are free. Where the picture's colours fit, the
//   result is exact: nothing is dithered then, unless CRF_USERMATCHTABLE is there, and slots left over at the end of
//   the palette are cut off. Else the method of the dithering bits applies, and the nearest colour where they are 0.
//
// The fourth byte of an entry that the caller gives is its role: bit 1 marks a free slot, all others are fixed. A fixed
// entry with bit 0 is not dithered to. Flags of a logical palette: 1 and 4 become 0, 2 marks a free slot.
#pragma once

#include "list.h"
#include "palette.h"

RV_C_BEGIN

/// Bits of uFlags.
enum {
    CRF_FIXEDPALETTE = 0x001,      ///< the fixed palette of the depth
    CRF_OPTIMIZEDPALETTE = 0x002,  ///< the best palette for the source
    CRF_BYTEORDERBGR = 0x004,      ///< above 8 bits: ORDER_BGR
    CRF_RESERVEDENTRIES = 0x008,   ///< as CRF_OPTIMIZEDPALETTE
    CRF_USERPALETTE = 0x010,       ///< the palette that the caller gives
    CRF_USERMATCHTABLE = 0x020,    ///< the thread's table, see R_SetUserMatchTable
    CRF_NETSCAPEPALETTE = 0x040,   ///< 8 bits: the web palette
    CRF_GRAY = 0x080,              ///< above 8 bits: grey
    CRF_LOGICALPALETTE = 0x100,    ///< the palette is hPalette; stands for CRF_USERPALETTE
    CRF_NOOPTIMIZEDMATCH =
        0x200,                 ///< colours are searched when they are met, not looked up in the best palette's table
    CRF_FASTOPTIMIZE = 0x400,  ///< fewer entries are kept for the rest when dominant colours are peeled off
    CRF_ROMM = 0x800,          ///< ORDER_ROMM
    CRF_565 = 0x4000,          ///< ORDER_BGR565
    CRF_DITHERING_SHIFT = 16,  ///< bits 16 to 23: the dithering method, in place of the source's DitheringMethod
    CRF_CONVERT_EXTRA = 0x1000000  ///< accepted, and of no effect
};

/// Hears each finished row: pRow in the format of pBitmap, which is the destination, nLines (always 1) rows from row
/// nRow on. The row may be changed: it goes to the destination afterwards. 1 goes on; any other result ends the run,
/// and is its status.
typedef int32_t (*COLORRESCALLBACK)(BITMAPRECORD* pBitmap, uint8_t* pRow, int32_t nRow, int32_t nLines,
                                    void* pUserData);
/// The same for a list. nRow runs on from bitmap to bitmap; uIndex is the bitmap's place in the list.
typedef int32_t (*COLORRESLISTCALLBACK)(BITMAPRECORD* pBitmap, uint8_t* pRow, int32_t nRow, int32_t nLines,
                                        uint32_t uIndex, void* pUserData);

/// Resolves pBitmapSrc to nBitsPerPixel (1 to 8, 12, 16, 24, 32, 48, 64) bits.
///
/// pBitmapDst is initialised as a record of uStructSize bytes; what it held is not freed. It may be pBitmapSrc, which
/// is then replaced and keeps its locks, overlays and extra data. Null: the rows go to the callback only. The
/// destination takes size, view, resolutions, region, playback fields and extra data of the source; its storage is
/// conventional, or a file where that of the source is.
///
/// uColors is the number of palette entries, at most 2^depth, 0 meaning that many; above 8 bits it goes to nColors as
/// it is. pPalette has uColors entries; it stays the caller's, and so does hPalette, whose entries past the end are
/// free slots.
///
/// Above 8 bits the order goes by CRF_BYTEORDERBGR (ORDER_BGR), CRF_GRAY (ORDER_GRAY), both (ORDER_BGR from 24 bits on,
/// else ORDER_GRAY), CRF_ROMM or CRF_565; none of them is ORDER_RGB. Depth 12 is grey whatever uFlags say. A row format
/// that the row converter doesn't know is -13.
///
/// MinVal and MaxVal of a grey destination are what R_IntGetMinMaxValGray tells. The status callback hears the rows.
///
/// Returns 1, or: -13 null source or one without storage; -789 unknown record size; -13 both pPalette and hPalette, an
/// unknown depth, or a combination of flags that is refused; -27 CRF_GRAY at 24, 48 or 64 bits, CRF_ROMM at other
/// depths than 24 and 48; -13 a user palette that is missing or has no entries, CRF_NETSCAPEPALETTE alone at another
/// depth than 8; -1 no memory; the statuses of R_CreateBitmapOptPal, of the source's pfnBeginCopy, of
/// R_AllocateBitmap, R_StartDitheringExt (-13 an unknown method), of a lock or a row, of the callbacks. On failure both
/// records are as they were.
RV_API int32_t R_ColorResBitmap(BITMAPRECORD* pBitmapSrc, BITMAPRECORD* pBitmapDst, uint32_t uStructSize,
                                int32_t nBitsPerPixel, uint32_t uFlags, RGBQUAD* pPalette, HPALETTE hPalette,
                                uint32_t uColors, COLORRESCALLBACK pfnCallback, void* pUserData) RV_NOEXCEPT;

/// Resolves all bitmaps of a list in place, one after the other. At depths up to 8, with CRF_OPTIMIZEDPALETTE,
/// CRF_RESERVEDENTRIES, both or neither and nothing else of the low ten bits, they share one palette, the best for
/// all, which is found first; with CRF_USERPALETTE or CRF_LOGICALPALETTE they share a match table. The thread's user
/// match table is then another one during the call. CRF_GRAY is cleared at depths up to 8.
/// Returns 1, or: -13 null list, or both pPalette and hPalette, an unknown depth, a combination of flags that is
/// refused; the statuses of R_CreateBitmapListOptPal; -1 no memory; those of R_ColorResBitmap. The first bad status
/// ends the walk: the bitmaps before it are resolved then, the others as they were.
RV_API int32_t R_ColorResBitmapListExt(HBITMAPLIST hList, int32_t nBitsPerPixel, uint32_t uFlags, RGBQUAD* pPalette,
                                       HPALETTE hPalette, uint32_t uColors, COLORRESLISTCALLBACK pfnCallback,
                                       void* pUserData) RV_NOEXCEPT;
/// R_ColorResBitmapListExt without a callback.
RV_API int32_t R_ColorResBitmapList(HBITMAPLIST hList, int32_t nBitsPerPixel, uint32_t uFlags, RGBQUAD* pPalette,
                                    HPALETTE hPalette, uint32_t uColors) RV_NOEXCEPT;

RV_C_END
