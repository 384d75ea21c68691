// The checks that open an exported bitmap call. Each call has its own statuses and its own order, so the helpers only
// ask; the order stands in one line each at the top of the call.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

inline bool isKnownRecordSize(uint32_t uStructSize) noexcept {
    return uStructSize == sizeof(BITMAPRECORD) || uStructSize == BITMAPRECORD_OLD_SIZE;
}

// The current form has the 16-bit tables and the wide size; the older one ends before them.
inline bool hasWideFields(const BITMAPRECORD& bm) noexcept { return bm.uStructSize > BITMAPRECORD_OLD_SIZE; }

inline bool isAllocated(const BITMAPRECORD* pBitmap) noexcept { return pBitmap && (pBitmap->Flags & BMF_ALLOCATED); }

// The state bits that tell of storage; an allocation starts by clearing them.
constexpr uint32_t kStorageFlags = BMF_ALLOCATED | BMF_CONVENTIONAL | BMF_DISK | BMF_LOCKED | BMF_COMPRESSED |
                                   BMF_USER_DATA | BMF_GLOBAL | BMF_TILED | BMF_SUPERCOMPRESSED;
static_assert(kStorageFlags == 0xD517);

// Whether pixels have a whole sample of alpha.
inline bool hasAlphaSample(const BITMAPRECORD& bm) noexcept {
    return (bm.BitsPerPixel == 32 || bm.BitsPerPixel == 64) && bm.Order != ORDER_GRAY;
}

// Bytes of data, whichever form tells it.
inline uint64_t dataSize(const BITMAPRECORD& bm) noexcept { return hasWideFields(bm) ? bm.Size64 : bm.Size; }

}  // namespace rv
