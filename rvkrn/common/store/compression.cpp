// Moving a whole bitmap into a compressed class and out of it: a new bitmap takes the pixels, then the old one's place.
#include "internal/bitmap_.h"
#include "ravokit/compressed.h"
#include "ravokit/copy.h"

namespace rv {
namespace {

constexpr uint32_t kCompressionFlags = BMF_COMPRESSED | BMF_SUPERCOMPRESSED;
constexpr uint32_t kDuplicateFlags = DUP_ALLOCATE | DUP_BEGIN_REPLACE;
constexpr uint32_t kClassFlags[] = {0, BMF_COMPRESSED, BMF_SUPERCOMPRESSED};

int32_t compressionOf(const BITMAPRECORD& bm) noexcept {
    if (bm.Flags & BMF_COMPRESSED) return 1;
    return bm.Flags & BMF_SUPERCOMPRESSED ? 2 : 0;
}

// Other depths are refused here: the allocator may make conventional bitmaps of them.
bool isDepthOf(int32_t nCompression, int32_t nBits) noexcept {
    return nCompression == 0 || nBits == 1 || (nCompression == 2 && (nBits == 8 || nBits == 24));
}

// A bitmap of the same kind in the class that is wanted, and without pixels yet: a duplicate goes by the class flags of
// its source.
int32_t duplicateAs(BITMAPRECORD& fresh, BITMAPRECORD& bm, int32_t nCompression) noexcept {
    const uint32_t uOwn = bm.Flags & kCompressionFlags;
    bm.Flags = (bm.Flags & ~kCompressionFlags) | kClassFlags[nCompression];
    const int32_t nStatus =
        R_DupBitmapNewDim(&fresh, &bm, bm.uStructSize, bm.Width, bm.Height, bm.BitsPerPixel, kDuplicateFlags);
    bm.Flags = (bm.Flags & ~kCompressionFlags) | uOwn;
    return nStatus;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ChangeBitmapCompression(BITMAPRECORD* pBitmap, int32_t nCompression) noexcept {
    if (!isAllocated(pBitmap)) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    if (nCompression == compressionOf(bm)) return 1;
    if (nCompression < 0 || nCompression > 2) return -13;
    if (!isDepthOf(nCompression, bm.BitsPerPixel)) return -13;
    BITMAPRECORD fresh;
    if (const int32_t n = duplicateAs(fresh, bm, nCompression); n != 1) return n;
    if (const int32_t n = R_CopyBitmapData(&fresh, &bm); n != 1) {
        dropDuplicate(fresh, bm, kDuplicateFlags);
        return n;
    }
    replaceBitmap(bm, fresh, true);
    if (bm.Flags & BMF_COMPRESSED) R_TrimBitmapHeap(&bm, 0);
    return 1;
}

int32_t R_ToggleBitmapCompression(BITMAPRECORD* pBitmap) noexcept {
    if (!isAllocated(pBitmap) || pBitmap->BitsPerPixel != 1) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    return R_ChangeBitmapCompression(pBitmap, compressionOf(*pBitmap) ? 0 : 1);
}

}  // extern "C"
