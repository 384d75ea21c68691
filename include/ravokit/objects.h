// Emulated objects: handles and their closing, rectangles, critical sections, and the system's files, mappings,
// threads, events and mutexes behind handles of kind 9.
//
// The calls keep the names, the argument lists and the manner of reporting of the system calls that they stand in for:
// null, 0 or all ones, and no status codes. Handle records are not locked: a handle is closed by one thread, once, when
// no other is using it.
#pragma once

#include "types.h"
#ifndef __cplusplus
#include <stdalign.h>
#endif

RV_C_BEGIN

// ---- handles -----------------------------------------------------------------------------------------------------

/// Closes a handle of any kind and frees its record. Returns, in order of test: 0 for all ones; 1 for null; for kinds
/// 2, 6, 7 and 8, if a closing callback is set, its result, and the record stays with it; for kind 9 the system's
/// result (1, or 0 where it refuses); else 1. The three names are one function.
RV_API int32_t DeleteObject(RVHANDLE h) RV_NOEXCEPT;
RV_API int32_t CloseHandle(RVHANDLE h) RV_NOEXCEPT;
RV_API int32_t R_WinDeleteObject(RVHANDLE h) RV_NOEXCEPT;

/// Closes a handle of kind 2, 6, 7 or 8, whose record it then owns.
typedef int32_t (*PFNCLOSEHANDLE)(RVHANDLE h);

/// Sets the closing callback, null for none. It is process-wide and set at start-up, before other threads close
/// handles.
RV_API void R_SetCloseHandleEx(PFNCLOSEHANDLE pfnClose) RV_NOEXCEPT;

/// The system's handle behind a handle of kind 9, which stays its owner. All ones for all ones, and null for null and
/// any other kind.
RV_API void* R_ExtractHandle(RVHANDLE hHandle) RV_NOEXCEPT;

// ---- rectangles --------------------------------------------------------------------------------------------------

// Rectangles are half open: right and bottom lie outside. A rectangle without width or height, or with a negative one,
// is empty. Every call returns 0, with nothing changed, where a pointer is null. Sums wrap around at 32 bits. A result
// may be one of the operands.

/// Always 1.
RV_API int32_t SetRect(RECT* pRect, int32_t nLeft, int32_t nTop, int32_t nRight, int32_t nBottom) RV_NOEXCEPT;
/// 1 for an empty rectangle.
RV_API int32_t IsRectEmpty(const RECT* pRect) RV_NOEXCEPT;
/// 1 for a point inside.
RV_API int32_t PtInRect(const RECT* pRect, POINT pt) RV_NOEXCEPT;
/// What both rectangles cover. 1, or 0 with all four fields 0 where that is nothing.
RV_API int32_t IntersectRect(RECT* pDst, const RECT* pSrc1, const RECT* pSrc2) RV_NOEXCEPT;
/// Moves the left and right sides outwards by dx, the top and bottom ones by dy; inwards where they are negative. 1.
RV_API int32_t InflateRect(RECT* pRect, int32_t dx, int32_t dy) RV_NOEXCEPT;
/// Always 1.
RV_API int32_t CopyRect(RECT* pDst, const RECT* pSrc) RV_NOEXCEPT;
/// The smallest rectangle around both; an empty one doesn't count. 1, or 0 with all four fields 0 if both are empty.
RV_API int32_t UnionRect(RECT* pDst, const RECT* pSrc1, const RECT* pSrc2) RV_NOEXCEPT;
/// Moves the rectangle. Always 1.
RV_API int32_t OffsetRect(RECT* pRect, int32_t dx, int32_t dy) RV_NOEXCEPT;

// ---- critical sections -------------------------------------------------------------------------------------------

/// A lock that its owner may take again: opaque storage, which must not be moved or copied while the lock stands.
typedef struct CRITICALSECTION {
    alignas(max_align_t) unsigned char storage[64];
} CRITICALSECTION;

/// Makes a lock in pSection; the pointer is trusted here and below. 1, or 0 where the system refuses.
RV_API int32_t R_IntInitializeCriticalSection(CRITICALSECTION* pSection) RV_NOEXCEPT;
/// Ends a lock that nobody holds.
RV_API void R_IntDeleteCriticalSection(CRITICALSECTION* pSection) RV_NOEXCEPT;
/// Waits for the lock and takes it; each Enter wants its Leave, by the same thread.
RV_API void R_IntEnterCriticalSection(CRITICALSECTION* pSection) RV_NOEXCEPT;
RV_API void R_IntLeaveCriticalSection(CRITICALSECTION* pSection) RV_NOEXCEPT;

// ---- files -------------------------------------------------------------------------------------------------------

// Names are UTF-16, and UTF-8 for the system. The system's reason for a failure is left in errno.

/// Opens a file; the handle is closed with CloseHandle. All ones on failure, also for a null name, a directory without
/// the flag for one, and an unknown disposition.
/// uAccess: 0x80000000 or 1 read, 0x40000000 or 2 write, 4 append, 0x10000000 both; 0 asks for no more than that the
/// file is there. uDisposition: 1 a new file, 2 a new file or an old one emptied, 3 an old file, 4 an old file or a new
/// one, 5 an old file emptied, for which write access is wanted. uFlags: 1 makes a new file read-only, 0x80000000
/// writes through, 0x04000000 takes the name away at once so that the file goes with its last handle, 0x02000000 opens
/// a directory too; other bits are hints and not consulted. Nor are uShare, since opening a file here doesn't lock it,
/// pSecurity and hTemplate.
RV_API RVHANDLE R_WinCreateFileW(const char16_t* pszName, uint32_t uAccess, uint32_t uShare, const void* pSecurity,
                                 uint32_t uDisposition, uint32_t uFlags, RVHANDLE hTemplate) RV_NOEXCEPT;

/// Moves the position of a file by a signed distance of 64 bits, nLow its low half and *pHigh its high one, from the
/// start (uMethod 0), the position (1) or the end (2). Without pHigh, nLow is the whole signed distance. Returns the
/// low half of the new position, and *pHigh receives the high one. Failure gives 0xFFFFFFFF with nothing changed: a
/// handle that is no file's, an unknown method, a position below 0, and without pHigh one that 32 bits can't tell. That
/// value is a position too where errno is 0.
RV_API uint32_t R_SetFilePointer(RVHANDLE hFile, int32_t nLow, int32_t* pHigh, uint32_t uMethod) RV_NOEXCEPT;

/// Renames or moves a file or directory. uFlags: 1 replaces an existing file (without it an existing target refuses), 2
/// allows a copy where the target lies on another device (of a plain file), 8 returns when the disk has it. 1, or 0 for
/// a null name, other flags, and what the system refuses; both names are then as they were, except that a source that
/// was copied but can't be removed stays beside its copy.
RV_API int32_t R_MoveFileEx(const char16_t* pszOld, const char16_t* pszNew, uint32_t uFlags) RV_NOEXCEPT;

// ---- system objects ----------------------------------------------------------------------------------------------

// Handles of kind 9, closed with CloseHandle; the object lives until the last handle to it is closed. The calls return
// null on failure. pSecurity is not consulted. Objects with a name are known by it within the process: making one whose
// name is taken gives another handle to the object that has it, or null if that is of another kind.

/// A mapping of a file, of uMaxHigh:uMaxLow bytes, or of the whole file where these are 0; of cleared memory when hFile
/// is all ones, which wants a size. uProtect: 2 read, 4 read and write, 8 read with writes kept from the file;
/// 0x8000000 and 0x4000000 are allowed beside them. A file that is too short grows under 4 and is refused otherwise;
/// the file's access must allow the protection.
RV_API RVHANDLE R_WinCreateFileMappingW(RVHANDLE hFile, const void* pSecurity, uint32_t uProtect, uint32_t uMaxHigh,
                                        uint32_t uMaxLow, const char16_t* pszName) RV_NOEXCEPT;

typedef uint32_t (*THREADSTART)(void* pArgument);

/// Runs pfnStart(pArgument) on a new thread. uStackSize in bytes, 0 for the system's default. uFlags: 0, or 0x10000,
/// which changes nothing; a thread that starts suspended is refused. *pThreadId, if given, receives the system's number
/// of the thread. Closing the handle leaves the thread running.
RV_API RVHANDLE R_WinCreateThread(const void* pSecurity, size_t uStackSize, THREADSTART pfnStart, void* pArgument,
                                  uint32_t uFlags, uint32_t* pThreadId) RV_NOEXCEPT;
/// An event. With bManualReset it stays signalled until it is reset, else it lets one wait through.
RV_API RVHANDLE R_WinCreateEventW(const void* pSecurity, int32_t bManualReset, int32_t bInitialState,
                                  const char16_t* pszName) RV_NOEXCEPT;
/// A mutex, which its owner may take again; owned by the calling thread from the start with bInitialOwner, unless the
/// name was taken.
RV_API RVHANDLE R_WinCreateMutexW(const void* pSecurity, int32_t bInitialOwner, const char16_t* pszName) RV_NOEXCEPT;

/// Stores a second handle to the same object in *phTarget: of a file with the one position, of an object counted by its
/// handles. uOptions: 1 closes the source, whether a duplicate could be made or not, 2 asks for the same access; that
/// is what the duplicate has in any case, and uAccess is not consulted. With bInherit a file stays open in programs
/// that the process becomes. Returns 1, or 0 with nothing stored, in order of test: a process that is not all ones (the
/// process itself), a source that is not of kind 9, a null phTarget (but 1 if the source was to be closed, and was),
/// memory or descriptors short.
RV_API int32_t R_WinDuplicateHandle(RVHANDLE hSourceProcess, RVHANDLE hSource, RVHANDLE hTargetProcess,
                                    RVHANDLE* phTarget, uint32_t uAccess, int32_t bInherit,
                                    uint32_t uOptions) RV_NOEXCEPT;

// ---- clock and locale --------------------------------------------------------------------------------------------

/// Milliseconds of a clock that never goes back.
RV_API uint64_t GetCurrentTime(void) RV_NOEXCEPT;

/// setlocale for the calling thread alone: nCategory is one of the LC_ constants of <locale.h>, pLocale a locale's
/// name,
/// "" for the one that the environment tells, or null to ask. Returns the name that now holds, valid until the thread's
/// next call of either form; null, with nothing changed, for an unknown category or locale; null too when memory is too
/// short for the name.
RV_API const char* R_Setlocale(int32_t nCategory, const char* pLocale) RV_NOEXCEPT;
RV_API const char16_t* R_SetlocaleW(int32_t nCategory, const char16_t* pLocale) RV_NOEXCEPT;

RV_C_END
