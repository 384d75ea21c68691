// The heap of a block of run lists: first fit along a list of free nodes, split on the way out, joined on the way back.
#include "internal/heap_.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace rv {
namespace {

constexpr uint32_t kFirstNode = sizeof(HEAP), kNodeHeader = sizeof(HEAPNODE);
constexpr uint32_t kLargeHeap = 0x400000;  // of any block that wants more than a step
constexpr uint32_t kFewestBytes = 32;
constexpr uint32_t kTrimmedRoom = 128;

constexpr uint64_t wholeSteps(uint64_t n) noexcept { return (n + kHeapStep - 1) / kHeapStep * kHeapStep; }
constexpr uint64_t wholeWords(uint64_t n) noexcept { return (n + 3) / 4 * 4; }

void pushFree(HEAP* pHeap, uint32_t nOffset) noexcept {
    HEAPNODE& node = heapNode(pHeap, nOffset);
    node.bUsed = 0;
    node.nPrevFree = 0;
    node.nNextFree = pHeap->nFreeHead;
    if (pHeap->nFreeHead) heapNode(pHeap, pHeap->nFreeHead).nPrevFree = nOffset;
    pHeap->nFreeHead = nOffset;
}

void unlinkFree(HEAP* pHeap, HEAPNODE& node) noexcept {
    (node.nPrevFree ? heapNode(pHeap, node.nPrevFree).nNextFree : pHeap->nFreeHead) = node.nNextFree;
    if (node.nNextFree) heapNode(pHeap, node.nNextFree).nPrevFree = node.nPrevFree;
}

// Takes the next node in, if it is free.
void joinNext(HEAP* pHeap, uint32_t nOffset) noexcept {
    HEAPNODE& node = heapNode(pHeap, nOffset);
    if (!node.nNext || heapNode(pHeap, node.nNext).bUsed) return;
    HEAPNODE& next = heapNode(pHeap, node.nNext);
    unlinkFree(pHeap, next);
    node.nSize += next.nSize + kNodeHeader;
    node.nNext = next.nNext;
    (node.nNext ? heapNode(pHeap, node.nNext).nPrev : pHeap->nLastNode) = nOffset;
}

// Leaves nBytes to the node and makes a free one of the rest, where there is enough for one.
void split(HEAP* pHeap, uint32_t nOffset, uint32_t nBytes) noexcept {
    HEAPNODE& node = heapNode(pHeap, nOffset);
    if (uint64_t(nBytes) + kNodeHeader >= node.nSize) return;
    const uint32_t nRest = nOffset + kNodeHeader + nBytes;
    HEAPNODE& rest = heapNode(pHeap, nRest);
    rest = {nOffset, node.nNext, 0, 0, 0, node.nSize - nBytes - kNodeHeader};
    (node.nNext ? heapNode(pHeap, node.nNext).nPrev : pHeap->nLastNode) = nRest;
    node.nNext = nRest;
    node.nSize = nBytes;
    pushFree(pHeap, nRest);
    joinNext(pHeap, nRest);
}

uint32_t findFree(HEAP* pHeap, uint32_t nBytes) noexcept {
    uint32_t nOffset = pHeap->nFreeHead;
    while (nOffset && heapNode(pHeap, nOffset).nSize < nBytes) nOffset = heapNode(pHeap, nOffset).nNextFree;
    return nOffset;
}

}  // namespace

HEAP* newHeap(uint64_t nBytes) noexcept {
    const bool bSmall = std::max<uint64_t>(nBytes, kFewestBytes) + kFirstNode <= kHeapStep;
    const uint32_t nTotal = bSmall ? kHeapStep : kLargeHeap;
    auto* pHeap = static_cast<HEAP*>(std::calloc(1, nTotal));
    if (!pHeap) return nullptr;
    *pHeap = {nTotal, kFirstNode, kFirstNode};
    heapNode(pHeap, kFirstNode).nSize = nTotal - kFirstNode - kNodeHeader;
    return pHeap;
}

bool growHeap(HEAP*& pHeap, uint32_t nBytes) noexcept {
    const uint32_t nLast = pHeap->nLastNode, nOldSize = heapNode(pHeap, nLast).nSize;
    const bool bFree = !heapNode(pHeap, nLast).bUsed;
    if (bFree && nOldSize >= nBytes) return true;
    const uint64_t nKept = bFree ? uint64_t(pHeap->nTotalSize) - nOldSize : uint64_t(pHeap->nTotalSize) + kNodeHeader;
    const uint64_t nTotal = wholeSteps(nKept + wholeWords(nBytes));
    if (nTotal > UINT32_MAX) return false;
    auto* pNew = static_cast<HEAP*>(std::realloc(pHeap, size_t(nTotal)));
    if (!pNew) return false;
    pHeap = pNew;
    pHeap->nTotalSize = uint32_t(nTotal);
    uint32_t nRoom = nLast;
    if (!bFree) {
        nRoom = nLast + kNodeHeader + nOldSize;
        heapNode(pHeap, nRoom) = {nLast, 0, 0, 0, 0, 0};
        heapNode(pHeap, nLast).nNext = nRoom;
        pHeap->nLastNode = nRoom;
        pushFree(pHeap, nRoom);
    }
    heapNode(pHeap, nRoom).nSize = uint32_t(nTotal) - nRoom - kNodeHeader;
    return true;
}

bool trimHeap(HEAP*& pHeap) noexcept {
    if (!pHeap) return false;
    const HEAPNODE& last = heapNode(pHeap, pHeap->nLastNode);
    if (last.bUsed || last.nSize <= kTrimmedRoom) return false;
    // The header's worth that stays beyond the node is taken in again when the heap grows.
    const uint32_t nTotal = pHeap->nLastNode + kNodeHeader + kTrimmedRoom + kNodeHeader;
    auto* pNew = static_cast<HEAP*>(std::realloc(pHeap, nTotal));
    if (!pNew) return false;
    pHeap = pNew;
    pHeap->nTotalSize = nTotal;
    heapNode(pHeap, pHeap->nLastNode).nSize = kTrimmedRoom;
    return true;
}

uint32_t heapAlloc(HEAP*& pHeap, uint32_t nBytes) noexcept {
    const uint64_t nWhole = wholeWords(nBytes);
    if (nWhole > UINT32_MAX) return 0;
    nBytes = uint32_t(nWhole);
    uint32_t nOffset = findFree(pHeap, nBytes);
    if (!nOffset) {
        if (!growHeap(pHeap, nBytes)) return 0;
        nOffset = findFree(pHeap, nBytes);
    }
    HEAPNODE& node = heapNode(pHeap, nOffset);
    node.bUsed = 1;
    split(pHeap, nOffset, nBytes);
    unlinkFree(pHeap, node);
    return nOffset;
}

uint32_t heapRealloc(HEAP*& pHeap, uint32_t nOffset, uint32_t nBytes) noexcept {
    const uint64_t nWhole = wholeWords(nBytes);
    if (nWhole > UINT32_MAX) return 0;
    nBytes = uint32_t(nWhole);
    HEAPNODE& node = heapNode(pHeap, nOffset);
    if (nBytes > node.nSize) {
        const HEAPNODE* pNext = node.nNext ? &heapNode(pHeap, node.nNext) : nullptr;
        if (!pNext || pNext->bUsed || uint64_t(pNext->nSize) + node.nSize + kNodeHeader < nBytes) {
            const uint32_t nOldSize = node.nSize, nNew = heapAlloc(pHeap, nBytes);
            if (!nNew) return 0;
            std::memcpy(heapRuns(pHeap, nNew), heapRuns(pHeap, nOffset), nOldSize);
            R_HeapFree(pHeap, nOffset);
            return nNew;
        }
        joinNext(pHeap, nOffset);
    }
    split(pHeap, nOffset, nBytes);
    return nOffset;
}

bool isWellFormed(HEAP* pHeap) noexcept {
    uint64_t nEnd = kFirstNode;
    uint32_t nPrev = 0, nFree = 0;
    for (uint32_t nOffset = kFirstNode; nOffset; nOffset = heapNode(pHeap, nOffset).nNext) {
        if (nOffset != nEnd || nEnd + kNodeHeader > pHeap->nTotalSize) return false;
        const HEAPNODE& node = heapNode(pHeap, nOffset);
        if (node.nPrev != nPrev || (!node.bUsed && nPrev && !heapNode(pHeap, nPrev).bUsed)) return false;
        nFree += !node.bUsed;
        nPrev = nOffset;
        nEnd += uint64_t(kNodeHeader) + node.nSize;
    }
    if (nPrev != pHeap->nLastNode || nEnd > pHeap->nTotalSize || nEnd + kNodeHeader < pHeap->nTotalSize) return false;
    nPrev = 0;
    for (uint32_t nOffset = pHeap->nFreeHead; nOffset; nOffset = heapNode(pHeap, nOffset).nNextFree) {
        const HEAPNODE& node = heapNode(pHeap, nOffset);
        if (node.bUsed || node.nPrevFree != nPrev || nFree-- == 0) return false;
        nPrev = nOffset;
    }
    return nFree == 0;
}

}  // namespace rv

using namespace rv;

extern "C" {

void R_HeapFree(HEAP* pHeap, uint32_t nOffset) noexcept {
    if (!pHeap || !nOffset) return;
    pushFree(pHeap, nOffset);
    joinNext(pHeap, nOffset);
    const uint32_t nPrev = heapNode(pHeap, nOffset).nPrev;
    if (nPrev && !heapNode(pHeap, nPrev).bUsed) joinNext(pHeap, nPrev);
}

void R_HeapTerm(HEAP* pHeap) noexcept { std::free(pHeap); }

}  // extern "C"
