// The heap that holds the run lists of a block of rows: one allocation of nodes that name each other by offset, so that
// it may move when it grows. An offset of 0 is none.
#pragma once

#include "ravokit/compressed.h"

// The header, at offset 0; the first node follows it.
struct HEAP {
    uint32_t nTotalSize;  // bytes in all
    uint32_t nLastNode;
    uint32_t nFreeHead;
};

namespace rv {

// Stands before the bytes that the node gives out. The nodes lie end to end; no two free ones are neighbours. The last
// one ends where the heap does, or up to a node's header before it once the heap was trimmed.
struct HEAPNODE {
    uint32_t nPrev, nNext;  // the neighbours in memory; 0 at the ends
    uint32_t bUsed;
    uint32_t nPrevFree, nNextFree;  // the list of free nodes; 0 at the ends
    uint32_t nSize;                 // bytes given out
};
static_assert(sizeof(HEAP) == 12 && sizeof(HEAPNODE) == 24);

constexpr uint32_t kHeapStep = 0x40000;  // heaps grow by whole steps, which keeps moves rare

// A heap for nBytes of lists, one free node at first; null when memory is short.
HEAP* newHeap(uint64_t nBytes) noexcept;

// A node of at least nBytes; 0 when memory is short. The heap may move.
uint32_t heapAlloc(HEAP*& pHeap, uint32_t nBytes) noexcept;
// Makes a node larger or smaller, and gives its offset; its bytes come along. 0 when memory is short, which never
// happens to a smaller one, and the node stands then.
uint32_t heapRealloc(HEAP*& pHeap, uint32_t nOffset, uint32_t nBytes) noexcept;
// Sees to nBytes of free room at the end; false when memory is short.
bool growHeap(HEAP*& pHeap, uint32_t nBytes) noexcept;
// Gives back all but 128 bytes of the free room at the end; false where there is no more than that.
bool trimHeap(HEAP*& pHeap) noexcept;

inline HEAPNODE& heapNode(HEAP* pHeap, uint32_t nOffset) noexcept {
    return *reinterpret_cast<HEAPNODE*>(reinterpret_cast<uint8_t*>(pHeap) + nOffset);
}
// The run list in a node.
inline uint16_t* heapRuns(HEAP* pHeap, uint32_t nOffset) noexcept {
    return reinterpret_cast<uint16_t*>(&heapNode(pHeap, nOffset) + 1);
}

// Whether the nodes lie end to end, no free ones are neighbours, and the free list holds just the free ones.
bool isWellFormed(HEAP* pHeap) noexcept;

}  // namespace rv
