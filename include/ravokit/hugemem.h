// Huge memory: buffers that may exceed the address space. A small one is one block; a large one is a mapping of memory
// or of a temporary file, of which one window is in view at a time.
//
// Callers ask for a pointer to a range, and get the largest stretch that the window gives. An object is not locked, and
// a pointer lasts until the next call on its object.
#pragma once

#include "types.h"

RV_C_BEGIN

/// The object: made and freed by the calls below, and to be read only.
typedef struct HUGEMEMORY {
    uint32_t bMapped;       ///< 0 one block, 1 a mapping
    uint8_t* pView;         ///< the block, or the window; null for a mapping without one
    uint64_t nSize;         ///< bytes in all
    uint32_t bOwned;        ///< the block goes with the object
    RVHANDLE hMapping;      ///< the mapping, or null
    uint64_t nViewOffset;   ///< where the window starts
    uint32_t nViewSize;     ///< bytes in the window
    uint32_t nGranularity;  ///< windows start at a multiple of this
    RVHANDLE hFile;         ///< temporary file, or all ones
    /// Bytes of the largest block, and of a window unless a range needs more; 0 is no limit.
    uint64_t nMaxConventional;
} HUGEMEMORY;

/// An object of nSize bytes. Up to nMaxConventional bytes (0: the limit of R_SetGlobalMemoryThresholds, which may be
/// none) and 4 GiB it is one block, whose bytes start undefined; beyond, and where there is no such block, a mapping,
/// which starts cleared: of memory up to what the machine has, else of a temporary file. Null when there is no room,
/// and nothing is left behind.
RV_API HUGEMEMORY* R_AllocHugeMemory(uint64_t nSize, uint64_t nMaxConventional) RV_NOEXCEPT;
/// Frees the object; null is allowed. A block that is not owned stays.
RV_API void R_FreeHugeMemory(HUGEMEMORY* pHuge) RV_NOEXCEPT;
/// Brings the nLength bytes from nOffset on into view. *ppData receives their address, and *pnAvailable, if given, the
/// bytes from there to the end of the window, or of the object where that is one block.
/// Returns 1, or: -814 null object, -13 null ppData, -13 a range past the end, -1 no window of that length can be
/// mapped, and the object then has none until the next call.
RV_API int32_t R_AccessHugeMemory(HUGEMEMORY* pHuge, uint8_t** ppData, uint64_t nOffset, uint64_t nLength,
                                  uint64_t* pnAvailable) RV_NOEXCEPT;
/// Clears a range, window by window. Returns 1, or: -814 null object, -13 a range past the end, -1 as above.
RV_API int32_t R_ZeroHugeMemory(HUGEMEMORY* pHuge, uint64_t nOffset, uint64_t nLength) RV_NOEXCEPT;
/// An object around pData, which stays the caller's and is not freed. With bOwned, or with null pData, an object of its
/// own as R_AllocHugeMemory(nSize, 0) makes it, with a copy of pData if that is given. Null when there is no room.
RV_API HUGEMEMORY* R_CreateHugeMemoryFromPtr(void* pData, uint64_t nSize, int32_t bOwned) RV_NOEXCEPT;

RV_C_END
