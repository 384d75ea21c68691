// Anonymous memory on Linux.
//
// Small blocks come from the heap. Large ones are mappings of their own with huge-page advice: one fault clears two
// megabytes, and giving them back returns the memory at once.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "internal/rvsystem_.h"

namespace rv {
namespace {

constexpr uint64_t kLarge = 15u << 20;  // tiles are whole rows, so a default one is a little below 16 MiB
constexpr uint64_t kHugePage = 2u << 20;
constexpr size_t kAlignment = 64;

uint8_t* mapLarge(uint64_t nSize) noexcept {
    // One huge page more than needed, so that the block can start on a huge page; the rest is given back.
    const uint64_t nAll = nSize + kHugePage;
    void* p = mmap(nullptr, size_t(nAll), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return nullptr;
    auto* pAll = static_cast<uint8_t*>(p);
    const size_t nFront = size_t(-reinterpret_cast<uintptr_t>(pAll) & (kHugePage - 1));
    const size_t nBack = size_t(kHugePage) - nFront;
    if (nFront) munmap(pAll, nFront);
    const size_t nPage = size_t(sysconf(_SC_PAGESIZE)), nUsed = (size_t(nSize) + nPage - 1) / nPage * nPage;
    if (nFront + nUsed < size_t(nAll)) munmap(pAll + nFront + nUsed, nBack - (nUsed - size_t(nSize)));
    madvise(pAll + nFront, nUsed, MADV_HUGEPAGE);
    return pAll + nFront;
}

// A plain block, aligned by hand, with its start in the word before the data. An aligned block would not fit the room
// that one of the same size has left, so that the heap would grow with every bitmap.
uint8_t* allocateSmall(size_t nSize) noexcept {
    constexpr size_t kBefore = sizeof(void*) + kAlignment - 1;
    void* const pBlock = std::calloc(1, nSize + kBefore + 1);
    if (!pBlock) return nullptr;
    auto* const pData = static_cast<uint8_t*>(pBlock) + kBefore;
    uint8_t* const pAligned = pData - (reinterpret_cast<uintptr_t>(pData) & (kAlignment - 1));
    std::memcpy(pAligned - sizeof(void*), &pBlock, sizeof(void*));
    return pAligned;
}

void freeSmall(uint8_t* pAligned) noexcept {
    void* pBlock;
    std::memcpy(&pBlock, pAligned - sizeof(void*), sizeof(void*));
    std::free(pBlock);
}

}  // namespace

SysMemory* sysMemoryCreate(uint64_t nSize) noexcept {
    if (nSize > PTRDIFF_MAX - kHugePage) return nullptr;
    auto* pMemory = new (std::nothrow) SysMemory;
    if (!pMemory) return nullptr;
    pMemory->nSize = nSize;
    pMemory->bMapped = nSize >= kLarge;
    if (pMemory->bMapped) {
        pMemory->pData = mapLarge(nSize);
    } else {
        pMemory->pData = allocateSmall(size_t(nSize));
    }
    if (pMemory->pData) return pMemory;
    delete pMemory;
    return nullptr;
}

bool SysMemory::close() noexcept {
    if (bMapped) {
        const size_t nPage = size_t(sysconf(_SC_PAGESIZE));
        munmap(pData, (size_t(nSize) + nPage - 1) / nPage * nPage);
    } else {
        freeSmall(pData);
    }
    delete this;
    return true;
}

}  // namespace rv
