// Bitmap lists. The array of records grows and shrinks with each call that changes the count; a record's slot always
// has the current form's size, and bytes past an older record are clear.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/list_.h"
#include "internal/opening.h"
#include "ravokit/copy.h"
#include "ravokit/memory.h"

namespace rv {
namespace {

// A record of either form in a slot of its own: what the form lacks is clear.
BITMAPRECORD inSlot(const BITMAPRECORD& bm) noexcept {
    BITMAPRECORD slot{};
    std::memcpy(&slot, &bm, bm.uStructSize);
    return slot;
}

BITMAPRECORD widened(const BITMAPRECORD& bm) noexcept {
    BITMAPRECORD slot = inSlot(bm);
    slot.uStructSize = sizeof slot;
    return slot;
}

bool areKnownRecords(const BITMAPLIST& list, uint32_t uIndex, uint32_t uCount) noexcept {
    return std::all_of(list.pItems + uIndex, list.pItems + uIndex + uCount,
                       [](const BITMAPRECORD& bm) { return isKnownRecordSize(bm.uStructSize); });
}

uint32_t clipCount(const BITMAPLIST& list, uint32_t uIndex, uint32_t uCount) noexcept {
    return uIndex < list.nCount ? std::min(uCount, list.nCount - uIndex) : 0;
}

// Room for one more record; the count stays.
bool grow(BITMAPLIST& list) noexcept {
    const uint64_t nBytes = (uint64_t(list.nCount) + 1) * sizeof(BITMAPRECORD);
    if (nBytes > UINT32_MAX) return false;
    void* p =
        list.pItems ? R_GlobalRealloc(list.pItems, uint32_t(nBytes)) : R_GlobalAlloc(1, uint32_t(nBytes), 0, nullptr);
    if (p) list.pItems = static_cast<BITMAPRECORD*>(p);
    return p != nullptr;
}

// Closes the gap that records leave, and gives their room back; if that fails the larger array stays.
void closeGap(BITMAPLIST& list, uint32_t uIndex, uint32_t uCount) noexcept {
    BITMAPRECORD* pGap = list.pItems + uIndex;
    std::move(pGap + uCount, list.pItems + list.nCount, pGap);
    list.nCount -= uCount;
    if (list.nCount == 0) {
        freeBlock(list.pItems);
    } else if (void* p = R_GlobalRealloc(list.pItems, uint32_t(list.nCount * sizeof(BITMAPRECORD)))) {
        list.pItems = static_cast<BITMAPRECORD*>(p);
    }
}

// A new list of uCount empty records, or null.
HBITMAPLIST newList(uint32_t uCount) noexcept {
    auto* hList = static_cast<HBITMAPLIST>(R_GlobalAlloc(1, sizeof(BITMAPLIST), 0, nullptr));
    if (!hList || uCount == 0) return hList;
    hList->pItems = static_cast<BITMAPRECORD*>(R_GlobalAlloc(uCount, sizeof(BITMAPRECORD), 0, nullptr));
    if (hList->pItems) {
        hList->nCount = uCount;
        return hList;
    }
    R_GlobalFree(hList);
    return nullptr;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CreateBitmapList(HBITMAPLIST* phList) noexcept {
    if (!phList) return -13;  // Invalid parameter passed
    HBITMAPLIST hList = newList(0);
    if (!hList) return -1;  // Not enough memory available
    *phList = hList;
    return 1;
}

int32_t R_DestroyBitmapList(HBITMAPLIST hList) noexcept {
    if (!hList) return -13;  // Invalid parameter passed
    if (hList->nCount) R_DeleteBitmapListItems(hList, 0, hList->nCount);
    R_GlobalFree(hList);
    return 1;
}

int32_t R_GetBitmapListCount(HBITMAPLIST hList, uint32_t* puCount) noexcept {
    if (!hList || !puCount) return -13;  // Invalid parameter passed
    *puCount = hList->nCount;
    return 1;
}

int32_t R_GetBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, BITMAPRECORD* pBitmap, uint32_t uStructSize) noexcept {
    if (!hList || !pBitmap || uIndex >= hList->nCount) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(uStructSize)) return -789;               // The structure size is invalid
    BITMAPRECORD& item = hList->pItems[uIndex];
    if (uStructSize == BITMAPRECORD_OLD_SIZE) freeBlock(item.pPaintLUT16);
    return R_CopyBitmapHandle(pBitmap, &item, uStructSize);
}

int32_t R_SetBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, const BITMAPRECORD* pBitmap) noexcept {
    if (!hList || uIndex >= hList->nCount) return -13;                     // Invalid parameter passed
    if (pBitmap && !isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD empty{};
    empty.uStructSize = sizeof empty;
    hList->pItems[uIndex] = widened(pBitmap ? *pBitmap : empty);
    return 1;
}

int32_t R_InsertBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, const BITMAPRECORD* pBitmap) noexcept {
    if (!hList || !pBitmap) return -13;                           // Invalid parameter passed
    if (!areKnownRecords(*hList, 0, hList->nCount)) return -789;  // The structure size is invalid
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    const BITMAPRECORD bm = widened(*pBitmap);  // first, as pBitmap may stand in the array that is about to move
    if (!grow(*hList)) return -1;               // Not enough memory available
    BITMAPRECORD* pPlace = hList->pItems + std::min(uIndex, hList->nCount);
    std::move_backward(pPlace, hList->pItems + hList->nCount, hList->pItems + hList->nCount + 1);
    *pPlace = bm;
    ++hList->nCount;
    return 1;
}

int32_t R_RemoveBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, BITMAPRECORD* pBitmap) noexcept {
    if (!hList || uIndex >= hList->nCount) return -13;  // Invalid parameter passed
    if (pBitmap) *pBitmap = hList->pItems[uIndex];
    closeGap(*hList, uIndex, 1);
    return 1;
}

int32_t R_ReplaceBitmapListItem(HBITMAPLIST hList, uint32_t uIndex, const BITMAPRECORD* pBitmap, BITMAPRECORD* pOld,
                                uint32_t uOldSize) noexcept {
    if (!hList || !pBitmap) return -13;  // Invalid parameter passed
    if (uIndex == UINT32_MAX) uIndex = hList->nCount - 1;
    if (uIndex >= hList->nCount) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (pOld && !isKnownRecordSize(uOldSize)) return -789;
    BITMAPRECORD& item = hList->pItems[uIndex];
    const BITMAPRECORD bm = inSlot(*pBitmap);  // first, as pOld may be the same record
    if (!pOld) {
        if (isAllocated(&item)) R_FreeBitmap(&item);
    } else {
        if (uOldSize == BITMAPRECORD_OLD_SIZE) {
            freeBlock(item.pLUT16);
            freeBlock(item.pPaintLUT16);
        }
        R_CopyBitmapHandle(pOld, &item, uOldSize);
    }
    item = bm;
    return 1;
}

int32_t R_DeleteBitmapListItems(HBITMAPLIST hList, uint32_t uIndex, uint32_t uCount) noexcept {
    if (!hList) return -13;  // Invalid parameter passed
    uCount = clipCount(*hList, uIndex, uCount);
    if (uCount == 0) return -13;
    for (uint32_t i = 0; i < uCount; ++i) R_FreeBitmap(&hList->pItems[uIndex + i]);
    closeGap(*hList, uIndex, uCount);
    return 1;
}

int32_t R_CopyBitmapListItems(HBITMAPLIST* phNew, HBITMAPLIST hList, uint32_t uIndex, uint32_t uCount) noexcept {
    if (!phNew || !hList) return -13;  // Invalid parameter passed
    uCount = clipCount(*hList, uIndex, uCount);
    if (uCount == 0) return -13;
    HBITMAPLIST hNew = newList(uCount);
    if (!hNew) return -1;  // Not enough memory available
    for (uint32_t i = 0; i < uCount; ++i) {
        const int32_t nStatus = R_CopyBitmap(&hNew->pItems[i], &hList->pItems[uIndex + i], sizeof(BITMAPRECORD));
        if (nStatus != 1) {
            R_DestroyBitmapList(hNew);  // records not reached have no size and are left alone
            return nStatus;
        }
    }
    *phNew = hNew;
    return 1;
}

int32_t R_MoveBitmapListItems(HBITMAPLIST* phNew, HBITMAPLIST hList, uint32_t uIndex, uint32_t uCount) noexcept {
    if (!phNew || !hList) return -13;  // Invalid parameter passed
    uCount = clipCount(*hList, uIndex, uCount);
    if (uCount == 0) return -13;
    if (!areKnownRecords(*hList, uIndex, uCount)) return -789;  // The structure size is invalid
    HBITMAPLIST hNew = newList(uCount);
    if (!hNew) return -1;  // Not enough memory available
    std::copy_n(hList->pItems + uIndex, uCount, hNew->pItems);
    closeGap(*hList, uIndex, uCount);
    *phNew = hNew;
    return 1;
}

}  // extern "C"
