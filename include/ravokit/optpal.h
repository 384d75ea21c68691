// The colours of a picture: counting and listing them, and the best palette of a given size for one picture or for
// several that share it.
#pragma once

#include "list.h"

RV_C_BEGIN

/// Counts the distinct colours of a bitmap, within its region if it has one, and lists them where pPalette is given.
/// Palette pixels count by their index and are listed by their entry; grey counts by its physical bit range and is
/// listed by the top 8 bits of that; 48 and 64 bits count by the high bytes of red, green and blue; ORDER_ROMM counts
/// as it is stored. Alpha doesn't count. The list is in order of first sight, row by row, its fourth bytes 0.
///
/// *puColors is the room at pPalette on the way in, and the number of colours on the way out. With pPalette the count
/// ends at the first colour that has no room, and *puColors is then one more than the room. The status callback hears
/// the rows. Memory for the colours seen: 2^depth bits for palettes and grey (of its range), 2 MiB for colour.
/// Returns 1, or: -13 null bitmap, not allocated or null puColors, -789 unknown record size, -1 no memory, the status
/// of the lock, of a row or of the callback; *puColors is then as it was.
RV_API int32_t R_GetBitmapColorCountExt(BITMAPRECORD* pBitmap, uint32_t* puColors, RGBQUAD* pPalette) RV_NOEXCEPT;

/// Finds the best palette of *puColors entries for a bitmap.
///
/// Where the picture's colours fit, they are the palette: that of a bitmap of at most 8 bits with no more than
/// *puColors colours as it stands, or else the colours themselves in ascending order of red, green and blue, if there
/// are at most uMaxColors of them, and, without the fixed entries among them (compared by red, green and blue), at most
/// *puColors. *puColors becomes their number, the rest of pPalette is clear, and *pbProcessed is 0. Else *pbProcessed
/// is 1, and a histogram of 15-bit colours is cut: colours with more than twice the pixels of any other are peeled off
/// first, while at least 63 entries are left for the rest (one, with bFast), then the box of the largest variance is
/// cut at its mean. The mean colours of the boxes, expanded from 5 bits, are sorted; *puColors stays as it is, and
/// entries that no box took are clear at the end.
///
/// pPalette has room for *puColors entries. pFixedEntries are uFixedEntries colours that the palette need not hold;
/// null for 0. ppMatchTable may be null; else it receives null, or, where the cut ran, a user match table whose cell of
/// a colour that the picture has holds its place in pPalette plus 1, for R_FreeUserMatchTable; the cells of all other
/// colours mean nothing. Equal entries keep no told order.
/// Returns 1, or: -13 a null bitmap, pPalette, puColors or pbProcessed, *puColors 0, fixed entries that are null; -2
/// not allocated; -789 unknown record size; -1 no memory; the status of the lock or of a row.
RV_API int32_t R_CreateBitmapOptPal(BITMAPRECORD* pBitmap, RGBQUAD* pPalette, uint32_t* puColors, uint32_t uMaxColors,
                                    const RGBQUAD* pFixedEntries, uint32_t uFixedEntries, uint32_t** ppMatchTable,
                                    int32_t* pbProcessed, int32_t bFast) RV_NOEXCEPT;

/// The same for all bitmaps of a list, which are to share one palette; the arguments are those above. A list of one
/// runs with a limit of 256 colours. For several bitmaps of at most 8 bits whose palettes together have at most
/// *puColors colours, these are the palette, sorted, *puColors is their number and *pbProcessed is 0; otherwise one
/// histogram of them all is cut. Returns 1, or: -13 a null list, pPalette, puColors or pbProcessed, or *puColors 0; -2
/// empty list, or a bitmap that is not allocated; -789 unknown size of a record; -1 no memory; the status of a lock or
/// of a row.
RV_API int32_t R_CreateBitmapListOptPal(HBITMAPLIST pList, RGBQUAD* pPalette, uint32_t* puColors,
                                        uint32_t** ppMatchTable, int32_t* pbProcessed) RV_NOEXCEPT;

RV_C_END
