// Emulated handles: the sign of a valid one, and the one closer for all kinds.
#pragma once

#include "ravokit/memory.h"
#include "ravokit/objects.h"

namespace rv {

enum : uint32_t { kHandlePalette = 1, kHandleMemory = 3, kHandleRegion = 4, kHandleSystem = 9 };

inline const RVHANDLE kNoFile = reinterpret_cast<RVHANDLE>(UINTPTR_MAX);  // the handle of a file that can't be had
inline bool isAllOnes(const void* h) noexcept { return reinterpret_cast<uintptr_t>(h) == UINTPTR_MAX; }

inline bool isHandleOf(const MEMHANDLE* h, uint32_t uKind) noexcept { return h && !isAllOnes(h) && h->uKind == uKind; }

// A cleared handle record, or null.
MEMHANDLE* newHandle(uint32_t uKind) noexcept;

// A handle of kind 9 that owns hOs: null for null, all ones for all ones. When memory is short hOs is closed: null.
MEMHANDLE* wrapHandle(void* hOs) noexcept;

// Closes a handle of any kind and frees its record: all ones gives 0, null gives 1, kind 9 the system's result, kinds
// 2, 6, 7 and 8 that of the closing callback, to which the record then belongs; all others 1.
int32_t closeHandle(RVHANDLE h) noexcept;

void setCloseHandleEx(PFNCLOSEHANDLE pfn) noexcept;

}  // namespace rv
