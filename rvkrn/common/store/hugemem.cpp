// Huge memory: one block while that can be had, else a mapping with one window in view.
#include "ravokit/hugemem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "internal/storage_.h"

namespace rv {
namespace {

bool isRange(const HUGEMEMORY& huge, uint64_t nOffset, uint64_t nLength) noexcept {
    return nOffset <= huge.nSize && nLength <= huge.nSize - nOffset;
}

void dropWindow(HUGEMEMORY& huge) noexcept {
    if (huge.pView) sysUnmapView(huge.pView, huge.nViewSize);
    huge.pView = nullptr;
    huge.nViewSize = 0;
}

int32_t mapWindow(HUGEMEMORY& huge, uint64_t nOffset, uint64_t nLength) noexcept {
    dropWindow(huge);
    const uint64_t nStart = nOffset - nOffset % huge.nGranularity;
    if (nLength > UINT32_MAX - (nOffset - nStart)) return -1;
    const uint64_t nWanted = nOffset - nStart + nLength;
    uint64_t nBytes = std::min<uint64_t>(huge.nSize - nStart, UINT32_MAX);
    if (huge.nMaxConventional) nBytes = std::min(nBytes, std::max(huge.nMaxConventional, nWanted));
    auto& mapping = *static_cast<SysObject*>(huge.hMapping->pBlock);
    for (; nBytes && nBytes >= nWanted; nBytes /= 2)
        if (void* p = sysMapView(mapping, nStart, size_t(nBytes))) {
            huge.pView = static_cast<uint8_t*>(p);
            huge.nViewOffset = nStart;
            huge.nViewSize = uint32_t(nBytes);
            return 1;
        }
    return -1;
}

// Memory is promised freely and missed only when it is touched: more than the machine has is not asked for.
RVHANDLE mapMemory(uint64_t nSize) noexcept {
    if (nSize > sysInfo().nMemory) return nullptr;
    return wrapHandle(sysMappingCreate(kSysNoHandle, SysProtect::kReadWrite, nSize, nullptr));
}

bool makeMapping(HUGEMEMORY& huge) noexcept {
    huge.bMapped = 1;
    huge.nGranularity = std::max(sysInfo().nPageSize, 1u);
    if (huge.nMaxConventional) huge.nMaxConventional = std::max<uint64_t>(huge.nMaxConventional, huge.nGranularity);
    huge.hMapping = mapMemory(huge.nSize);
    if (!huge.hMapping) {
        RVHANDLE hFile = newTemporaryFile(huge.nSize);
        if (!hFile) return false;
        huge.hFile = hFile;
        huge.hMapping = wrapHandle(sysMappingCreate(hFile->pBlock, SysProtect::kReadWrite, huge.nSize, nullptr));
    }
    return huge.hMapping && mapWindow(huge, 0, 1) == 1;
}

bool makeBlock(HUGEMEMORY& huge) noexcept {
    if (huge.nMaxConventional && huge.nSize > huge.nMaxConventional) return false;
    if (huge.nSize > std::min<uint64_t>(UINT32_MAX, PTRDIFF_MAX)) return false;
    huge.pView = static_cast<uint8_t*>(std::malloc(huge.nSize ? size_t(huge.nSize) : 1));
    huge.bOwned = huge.pView != nullptr;
    return huge.bOwned;
}

// The range window by window: body(its bytes, where they lie in the range, how many).
template <class Body>
int32_t forEachWindow(HUGEMEMORY& huge, uint64_t nOffset, uint64_t nLength, Body body) noexcept {
    for (uint64_t nDone = 0; nDone < nLength;) {
        uint8_t* p = nullptr;
        uint64_t n = 0;
        if (const int32_t nStatus = R_AccessHugeMemory(&huge, &p, nOffset + nDone, 1, &n); nStatus != 1) return nStatus;
        n = std::min(n, nLength - nDone);
        body(p, nDone, size_t(n));
        nDone += n;
    }
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

HUGEMEMORY* R_AllocHugeMemory(uint64_t nSize, uint64_t nMaxConventional) noexcept {
    auto* pHuge = new (std::nothrow) HUGEMEMORY{};
    if (!pHuge) return nullptr;
    pHuge->nSize = nSize;
    pHuge->hFile = kNoFile;
    pHuge->nMaxConventional = nMaxConventional ? nMaxConventional : globalConventionalLimit();
    if (makeBlock(*pHuge) || makeMapping(*pHuge)) return pHuge;
    R_FreeHugeMemory(pHuge);
    return nullptr;
}

void R_FreeHugeMemory(HUGEMEMORY* pHuge) noexcept {
    if (!pHuge) return;
    if (pHuge->bMapped) {
        dropWindow(*pHuge);
        closeHandle(pHuge->hMapping);
        closeHandle(pHuge->hFile);
    } else if (pHuge->bOwned) {
        std::free(pHuge->pView);
    }
    delete pHuge;
}

int32_t R_AccessHugeMemory(HUGEMEMORY* pHuge, uint8_t** ppData, uint64_t nOffset, uint64_t nLength,
                           uint64_t* pnAvailable) noexcept {
    if (!pHuge) return -814;
    if (!ppData) return -13;
    if (!isRange(*pHuge, nOffset, nLength)) return -13;
    HUGEMEMORY& huge = *pHuge;
    const uint64_t nStart = huge.bMapped ? huge.nViewOffset : 0, nBytes = huge.bMapped ? huge.nViewSize : huge.nSize;
    const bool bInView = huge.pView && nOffset >= nStart && nOffset + nLength <= nStart + nBytes;
    // The end itself lies in the window of the last byte.
    if (!bInView)
        if (const int32_t n = mapWindow(huge, nOffset - (nOffset == huge.nSize), nLength); n != 1) return n;
    const uint64_t nFrom = nOffset - (huge.bMapped ? huge.nViewOffset : 0);
    *ppData = huge.pView + nFrom;
    if (pnAvailable) *pnAvailable = (huge.bMapped ? huge.nViewSize : huge.nSize) - nFrom;
    return 1;
}

int32_t R_ZeroHugeMemory(HUGEMEMORY* pHuge, uint64_t nOffset, uint64_t nLength) noexcept {
    if (!pHuge) return -814;
    if (!isRange(*pHuge, nOffset, nLength)) return -13;
    return forEachWindow(*pHuge, nOffset, nLength, [](uint8_t* p, uint64_t, size_t n) { std::memset(p, 0, n); });
}

HUGEMEMORY* R_CreateHugeMemoryFromPtr(void* pData, uint64_t nSize, int32_t bOwned) noexcept {
    auto* const pBytes = static_cast<uint8_t*>(pData);
    if (pData && !bOwned) {
        auto* pHuge = new (std::nothrow) HUGEMEMORY{};
        if (!pHuge) return nullptr;
        pHuge->pView = pBytes;
        pHuge->nSize = nSize;
        pHuge->hFile = kNoFile;
        return pHuge;
    }
    HUGEMEMORY* pHuge = R_AllocHugeMemory(nSize, 0);
    if (!pHuge || !pData) return pHuge;
    const auto copy = [=](uint8_t* p, uint64_t nAt, size_t n) { std::memcpy(p, pBytes + size_t(nAt), n); };
    if (forEachWindow(*pHuge, 0, nSize, copy) == 1) return pHuge;
    R_FreeHugeMemory(pHuge);
    return nullptr;
}

}  // extern "C"
