// Memory services: the plain heap, blocks with a back-pointer, movable-memory handles, and the closer of all handles.
//
// A block of kind 3 opens with a header of kBlockHeader bytes, whose last word is the address of the block's handle. So
// the word before any data pointer tells whether it is such a block, and the data keeps the alignment of malloc. A mark
// made from that address stands before it: a word that only happens to lie there is never followed.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "internal/attachments.h"
#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "ravokit/memory.h"

namespace rv {
namespace {

constexpr size_t kBlockHeader = alignof(std::max_align_t);
static_assert(kBlockHeader >= 2 * sizeof(uintptr_t), "mark and handle fit the header");
constexpr uintptr_t kMark = uintptr_t(0x5A3C96E1'7B2D48F0);
constexpr uint32_t kFlagZeroInit = 0x40, kFlagModify = 0x80, kFlagMovable = 2;
constexpr uint32_t kOwnFlags = kFlagZeroInit | kFlagMovable;  // 66: where the library allocates for itself
constexpr uint32_t kInvalidHandleFlags = 32768;

bool isMemory(const MEMHANDLE* h) noexcept { return isHandleOf(h, kHandleMemory); }

uint8_t* dataOf(const MEMHANDLE* h) noexcept {
    return h->pBlock ? static_cast<uint8_t*>(h->pBlock) + kBlockHeader : nullptr;
}

// The two words before a pointer, wherever it points.
struct [[gnu::packed, gnu::may_alias]] BackPointer {
    uintptr_t uMark, uHandle;
};

// The handle in the word before p, or null where none stands. p may be any block of the heap: the words are then the
// heap's own, which checking builds would take for a read outside the block.
[[gnu::no_sanitize("address", "thread")]] MEMHANDLE* handleBefore(const void* p) noexcept {
    const BackPointer* pBack = static_cast<const BackPointer*>(p) - 1;
    const uintptr_t uHandle = pBack->uHandle;
    return (pBack->uMark ^ kMark) == uHandle ? reinterpret_cast<MEMHANDLE*>(uHandle) : nullptr;
}

void writeBackPointer(MEMHANDLE* h) noexcept {
    const auto uHandle = reinterpret_cast<uintptr_t>(h);
    reinterpret_cast<BackPointer*>(dataOf(h))[-1] = {uHandle ^ kMark, uHandle};
}

MEMHANDLE* allocHandle(uint32_t uFlags, uint32_t nSize) noexcept {
    auto* h = newHandle(kHandleMemory);
    if (!h) return nullptr;
    const uint64_t nBytes = uint64_t(nSize) + kBlockHeader;
    if (nBytes > PTRDIFF_MAX)
        h->pBlock = nullptr;
    else
        h->pBlock = uFlags & kFlagZeroInit ? std::calloc(1, size_t(nBytes)) : std::malloc(size_t(nBytes));
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
    if (!h) return allocHandle(nNewSize, uFlags);  // the arguments are crossed: that is this call's rule
    if (!isMemory(h)) return nullptr;
    if (uFlags & kFlagModify) {
        h->uFlags = uFlags & kFlagMovable;
        return h;
    }
    const uint64_t nBytes = uint64_t(nNewSize) + kBlockHeader;
    void* pBlock = nBytes > PTRDIFF_MAX ? nullptr : std::realloc(h->pBlock, size_t(nBytes));
    if (!pBlock) return nullptr;
    h->pBlock = pBlock;
    if ((uFlags & kFlagZeroInit) && h->nLocks == 0 && nNewSize > h->nSize)
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

// The product of two 32-bit sizes; what overflows asks for the largest size, which no heap gives.
size_t product(uint32_t nCount, uint32_t nSize) noexcept {
    const uint64_t n = uint64_t(nCount) * nSize;
    return n > UINT32_MAX || n > PTRDIFF_MAX ? SIZE_MAX : size_t(n);
}

// Heap blocks of no bytes are blocks all the same.
void* plainBlock(size_t nBytes, bool bClear) noexcept {
    if (nBytes == SIZE_MAX) return nullptr;
    if (nBytes == 0) nBytes = 1;
    return bClear ? std::calloc(1, nBytes) : std::malloc(nBytes);
}

void* globalBlock(uint32_t nCount, uint32_t nSize) noexcept {
    const size_t n = product(nCount, nSize);
    MEMHANDLE* h = n == SIZE_MAX ? nullptr : allocHandle(kOwnFlags, uint32_t(n));
    return h ? dataOf(h) : nullptr;
}

void* nothing(void* p) noexcept { return p; }

PFNCLOSEHANDLE g_pfnCloseOther = nullptr;

}  // namespace

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

void* R_LocalAlloc(uint32_t nCount, uint32_t nSize, int32_t, const char*) noexcept {
    return plainBlock(product(nCount, nSize), false);
}
void* R_LocalAllocInit(uint32_t nCount, uint32_t nSize, int32_t, const char*) noexcept {
    return plainBlock(product(nCount, nSize), true);
}
void* R_LocalRealloc(void* p, uint32_t nNewSize, int32_t nLine, const char* pFile) noexcept {
    if (!p) return R_LocalAlloc(1, nNewSize, nLine, pFile);
    const size_t n = product(nNewSize, 1);
    return n == SIZE_MAX ? nullptr : std::realloc(p, n ? n : 1);
}
void* R_LocalReallocInit(void* p, uint32_t nOldSize, uint32_t nNewSize, int32_t nLine, const char* pFile) noexcept {
    if (!p || !nOldSize) return R_LocalAllocInit(1, nNewSize, nLine, pFile);
    auto* pNew = static_cast<uint8_t*>(R_LocalRealloc(p, nNewSize, nLine, pFile));
    if (pNew && nNewSize > nOldSize) std::memset(pNew + nOldSize, 0, nNewSize - nOldSize);
    return pNew;
}
void R_LocalFree(void* p) noexcept { std::free(p); }
void R_KrnLocalFree(void* p) noexcept { std::free(p); }
void R_FreeBuffer(void* p) noexcept { std::free(p); }
void* R_KrnLocalAlloc(uint32_t nSize, int32_t bClear) noexcept { return plainBlock(product(nSize, 1), bClear != 0); }

void* R_GlobalAlloc(uint32_t nCount, uint32_t nSize, int32_t, const char*) noexcept {
    return globalBlock(nCount, nSize);
}
void* R_GlobalAllocInit(uint32_t nCount, uint32_t nSize, int32_t, const char*) noexcept {
    return globalBlock(nCount, nSize);
}
void* R_GlobalRealloc(void* p, uint32_t nNewSize) noexcept {
    MEMHANDLE* h = reallocHandle(WinGlobalHandle(p), nNewSize, kOwnFlags);
    return h ? dataOf(h) : nullptr;
}
int32_t R_GlobalFree(void* p) noexcept {
    if (MEMHANDLE* h = handleBefore(p); isMemory(h)) freeMemory(h);
    return 1;
}
int32_t R_KrnGlobalFree(void* p) noexcept { return R_GlobalFree(p); }
void* R_KrnGlobalAlloc(uint32_t nSize, int32_t) noexcept { return globalBlock(nSize, 1); }  // cleared either way

MEMHANDLE* R_OsAllocHandle(uint32_t uFlags, uint32_t nSize, int32_t, const char*) noexcept {
    return allocHandle(uFlags, nSize);
}
MEMHANDLE* R_OsAllocHandleInit(uint32_t, uint32_t nSize, int32_t, const char*) noexcept {
    return allocHandle(kOwnFlags, nSize);
}
MEMHANDLE* WinGlobalAlloc(uint32_t uFlags, uint32_t nSize) noexcept { return allocHandle(uFlags, nSize); }
MEMHANDLE* R_OsReallocHandle(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) noexcept {
    return reallocHandle(h, nNewSize, uFlags);
}
MEMHANDLE* WinGlobalReAlloc(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) noexcept {
    return reallocHandle(h, nNewSize, uFlags);
}
void* R_OsLockHandle(MEMHANDLE* h) noexcept { return isMemory(h) ? dataOf(h) : nullptr; }
void* WinGlobalLock(MEMHANDLE* h) noexcept { return R_OsLockHandle(h); }
int32_t R_OsUnlockHandle(MEMHANDLE*) noexcept { return 1; }
int32_t WinGlobalUnlock(MEMHANDLE*) noexcept { return 1; }
int32_t R_OsFreeHandle(MEMHANDLE* h) noexcept {
    if (isMemory(h)) freeMemory(h);
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
