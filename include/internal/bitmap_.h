// What the parts of the bitmap store share about a record: its blocks, its size, its storage.
#pragma once

#include "internal/opening.h"
#include "ravokit/bitmap.h"
#include "ravokit/memory.h"

namespace rv {

// All tables that hang from a bitmap are blocks with a back-pointer, so that any module can free them.
template <class T>
T* newBlock(uint64_t nCount) noexcept {
    const uint64_t nBytes = nCount * sizeof(T);
    return nBytes > UINT32_MAX ? nullptr : static_cast<T*>(R_GlobalAlloc(1, uint32_t(nBytes), __LINE__, __FILE__));
}
template <class T>
void freeBlock(T*& p) noexcept {
    if (p) R_GlobalFree(p);
    p = nullptr;
}

// Bytes of a row: whole 32-bit words. The widest row of the deepest pixel doesn't wrap.
constexpr uint64_t rowBytes(uint32_t nWidth, uint32_t nBits) noexcept {
    return (uint64_t(nWidth) * nBits + 31) / 32 * 4;
}
static_assert(rowBytes(INT32_MAX, 64) == 0x3FFFFFFF8);

// Stores the size of the data; false when it doesn't fit the older form of the record.
bool storeDataSize(BITMAPRECORD& bm, uint64_t nBytes) noexcept;

// R_AllocateBitmap with the palette that allocation callbacks are shown.
int32_t allocateBitmap(BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette) noexcept;

// Puts a bitmap that was built anew under its caller's record: the old one's dither ends, its locks are released, its
// storage is freed and the new record is copied over it. What both share (palette, tables, region, overlays) is
// unlinked from the old one first when bShared. Cannot fail.
void replaceBitmap(BITMAPRECORD& old, const BITMAPRECORD& fresh, bool bShared) noexcept;

// Undoes a duplicate that was made of src with uFlags and that will not be used: R_FreeDuplicateBitmap, and with
// DUP_BEGIN_REPLACE the end of the copy that src's callbacks were told of, as replaceBitmap tells them of it.
void dropDuplicate(BITMAPRECORD& fresh, BITMAPRECORD& src, uint32_t uFlags) noexcept;

// Takes from a record what belongs to another bitmap too, so that freeing the record leaves it alone.
void unlinkShared(BITMAPRECORD& bm) noexcept;

// For R_DupBitmapNewDim: the region is duplicated whole, for one who brings it into the new dimensions himself.
constexpr uint32_t kDupWholeRegion = 0x10000;

// Carries the paint tables and their settings between two bitmaps that both have them.
void copyPaintTables(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept;

// Locks dst as often as src is locked.
int32_t copyLockCount(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept;
// Releases until nothing is locked.
void releaseAll(BITMAPRECORD& bm) noexcept;

}  // namespace rv
