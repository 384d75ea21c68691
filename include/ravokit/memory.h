// Memory services: plain heap, blocks that know their handle, movable-memory handles, memory primitives.
//
// Line and file arguments are the call site's; they are accepted and dropped. Sizes and counts are 32 bits in both data
// models: a product that overflows 32 bits fails. Allocators give null when memory is short and set nothing.
#pragma once

#include "types.h"

RV_C_BEGIN

// ---- plain heap --------------------------------------------------------------------------------------------------

/// A block of nCount x nSize bytes, not cleared, freed with R_LocalFree. Null when memory is short or the product
/// overflows 32 bits.
RV_API void* R_LocalAlloc(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
/// R_LocalAlloc, cleared.
RV_API void* R_LocalAllocInit(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
/// Resizes a block of R_LocalAlloc; a null p allocates. On failure null, and the old block stands.
RV_API void* R_LocalRealloc(void* p, uint32_t nNewSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
/// R_LocalRealloc that clears the bytes from nOldSize to nNewSize. With p null or nOldSize 0 it gives a new, cleared
/// block, and p is dropped without being freed.
RV_API void* R_LocalReallocInit(void* p, uint32_t nOldSize, uint32_t nNewSize, int32_t nLine,
                                const char* pFile) RV_NOEXCEPT;
/// Frees a block of the plain heap; null is allowed. The three names are one function.
RV_API void R_LocalFree(void* p) RV_NOEXCEPT;
RV_API void R_KrnLocalFree(void* p) RV_NOEXCEPT;
RV_API void R_FreeBuffer(void* p) RV_NOEXCEPT;
/// A plain block of nSize bytes, cleared when bClear is not 0.
RV_API void* R_KrnLocalAlloc(uint32_t nSize, int32_t bClear) RV_NOEXCEPT;

// ---- blocks with back-pointer ------------------------------------------------------------------------------------

/// A cleared block of nCount x nSize bytes with the alignment of malloc. The word before the data holds the block's
/// MEMHANDLE (kind 3, flags 66), so that any module can free it. Freed with R_GlobalFree.
RV_API void* R_GlobalAlloc(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
RV_API void* R_GlobalAllocInit(uint32_t nCount, uint32_t nSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
/// Resizes a block by the handle in the word before p; grown bytes are cleared. Null when memory is short. Without a
/// valid handle there, or for a null p, the result is a fresh block of 66 bytes, whatever was asked for.
RV_API void* R_GlobalRealloc(void* p, uint32_t nNewSize) RV_NOEXCEPT;
/// Frees block and handle if the word before p holds a valid handle, else does nothing. p must not be null: the word
/// before it is read, and if that may be a handle, the one before that too, which holds the mark of a block. Always 1.
RV_API int32_t R_GlobalFree(void* p) RV_NOEXCEPT;
RV_API int32_t R_KrnGlobalFree(void* p) RV_NOEXCEPT;
/// R_GlobalAlloc(nSize, 1), or R_GlobalAllocInit when bClear is not 0.
RV_API void* R_KrnGlobalAlloc(uint32_t nSize, int32_t bClear) RV_NOEXCEPT;

// ---- movable-memory handles --------------------------------------------------------------------------------------

/// A handle of kind 3 over nSize bytes; the data is cleared when uFlags has 0x40. Null when memory is short.
RV_API MEMHANDLE* R_OsAllocHandle(uint32_t uFlags, uint32_t nSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
/// Always flags 66 and cleared; uFlags is not consulted.
RV_API MEMHANDLE* R_OsAllocHandleInit(uint32_t uFlags, uint32_t nSize, int32_t nLine, const char* pFile) RV_NOEXCEPT;
RV_API MEMHANDLE* WinGlobalAlloc(uint32_t uFlags, uint32_t nSize) RV_NOEXCEPT;
/// Resizes the data of h. With 0x80 in uFlags only uFlags & 2 is stored in the handle. With 0x40 grown bytes are
/// cleared. A null h allocates with the two arguments crossed: uFlags bytes, flags nNewSize. Gives h, or null for a bad
/// handle or when memory is short; the handle is then as it was.
RV_API MEMHANDLE* R_OsReallocHandle(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) RV_NOEXCEPT;
RV_API MEMHANDLE* WinGlobalReAlloc(MEMHANDLE* h, uint32_t nNewSize, uint32_t uFlags) RV_NOEXCEPT;
/// The data of h; null for a bad handle. Nothing is counted.
RV_API void* R_OsLockHandle(MEMHANDLE* h) RV_NOEXCEPT;
RV_API void* WinGlobalLock(MEMHANDLE* h) RV_NOEXCEPT;
/// 1, nothing else.
RV_API int32_t R_OsUnlockHandle(MEMHANDLE* h) RV_NOEXCEPT;
RV_API int32_t WinGlobalUnlock(MEMHANDLE* h) RV_NOEXCEPT;
/// Frees h. Always 0.
RV_API int32_t R_OsFreeHandle(MEMHANDLE* h) RV_NOEXCEPT;
/// Null when h was freed, h when it is no handle of kind 3.
RV_API MEMHANDLE* WinGlobalFree(MEMHANDLE* h) RV_NOEXCEPT;
/// The handle in the word before p, or null when there is no valid one. Reads both words before p, as R_GlobalFree
/// does.
RV_API MEMHANDLE* WinGlobalHandle(const void* p) RV_NOEXCEPT;
/// Usable bytes; 0 for a bad handle.
RV_API uint32_t WinGlobalSize(MEMHANDLE* h) RV_NOEXCEPT;
/// Allocation flags; 32768 for a bad handle.
RV_API uint32_t WinGlobalFlags(MEMHANDLE* h) RV_NOEXCEPT;

/// Closes a handle of any kind. Always 1.
RV_API int32_t R_WinCloseHandle(RVHANDLE h, int32_t nLine, const char* pFile) RV_NOEXCEPT;
/// Wraps a handle of the operating system (on Linux a file descriptor as a pointer-sized number, or an object of the
/// platform layer) in a MEMHANDLE of kind 9, to be closed with R_WinCloseHandle. Null gives null, all ones gives all
/// ones; null also when memory is short, and the caller still owns hOs then.
RV_API MEMHANDLE* R_CreateHandle(void* hOs) RV_NOEXCEPT;

// ---- primitives --------------------------------------------------------------------------------------------------

/// memcpy and memmove; they return pDst.
RV_API void* R_MemoryCopy(void* pDst, const void* pSrc, size_t nBytes) RV_NOEXCEPT;
RV_API void* R_Krn_memcpy(void* pDst, const void* pSrc, size_t nBytes) RV_NOEXCEPT;
RV_API void* R_MemoryMove(void* pDst, const void* pSrc, size_t nBytes) RV_NOEXCEPT;
/// memcmp.
RV_API int32_t R_MemoryCompare(const void* pA, const void* pB, size_t nBytes) RV_NOEXCEPT;
RV_API int32_t R_Krn_memcmp(const void* pA, const void* pB, size_t nBytes) RV_NOEXCEPT;
/// Compares bytes with the letters A to Z taken as small; the sign is that of the first difference.
RV_API int32_t R_MemoryCompareI(const void* pA, const void* pB, size_t nBytes) RV_NOEXCEPT;
/// memset; returns pDst.
RV_API void* R_MemorySet(void* pDst, int32_t nValue, size_t nBytes) RV_NOEXCEPT;
RV_API void* R_Krn_memset(void* pDst, int32_t nValue, size_t nBytes) RV_NOEXCEPT;
/// The first byte equal to ch; null when there is none or nBytes is 0.
RV_API void* R_MemoryChr(const void* p, int32_t ch, size_t nBytes) RV_NOEXCEPT;

// ---- kept entry points -------------------------------------------------------------------------------------------

/// Entry points of a leak-logging build and of narrow text; they do nothing and hand back their first argument.
RV_API void* R_ResourceAdd(void* p) RV_NOEXCEPT;
RV_API void* R_ResourceRemove(void* p) RV_NOEXCEPT;
RV_API void* R_ResourceLog(void* p) RV_NOEXCEPT;
RV_API void* R_ResourceLogStart(void* p) RV_NOEXCEPT;
RV_API void* R_ResourceLogStop(void* p) RV_NOEXCEPT;
RV_API void* R_ResourceLeakDetect(void* p) RV_NOEXCEPT;
RV_API void* R_ResourceLeakReport(void* p) RV_NOEXCEPT;
RV_API void* R_T2WHelper(void* p) RV_NOEXCEPT;
RV_API void* R_T2WHelperFree(void* p) RV_NOEXCEPT;
RV_API void* R_W2THelper(void* p) RV_NOEXCEPT;
RV_API void* R_W2THelperFree(void* p) RV_NOEXCEPT;
RV_API void* R_DebugLoadLib(void* p) RV_NOEXCEPT;
RV_API void* R_GetRavoLoadFunction(void* p) RV_NOEXCEPT;

RV_C_END
