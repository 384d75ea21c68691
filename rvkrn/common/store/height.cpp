// Changing the number of stored rows: each storage class grows or shrinks at its end.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/storage_.h"
#include "ravokit/storage.h"

namespace rv {
namespace {

// Memory in a new block: the old one stands until that is there.
int32_t resizeConventional(BITMAPRECORD& bm, uint64_t nOld, uint64_t nNew) noexcept {
    BITMAPRECORD fresh = bm;
    if (!storeDataSize(fresh, nNew) || createConventional(fresh) != 1) return -1;
    std::memcpy(fresh.pData, bm.pData, size_t(std::min(nOld, nNew)));
    freeConventional(bm);
    bm.hMemory = fresh.hMemory;
    bm.pData = fresh.pData;
    bm.nDataOffset = fresh.nDataOffset;
    return 1;
}

int32_t resizeMovable(BITMAPRECORD& bm, uint64_t nBytes) noexcept {
    constexpr uint32_t kMovableCleared = 66;
    if (nBytes > UINT32_MAX) return -1;
    return R_OsReallocHandle(bm.hMemory, uint32_t(nBytes), kMovableCleared) ? 1 : -1;
}

// The slack before the pixels counts into the size.
int32_t changeFlatHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept {
    const uint64_t nOld = uint64_t(bm.BytesPerLine) * uint32_t(bm.Height);
    const uint64_t nNew = uint64_t(bm.BytesPerLine) * uint32_t(nHeight);
    const uint64_t nSize = nNew + bm.nDataOffset;
    int32_t nStatus = -1;
    if (bm.Flags & BMF_GLOBAL)
        nStatus = resizeMovable(bm, nSize);
    else if (bm.Flags & BMF_CONVENTIONAL)
        nStatus = resizeConventional(bm, nOld, nNew);
    else if (bm.Flags & BMF_DISK)
        nStatus = resizeFile(bm.hMemory, nOld, nSize) ? 1 : -1;
    if (nStatus != 1) return nStatus;
    bm.Height = nHeight;
    storeDataSize(bm, nNew + bm.nDataOffset);
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_ChangeBitmapHeight(BITMAPRECORD* pBitmap, int32_t nHeight) noexcept {
    if (!isAllocated(pBitmap)) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (pBitmap->Flags & (BMF_USER_DATA | BMF_LOCKED)) return -13;
    BITMAPRECORD& bm = *pBitmap;
    if (nHeight == bm.Height) return 1;
    if (nHeight <= 0) return -11;
    BITMAPRECORD sized = bm;
    if (!storeDataSize(sized, uint64_t(bm.BytesPerLine) * uint32_t(nHeight) + bm.nDataOffset)) return -3;
    if (bm.Flags & BMF_COMPRESSED) return changeRunListHeight(bm, nHeight);
    if (bm.Flags & BMF_TILED) return changeTileHeight(bm, nHeight);
    if (bm.Flags & BMF_SUPERCOMPRESSED) return changeStripHeight(bm, nHeight);
    return changeFlatHeight(bm, nHeight);
}
