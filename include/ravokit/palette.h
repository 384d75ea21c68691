// Palettes: the tables of bitmaps, logical palettes, the fixed palettes of each depth, searches, colour references.
//
// A table is an array of RGBQUAD, at most 256. A bitmap owns its table (pPalette, nColors); a table that a call here
// gives to the caller is freed with R_GlobalFree. A logical palette (HPALETTE) is an object of its own, closed like any
// other handle. Bitmaps are changed without a lock: callers serialise per bitmap.
//
// Calls on bitmaps return -13 for a null bitmap and -789 for an unknown record size, in this order and before all else,
// where nothing else is said.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// An entry of a logical palette.
typedef struct PALETTEENTRY {
    uint8_t peRed, peGreen, peBlue, peFlags;
} PALETTEENTRY;

/// What R_WinCreatePalette makes a logical palette of: a version, the count, and that many entries.
typedef struct LOGPALETTE {
    uint16_t palVersion;
    uint16_t palNumEntries;
    PALETTEENTRY palPalEntry[1];
} LOGPALETTE;

/// Results of R_IsGrayScalePalette.
enum {
    GRAYKIND_NONE = 0,        ///< some entry is no grey
    GRAYKIND_ASCENDING = 1,   ///< a ramp from black
    GRAYKIND_DESCENDING = 2,  ///< a ramp from white
    GRAYKIND_UNORDERED = 3    ///< greys, but no ramp
};

// ---- tables ------------------------------------------------------------------------------------------------------

/// The constant table of depth 1 to 8, of 2 to 256 entries; null for other depths. Not to be freed.
RV_API const RGBQUAD* R_IntGetFixedPalette(int32_t nBitsPerPixel) RV_NOEXCEPT;
/// The constant web palette of 256 entries: index 36 r + 6 g + b on six levels of 51 a channel, then 40 times black.
RV_API const RGBQUAD* R_IntGetNetscapePalette(void) RV_NOEXCEPT;
/// Copies the fixed palette of a depth to pPalette; depth 0 gives a grey ramp of 256 entries.
/// Returns 1, or -13 for a null pPalette or a depth outside 0 to 8.
RV_API int32_t R_GetFixedPalette(RGBQUAD* pPalette, int32_t nBitsPerPixel) RV_NOEXCEPT;
/// A new table with the fixed palette of a depth; 0 and 1 both give 2 entries. Null for a depth outside 0 to 8 or when
/// memory is short. The caller frees it with R_GlobalFree.
RV_API RGBQUAD* R_CreateFixedPalette(int32_t nBitsPerPixel) RV_NOEXCEPT;
/// A new table with a grey ramp of 2^depth entries, depth 0 meaning 8. Entry i of n is i x 255 / (n - 1), truncated.
/// Null for a depth outside 0 to 8 or when memory is short. The caller frees it with R_GlobalFree.
RV_API RGBQUAD* R_CreateGrayPalette(int32_t nBitsPerPixel) RV_NOEXCEPT;
/// A new table with a copy of 1 to 256 entries; null for a null pEntries, another count, or when memory is short. The
/// caller frees it with R_GlobalFree.
RV_API RGBQUAD* R_CreateNewPalette(const RGBQUAD* pEntries, uint32_t uCount) RV_NOEXCEPT;
/// The grey kind of uCount entries (GRAYKIND_); none at all are GRAYKIND_NONE. A ramp steps by 255 / (uCount - 1),
/// truncated once, where R_CreateGrayPalette truncates each entry: all its ramps whose step is a fraction, those of
/// depth 3, 5, 6 and 7, are GRAYKIND_UNORDERED.
/// Returns the kind, or -13 for a null pPalette.
RV_API int32_t R_IsGrayScalePalette(const RGBQUAD* pPalette, uint32_t uCount) RV_NOEXCEPT;

// ---- searches ----------------------------------------------------------------------------------------------------

/// The entry nearest to a colour by the unweighted sum of squares. A colour black or white takes the first or the last
/// entry at once if that is it. Among equally near entries the last one whose channels rank as the colour's do wins,
/// and without such the first. An exact entry wins where it is first met. Channels outside 0 to 255 are taken as they
/// are, and the sum of squares modulo 2^32.
/// Returns the index, 0 for a null pPalette, -1 for uCount 0.
RV_API int32_t R_FindPaletteIndex(const RGBQUAD* pPalette, uint32_t uCount, int32_t nRed, int32_t nGreen,
                                  int32_t nBlue) RV_NOEXCEPT;
/// A table of 32768 cells that answers, for a colour in 15 bits (red in 14-10, green 9-5, blue 4-0), with the index
/// that R_FindPaletteIndex gives for the channels times 8, plus 1. Null for a null pPalette or when memory is short.
/// The caller frees it with R_FreeUserMatchTable.
RV_API uint32_t* R_CreateUserMatchTable(const RGBQUAD* pPalette, uint32_t uCount) RV_NOEXCEPT;
/// Frees a user match table, a block of R_LocalAlloc; null is allowed. Always 1.
RV_API int32_t R_FreeUserMatchTable(uint32_t* pTable) RV_NOEXCEPT;

// ---- the palette of a bitmap -------------------------------------------------------------------------------------

/// Replaces the table by the fixed palette of nColors entries: 2, 4, 8, 16, 32, 64, 128 or 256. For 4 entries the table
/// is kept as it has always been: black, white, (red 0x42, blue 3), (red 6, blue 0x4A).
/// Returns 1, or: 0 another count, -1 no memory, and then the bitmap has no table.
RV_API int32_t R_CreateBitmapFixedPalette(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Replaces the table by a grey ramp of 2^BitsPerPixel entries and sets nColors.
/// Returns 1, or: -27 depth outside 1 to 8, -1 no memory, and then the bitmap has no table.
RV_API int32_t R_CreateBitmapGrayPalette(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Copies nCount entries from index nIndex on out of the table. Two names of one call. Nothing is written on failure.
/// Returns 1, or: -2 null bitmap, -789 unknown record size, -13 null pEntries, nCount below 1, depth above 8, or a
/// range that the table doesn't hold; it holds 256 entries at most, whatever nColors.
RV_API int32_t R_GetBitmapPaletteEntries(const BITMAPRECORD* pBitmap, int32_t nIndex, int32_t nCount,
                                         RGBQUAD* pEntries) RV_NOEXCEPT;
RV_API int32_t R_GetBitmapColors(const BITMAPRECORD* pBitmap, int32_t nIndex, int32_t nCount,
                                 RGBQUAD* pEntries) RV_NOEXCEPT;
/// Copies nCount entries into the table from index nIndex on; a bitmap without table gets a black one of nColors first.
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -13 negative nIndex or nCount, a range past
/// nColors or past 256, depth above 8, or null pEntries; -1 no memory, and then the bitmap has no table.
RV_API int32_t R_PutBitmapColors(BITMAPRECORD* pBitmap, int32_t nIndex, int32_t nCount,
                                 const RGBQUAD* pEntries) RV_NOEXCEPT;
/// Replaces the table by a copy of pEntries and sets nColors to uCount. A null pEntries leaves no table, and nColors as
/// it was.
/// Returns 1, or -1 for a count outside 1 to 256 or no memory: the bitmap has no table then, and nColors is uCount.
RV_API int32_t R_SetBitmapNewPalette(BITMAPRECORD* pBitmap, const RGBQUAD* pEntries, uint32_t uCount) RV_NOEXCEPT;
/// Replaces the table by a copy of a logical palette, which the caller keeps.
/// Returns 1, or: -13 a bad handle or fewer than 2 entries; -1 no memory, and then the bitmap has no table.
RV_API int32_t R_SetBitmapPalette(BITMAPRECORD* pBitmap, HPALETTE hPalette) RV_NOEXCEPT;
/// Gives pBitmapDst a copy of the other's table, or none if that has none. A table that both records point to stays
/// with the source. Returns 1 (also for one and the same bitmap), or: -13 null, -789 unknown record size, -1 no memory
/// or an nColors above 256, and then pBitmapDst has no table.
RV_API int32_t R_CopyBitmapPalette(BITMAPRECORD* pBitmapDst, const BITMAPRECORD* pBitmapSrc) RV_NOEXCEPT;
/// Compares the first entries, as many as both have, on red, green and blue.
/// Returns 1 if equal or if there is nothing to compare, else 0; 0 also for a null bitmap or an unknown record size.
RV_API int32_t R_CompareBitmapToPalette(const BITMAPRECORD* pBitmap, const RGBQUAD* pPalette,
                                        uint32_t uCount) RV_NOEXCEPT;
/// The entry of the bitmap's table nearest to the low three bytes of crColor, by the rule of GetNearestPaletteIndex.
/// Returns the index; 0 for a bad bitmap or one without a table of 1 to 256 entries.
RV_API int32_t R_GetNearestPaletteIndex(const BITMAPRECORD* pBitmap, COLORREF crColor) RV_NOEXCEPT;

// ---- colour references -------------------------------------------------------------------------------------------

/// What a colour of pBitmapSrc (which may be null) is called in pBitmapDst. The top byte of crColor is its kind: 1 a
/// palette index in the low 16 bits, 4 a grey level in the second byte (an index into the lookup table of a grey bitmap
/// with BMF_USE_LUT), else a plain colour. A destination of at most 8 bits gives kind 1 with the index of
/// R_GetNearestPaletteIndex. A deeper one gets palette indices as the plain colour of the source's entry, or black
/// without one, grey levels as a plain grey, and any other colour as given, top byte and all. Grey levels to a grey
/// destination stay as they are, or with a lookup table in use become kind 1 with the index of the nearest table entry.
/// A null or bad pBitmapDst gives crColor back; a bad pBitmapSrc counts as none.
RV_API COLORREF R_TranslateBitmapColor(const BITMAPRECORD* pBitmapDst, const BITMAPRECORD* pBitmapSrc,
                                       COLORREF crColor) RV_NOEXCEPT;
/// The plain colour behind a colour of the bitmap: what R_TranslateBitmapColor makes of it for the bitmap itself, then
/// looked up. Kind 1 is looked up in the table of a bitmap of at most 8 bits; kind 4, at 9 to 16 bits, in pLUT, or past
/// its end in pLUT16, whose high bytes count. What no table answers comes back as translated, and may be a reference
/// still. 0 for a null or bad record.
RV_API COLORREF R_GetTrueColorValue(const BITMAPRECORD* pBitmap, COLORREF crColor) RV_NOEXCEPT;

// ---- logical palettes --------------------------------------------------------------------------------------------

/// A logical palette of 1 to 256 entries; null for a null pEntries, another count, or when memory is short. Closed with
/// R_WinCloseHandle and its kin. The fourth byte travels along.
RV_API HPALETTE R_CreatePalette(const RGBQUAD* pEntries, uint32_t uCount) RV_NOEXCEPT;
/// The same from entries in the order red, green, blue, flags. The version is not consulted.
RV_API HPALETTE R_WinCreatePalette(const LOGPALETTE* pLogPalette) RV_NOEXCEPT;
/// A copy of a logical palette; null for a bad handle or when memory is short.
RV_API HPALETTE R_DupPalette(HPALETTE hPalette) RV_NOEXCEPT;
/// A logical palette with the bitmap's table; null for a bad record, one without a table, or when memory is short.
RV_API HPALETTE R_DupBitmapPalette(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Entries; 0 for a bad handle.
RV_API uint32_t R_GetPaletteSize(HPALETTE hPalette) RV_NOEXCEPT;
/// Copies entries out and in, from uStart on and cut at the palette's end.
/// Returns the number copied; 0 for a bad handle, a null pEntries, or uStart at or past the end.
RV_API uint32_t R_GetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount, RGBQUAD* pEntries) RV_NOEXCEPT;
RV_API uint32_t R_SetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount,
                                    const RGBQUAD* pEntries) RV_NOEXCEPT;

/// Writes the palette's count to pCount, if given, where uSize is 2. Returns 2, or 0 for a bad handle or another size.
RV_API int32_t GetObject(HPALETTE hPalette, int32_t uSize, uint16_t* pCount) RV_NOEXCEPT;
/// Copies entries as they are stored (red, green, blue, flags), cut at the palette's end; a null pEntries asks how many
/// there would be. Returns the number; 0 for a bad handle or uStart at or past the end.
RV_API uint32_t GetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount,
                                  PALETTEENTRY* pEntries) RV_NOEXCEPT;
RV_API uint32_t SetPaletteEntries(HPALETTE hPalette, uint32_t uStart, uint32_t uCount,
                                  const PALETTEENTRY* pEntries) RV_NOEXCEPT;
/// The entry nearest to crColor by the sum of squares; the first of equals wins. A crColor whose top byte is not 0
/// gives its own low byte. 0 for a bad handle.
RV_API uint32_t GetNearestPaletteIndex(HPALETTE hPalette, COLORREF crColor) RV_NOEXCEPT;

RV_C_END

RV_RECORD_SIZE(PALETTEENTRY, 4, 4);
RV_RECORD_SIZE(LOGPALETTE, 8, 8);
