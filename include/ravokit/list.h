// Bitmap lists: ordered arrays of bitmaps, the form in which multi-page and animated images travel.
//
// An item is a whole record inside the list, which owns what hangs from it. A record that goes in is the list's from
// then on and must be forgotten; one that R_RemoveBitmapListItem hands out is the caller's. R_GetBitmapListItem only
// lends: freeing what it gave leaves the list with a dangling item. Lists are not guarded: callers serialise.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

typedef struct BITMAPLIST* HBITMAPLIST;

/// Makes an empty list. Returns 1, or: -13 null phList, -1 no memory.
RV_API int32_t R_CreateBitmapList(HBITMAPLIST* phList) RV_NOEXCEPT;
/// Frees the list and all its bitmaps. Returns 1, or -13 for a null list.
RV_API int32_t R_DestroyBitmapList(HBITMAPLIST hList) RV_NOEXCEPT;
/// Items in the list. Returns 1, or -13 for a null list or pointer.
RV_API int32_t R_GetBitmapListCount(HBITMAPLIST hList, uint32_t* puCount) RV_NOEXCEPT;

/// A shallow copy of an item, in the form that uStructSize asks for; the list still owns what hangs from it. An older
/// form can't carry pPaintLUT16: that table is freed in the item. An item that is itself of the older form (see
/// R_ReplaceBitmapListItem) stays so, and says so.
/// Returns 1, or: -13 null list or pBitmap, or an index at or past the count; -789 unknown uStructSize.
RV_API int32_t R_GetBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, BITMAPRECORD* pBitmap,
                                   uint32_t uStructSize) RV_NOEXCEPT;
/// Overwrites an item's record with pBitmap's, or with an empty one if that is null. Nothing of the old one is freed:
/// the call puts back what R_GetBitmapListItem lent. Returns 1, or: -13 null list, or an index at or past the count;
/// -789 unknown record size.
RV_API int32_t R_SetBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, const BITMAPRECORD* pBitmap) RV_NOEXCEPT;

/// Puts a bitmap before the item uIndex; an index at or past the count appends. A record of the older form is widened,
/// its tail cleared. Returns 1, or: -13 null list or pBitmap, -789 unknown size of the record or of one in the list, -1
/// no memory.
RV_API int32_t R_InsertBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Takes an item out and hands its record, of sizeof(BITMAPRECORD) bytes, to the caller. With a null pBitmap what the
/// record owns stays unfreed.
/// Returns 1, or -13 for a null list or an index at or past the count.
RV_API int32_t R_RemoveBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Puts pBitmap in place of an item; all ones is the last one. The old record goes to pOld, in the form of uOldSize
/// bytes, or is freed if that is null; 16-bit tables that an older form can't carry are freed. The new record keeps its
/// form. Returns 1, or: -13 null list or pBitmap, or no such item; -789 unknown size of the record, or of pOld.
RV_API int32_t R_ReplaceBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, const BITMAPRECORD* pBitmap,
                                       BITMAPRECORD* pOld, uint32_t uOldSize) RV_NOEXCEPT;

/// Removes and frees uCount items from uIndex on, as far as there are; all ones runs to the end.
/// Returns 1, or -13 for a null list, an index at or past the count, or a count of 0.
RV_API int32_t R_DeleteBitmapListItems(HBITMAPLIST hList, uint32_t uIndex, uint32_t uCount) RV_NOEXCEPT;
/// A new list with full copies of uCount items from uIndex on, as far as there are. *phNew is set on success only.
/// Returns 1, or: -13 null, an index at or past the count, or a count of 0; -1 no memory; those of R_CopyBitmap.
RV_API int32_t R_CopyBitmapListItems(HBITMAPLIST* phNew, HBITMAPLIST hList, uint32_t uIndex,
                                     uint32_t uCount) RV_NOEXCEPT;
/// A new list to which uCount items from uIndex on, as far as there are, move as they are. *phNew is set on success
/// only. Returns 1, or: -13 null, an index at or past the count, or a count of 0; -789 unknown size of a record in the
/// list; -1 no memory.
RV_API int32_t R_MoveBitmapListItems(HBITMAPLIST* phNew, HBITMAPLIST hList, uint32_t uIndex,
                                     uint32_t uCount) RV_NOEXCEPT;

RV_C_END
