// Conventional storage: anonymous memory, cleared, with the pixels aligned for vector loops.
#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "internal/storage_.h"

namespace rv {

constexpr uintptr_t kDataAlignment = 32;

int32_t createConventional(BITMAPRECORD& bm) noexcept {
    constexpr uint64_t nSlack = kDataAlignment - 1;
    const uint64_t nSize = dataSize(bm);
    SysMemory* pMemory = nSize <= UINT64_MAX - nSlack ? sysMemoryCreate(nSize + nSlack) : nullptr;
    if (!pMemory) return -1;
    uint8_t* const pBytes = pMemory->pData;
    MEMHANDLE* h = wrapHandle(static_cast<SysObject*>(pMemory));
    if (!h) return -1;
    bm.hMemory = h;
    bm.nDataOffset = uint32_t(-reinterpret_cast<uintptr_t>(pBytes) & (kDataAlignment - 1));
    bm.pData = pBytes + bm.nDataOffset;
    return 1;
}

// Movable memory is a handle of its own kind; the one closer serves both.
void freeConventional(BITMAPRECORD& bm) noexcept {
    closeHandle(bm.hMemory);
    bm.hMemory = nullptr;
    bm.pData = nullptr;
}

}  // namespace rv
