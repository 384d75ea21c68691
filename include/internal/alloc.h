// The generic form of the allocators: one operation of each sort for all kinds of memory.
#pragma once

#include <cstdint>

namespace rv {

// What an allocation gives and takes: a block with back-pointer by its data, a plain block of the heap, or a handle.
enum class MemoryKind : uint32_t { kBlock = 1, kPlain = 2, kHandle = 3 };

// Flags of handles, and of the blocks that have one.
enum : uint32_t {
    kMemoryMovable = 2,
    kMemoryZeroInit = 0x40,
    kMemoryModify = 0x80,
    kMemoryOwn = kMemoryZeroInit | kMemoryMovable  // 66: where the library allocates for itself
};

// nCount x nSize bytes, cleared if bClear, for kinds 1 and 3 also if uFlags has 0x40. Null when memory is short or the
// product overflows 32 bits: no heap gives the largest size, which that asks for. The call site is dropped.
void* MemoryAlloc(MemoryKind uKind, bool bClear, uint32_t uFlags, uint32_t nCount, uint32_t nSize, int32_t nLine,
                  const char* pFile) noexcept;
// Resizes p, or allocates for a null one; null on failure, and p stands then. Kinds 1 and 3 go by the handle and the
// rules of WinGlobalReAlloc, with a null handle for a block that has none.
void* MemoryRealloc(MemoryKind uKind, uint32_t uFlags, void* p, uint32_t nNewSize) noexcept;
// Frees p; of kinds 1 and 3 only what has a valid handle. Always 1.
int32_t MemoryFree(MemoryKind uKind, void* p) noexcept;

}  // namespace rv
