// Memory services: the plain heap, blocks with a back-pointer, movable-memory handles, and the closer of all handles.
// All allocators are the generic form of three kinds.
//
// A block of kind 3 opens with a header of kBlockHeader bytes, whose last word is the address of the block's handle. So
// the word before any data pointer tells whether it is such a block, and the data keeps the alignment of malloc. A mark
// made from that address stands before it: a word that only happens to lie there is never followed.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "internal/alloc.h"
#include "internal/attachments.h"
#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "ravokit/memory.h"

namespace rv {
namespace {

constexpr size_t kBlockHeader = alignof(std::max_align_t);
static_assert(kBlockHeader >= 2 * sizeof(uintptr_t), "mark and handle fit the header");
constexpr uintptr_t kMark = uintptr_t(0x5A3C96E1'7B2D48F0);
constexpr uint32_t kInvalidHandleFlags = 32768;

bool isMemory(const MEMHANDLE* h) noexcept { return isHandleOf(h, kHandleMemory); }

uint8_t* dataOf(const MEMHANDLE* h) noexcept {
    return h && h->pBlock ? static_cast<uint8_t*>(h->pBlock) + kBlockHeader : nullptr;
}

// The two words before a pointer, wherever it points.
struct [[gnu::packed, gnu::may_alias]] BackPointer {
    uintptr_t uMark, uHandle;
};

// The handle in the word before p, or null where none stands. p may be any block of the heap: the words are then the
// heap's own, which checking builds would take for a read outside the block. The mark is read only where a handle may
// stand.
__attribute__((no_sanitize("address", "thread"))) MEMHANDLE* handleBefore(const void* p) noexcept {
    const BackPointer* pBack = static_cast<const BackPointer*>(p) - 1;
    const uintptr_t uHandle = pBack->uHandle;
    if (!uHandle || uHandle % alignof(MEMHANDLE)) return nullptr;  // all ones is not aligned
    return (pBack->uMark ^ kMark) == uHandle ? reinterpret_cast<MEMHANDLE*>(uHandle) : nullptr;
}

void writeBackPointer(MEMHANDLE* h) noexcept {
    const auto uHandle = reinterpret_cast<uintptr_t>(h);
    reinterpret_cast<BackPointer*>(dataOf(h))[-1] = {uHandle ^ kMark, uHandle};
}

// Blocks of no bytes are blocks all the same.
void* heapBlock(uint64_t nBytes, bool bClear) noexcept {
    if (nBytes > PTRDIFF_MAX) return nullptr;
    if (nBytes == 0) nBytes = 1;
    return bClear ? std::calloc(1, size_t(nBytes)) : std::malloc(size_t(nBytes));
}
void* resizedBlock(void* p, uint64_t nBytes) noexcept {
    return nBytes > PTRDIFF_MAX ? nullptr : std::realloc(p, nBytes ? size_t(nBytes) : 1);
}

MEMHANDLE* allocHandle(uint32_t uFlags, uint32_t nSize, bool bClear) noexcept {
    auto* h = newHandle(kHandleMemory);
    if (!h) return nullptr;
    h->pBlock = heapBlock(uint64_t(nSize) + kBlockHeader, bClear || (uFlags & kMemoryZeroInit));
    if (!h->pBlock) {
        std::free(h);
        return nullptr;
    }
    h->nSize = nSize;
    h->uFlags = uFlags;
    writeBackPointer(h);
    return h;
}

MEMHANDLE* reallocHandle(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) noexcept {
    if (!h) return allocHandle(nNewSize, uFlags, false);  // the arguments are crossed: that is this call's rule
    if (!isMemory(h)) return nullptr;
    if (uFlags & kMemoryModify) {
        h->uFlags = uFlags & kMemoryMovable;
        return h;
    }
    void* pBlock = resizedBlock(h->pBlock, uint64_t(nNewSize) + kBlockHeader);
    if (!pBlock) return nullptr;
    h->pBlock = pBlock;
    if ((uFlags & kMemoryZeroInit) && h->nLocks == 0 && nNewSize > h->nSize)
        std::memset(dataOf(h) + h->nSize, 0, nNewSize - h->nSize);
    h->nLocks = 0;
    h->nSize = nNewSize;
    writeBackPointer(h);  // the block may have moved
    return h;
}

void freeMemory(MEMHANDLE* h) noexcept {
    std::free(h->pBlock);
    std::free(h);
}

void* nothing(void* p) noexcept { return p; }

PFNCLOSEHANDLE g_pfnCloseOther = nullptr;

}  // namespace

void* MemoryAlloc(MemoryKind uKind, bool bClear, uint32_t uFlags, uint32_t nCount, uint32_t nSize, int32_t,
                  const char*) noexcept {
    const uint64_t nBytes = uint64_t(nCount) * nSize;
    if (nBytes > UINT32_MAX) return nullptr;
    if (uKind == MemoryKind::kPlain) return heapBlock(nBytes, bClear);
    MEMHANDLE* h = allocHandle(uFlags, uint32_t(nBytes), bClear);
    if (uKind == MemoryKind::kHandle) return h;
    return dataOf(h);
}

void* MemoryRealloc(MemoryKind uKind, uint32_t uFlags, void* p, uint32_t nNewSize) noexcept {
    if (uKind == MemoryKind::kPlain) return resizedBlock(p, nNewSize);
    if (uKind == MemoryKind::kHandle) return reallocHandle(static_cast<MEMHANDLE*>(p), nNewSize, uFlags);
    return dataOf(reallocHandle(WinGlobalHandle(p), nNewSize, uFlags));
}

int32_t MemoryFree(MemoryKind uKind, void* p) noexcept {
    if (uKind == MemoryKind::kPlain) {
        std::free(p);
        return 1;
    }
    auto* h = uKind == MemoryKind::kHandle ? static_cast<MEMHANDLE*>(p) : handleBefore(p);
    if (isMemory(h)) freeMemory(h);
    return 1;
}

void setCloseHandleEx(PFNCLOSEHANDLE pfn) noexcept { g_pfnCloseOther = pfn; }

MEMHANDLE* newHandle(uint32_t uKind) noexcept {
    auto* h = static_cast<MEMHANDLE*>(std::calloc(1, sizeof(MEMHANDLE)));
    if (h) h->uKind = uKind;
    return h;
}

int32_t closeHandle(RVHANDLE h) noexcept {
    if (isAllOnes(h)) return 0;
    if (!h) return 1;
    int32_t nResult = 1;
    switch (h->uKind) {
        case 2:
        case 6:
        case 7:
        case 8:
            if (g_pfnCloseOther) return g_pfnCloseOther(h);  // the block stays with that callback
            break;
        case kHandleMemory:
            freeMemory(h);
            return 1;
        case kHandleRegion:
            attachments().closeRegionHandle(*h);
            break;
        case kHandleSystem:
            nResult = sysCloseHandle(h->pBlock) ? 1 : 0;
            break;
        default:
            break;
    }
    std::free(h);
    return nResult;
}

}  // namespace rv

using namespace rv;

extern "C" {

void* R_LocalAlloc(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) noexcept {
    return MemoryAlloc(MemoryKind::kPlain, false, 0, nCount, nSize, nLine, pFile);
}
void* R_LocalAllocInit(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) noexcept {
    return MemoryAlloc(MemoryKind::kPlain, true, 0, nCount, nSize, nLine, pFile);
}
void* R_LocalRealloc(void* p, uint32_t nNewSize, int32_t, const char*) noexcept {
    return MemoryRealloc(MemoryKind::kPlain, 0, p, nNewSize);
}
void* R_LocalReallocInit(void* p, uint32_t nOldSize, uint32_t nNewSize, int32_t nLine, const char* pFile) noexcept {
    if (!p || !nOldSize) return MemoryAlloc(MemoryKind::kPlain, true, 0, 1, nNewSize, nLine, pFile);
    auto* pNew = static_cast<uint8_t*>(MemoryRealloc(MemoryKind::kPlain, 0, p, nNewSize));
    if (pNew && nNewSize > nOldSize) std::memset(pNew + nOldSize, 0, nNewSize - nOldSize);
    return pNew;
}
void R_LocalFree(void* p) noexcept { MemoryFree(MemoryKind::kPlain, p); }
void R_KrnLocalFree(void* p) noexcept { MemoryFree(MemoryKind::kPlain, p); }
void R_FreeBuffer(void* p) noexcept { MemoryFree(MemoryKind::kPlain, p); }
void* R_KrnLocalAlloc(uint32_t nSize, int32_t bClear) noexcept {
    return MemoryAlloc(MemoryKind::kPlain, bClear != 0, 0, nSize, 1, 0, nullptr);
}

void* R_GlobalAlloc(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) noexcept {
    return MemoryAlloc(MemoryKind::kBlock, false, kMemoryOwn, nCount, nSize, nLine, pFile);  // cleared by its flags
}
void* R_GlobalAllocInit(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) noexcept {
    return MemoryAlloc(MemoryKind::kBlock, true, kMemoryOwn, nCount, nSize, nLine, pFile);
}
void* R_GlobalRealloc(void* p, uint32_t nNewSize) noexcept {
    return MemoryRealloc(MemoryKind::kBlock, kMemoryOwn, p, nNewSize);
}
int32_t R_GlobalFree(void* p) noexcept { return MemoryFree(MemoryKind::kBlock, p); }
int32_t R_KrnGlobalFree(void* p) noexcept { return MemoryFree(MemoryKind::kBlock, p); }
void* R_KrnGlobalAlloc(uint32_t nSize, int32_t bClear) noexcept {
    return MemoryAlloc(MemoryKind::kBlock, bClear != 0, kMemoryOwn, nSize, 1, 0, nullptr);
}

MEMHANDLE* R_OsAllocHandle(uint32_t uFlags, uint32_t nSize, int32_t nLine, const char* pFile) noexcept {
    return static_cast<MEMHANDLE*>(MemoryAlloc(MemoryKind::kHandle, false, uFlags, 1, nSize, nLine, pFile));
}
MEMHANDLE* R_OsAllocHandleInit(uint32_t, uint32_t nSize, int32_t nLine, const char* pFile) noexcept {
    return static_cast<MEMHANDLE*>(MemoryAlloc(MemoryKind::kHandle, true, kMemoryOwn, 1, nSize, nLine, pFile));
}
MEMHANDLE* WinGlobalAlloc(uint32_t uFlags, uint32_t nSize) noexcept {
    return static_cast<MEMHANDLE*>(MemoryAlloc(MemoryKind::kHandle, false, uFlags, 1, nSize, 0, nullptr));
}
MEMHANDLE* R_OsReallocHandle(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) noexcept {
    return static_cast<MEMHANDLE*>(MemoryRealloc(MemoryKind::kHandle, uFlags, h, nNewSize));
}
MEMHANDLE* WinGlobalReAlloc(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) noexcept {
    return static_cast<MEMHANDLE*>(MemoryRealloc(MemoryKind::kHandle, uFlags, h, nNewSize));
}
void* R_OsLockHandle(MEMHANDLE* h) noexcept { return isMemory(h) ? dataOf(h) : nullptr; }
void* WinGlobalLock(MEMHANDLE* h) noexcept { return R_OsLockHandle(h); }
int32_t R_OsUnlockHandle(MEMHANDLE*) noexcept { return 1; }
int32_t WinGlobalUnlock(MEMHANDLE*) noexcept { return 1; }
int32_t R_OsFreeHandle(MEMHANDLE* h) noexcept {
    MemoryFree(MemoryKind::kHandle, h);
    return 0;
}
MEMHANDLE* WinGlobalFree(MEMHANDLE* h) noexcept {
    if (!isMemory(h)) return h;
    freeMemory(h);
    return nullptr;
}
MEMHANDLE* WinGlobalHandle(const void* p) noexcept {
    MEMHANDLE* h = p ? handleBefore(p) : nullptr;
    return isMemory(h) ? h : nullptr;
}
uint32_t WinGlobalSize(MEMHANDLE* h) noexcept { return isMemory(h) ? h->nSize : 0; }
uint32_t WinGlobalFlags(MEMHANDLE* h) noexcept { return isMemory(h) ? h->uFlags : kInvalidHandleFlags; }

int32_t R_WinCloseHandle(RVHANDLE h, int32_t, const char*) noexcept {
    closeHandle(h);
    return 1;
}
MEMHANDLE* R_CreateHandle(void* hOs) noexcept {
    if (!hOs || isAllOnes(hOs)) return static_cast<MEMHANDLE*>(hOs);
    MEMHANDLE* h = newHandle(kHandleSystem);
    if (h) h->pBlock = hOs;
    return h;
}

void* R_MemoryCopy(void* pDst, const void* pSrc, size_t n) noexcept { return std::memcpy(pDst, pSrc, n); }
void* R_Krn_memcpy(void* pDst, const void* pSrc, size_t n) noexcept { return std::memcpy(pDst, pSrc, n); }
void* R_MemoryMove(void* pDst, const void* pSrc, size_t n) noexcept { return std::memmove(pDst, pSrc, n); }
int32_t R_MemoryCompare(const void* pA, const void* pB, size_t n) noexcept { return std::memcmp(pA, pB, n); }
int32_t R_Krn_memcmp(const void* pA, const void* pB, size_t n) noexcept { return std::memcmp(pA, pB, n); }
int32_t R_MemoryCompareI(const void* pA, const void* pB, size_t n) noexcept {
    const auto small = [](uint8_t c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : int(c); };
    const auto *a = static_cast<const uint8_t*>(pA), *b = static_cast<const uint8_t*>(pB);
    for (size_t i = 0; i < n; ++i)
        if (const int d = small(a[i]) - small(b[i])) return d;
    return 0;
}
void* R_MemorySet(void* pDst, int32_t nValue, size_t n) noexcept { return std::memset(pDst, nValue, n); }
void* R_Krn_memset(void* pDst, int32_t nValue, size_t n) noexcept { return std::memset(pDst, nValue, n); }
void* R_MemoryChr(const void* p, int32_t ch, size_t n) noexcept {
    return n ? const_cast<void*>(std::memchr(p, ch, n)) : nullptr;
}

void* R_ResourceAdd(void* p) noexcept { return nothing(p); }
void* R_ResourceRemove(void* p) noexcept { return nothing(p); }
void* R_ResourceLog(void* p) noexcept { return nothing(p); }
void* R_ResourceLogStart(void* p) noexcept { return nothing(p); }
void* R_ResourceLogStop(void* p) noexcept { return nothing(p); }
void* R_ResourceLeakDetect(void* p) noexcept { return nothing(p); }
void* R_ResourceLeakReport(void* p) noexcept { return nothing(p); }
void* R_T2WHelper(void* p) noexcept { return nothing(p); }
void* R_T2WHelperFree(void* p) noexcept { return nothing(p); }
void* R_W2THelper(void* p) noexcept { return nothing(p); }
void* R_W2THelperFree(void* p) noexcept { return nothing(p); }
void* R_DebugLoadLib(void* p) noexcept { return nothing(p); }
void* R_GetRavoLoadFunction(void* p) noexcept { return nothing(p); }

}  // extern "C"
