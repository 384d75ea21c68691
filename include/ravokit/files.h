// Files of the operating system, and copies of files.
//
// The R_Os calls are the default callbacks of the redirection tables, so the first five take the user data of a
// callback last: it is not consulted, and may be left out in C++. Names are UTF-16, both "\" and "/" separate. A file
// belongs to one thread at a time. Failures give -1, with the reason in R_OsGetLastError.
#pragma once

#include "redirect.h"

#ifdef __cplusplus
#define RV_OS_USER_DATA void* pUserData = nullptr
#else
#define RV_OS_USER_DATA void* pUserData
#endif

RV_C_BEGIN

// ---- open files --------------------------------------------------------------------------------------------------

/// Opens a file; it is a handle of kind 9, and closed with R_OsClose. RV_INVALID_FILE on failure, also for a null name
/// and a directory.
/// nFlags, which are those of every pfnOpen: the low two bits 0 read, 1 write, 2 or 3 both; 0x100 makes a new file or
/// empties an old one; 0x200 without it empties an old file, for which write access is wanted; with neither the file
/// must be there. 0x40 takes the name away at once, so that the file goes with its handle. A file that is made to be
/// read is read-only. Other bits are not consulted.
/// nMode is the sharing: 0x80 and 0x100 for readers and writers, 0x100 for readers, else for nobody. It is taken
/// without effect: opening a file here doesn't lock it.
RV_API RVFILE R_OsOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode, RV_OS_USER_DATA) RV_NOEXCEPT;

/// Reads at the position. The bytes read, fewer than asked at the end of the file, 0 there, or -1, also for a null
/// buffer. A request above INT32_MAX is cut to it, here and in R_OsWrite.
RV_API int32_t R_OsRead(RVFILE hFile, void* pBuffer, uint32_t uBytes, RV_OS_USER_DATA) RV_NOEXCEPT;
/// Writes at the position; 0 bytes end the file there, and give 0. The bytes written, fewer than asked where the disk
/// is full, or -1.
RV_API int32_t R_OsWrite(RVFILE hFile, const void* pBuffer, uint32_t uBytes, RV_OS_USER_DATA) RV_NOEXCEPT;
/// Moves the position from the start (nOrigin 0), the position (1) or the end (2). The new position, or -1 with nothing
/// changed, also for another origin.
RV_API int64_t R_OsSeek(RVFILE hFile, int64_t nOffset, int32_t nOrigin, RV_OS_USER_DATA) RV_NOEXCEPT;
/// Closes a file. 0, or -1 for what is no file, and where the system refuses; the handle is gone then too.
RV_API int32_t R_OsClose(RVFILE hFile, RV_OS_USER_DATA) RV_NOEXCEPT;

/// Makes a new file, or empties an old one. uAttributes: 1 a new file is read-only, and this handle reads only, else it
/// reads and writes; 8 takes the name away at once; 2 and 4, hidden and of the system, have no counterpart here.
RV_API RVFILE R_OsCreat(const char16_t* pszName, uint32_t uAttributes) RV_NOEXCEPT;

/// Reads until all is there. uBytes, or -1 on an error or an early end, with the position where that was. 0 bytes give
/// 0.
RV_API int64_t R_OsReadBig(RVFILE hFile, void* pBuffer, uint64_t uBytes) RV_NOEXCEPT;
/// Writes until all is done. uBytes, or -1. 0 bytes give 0, and don't cut the file.
RV_API int64_t R_OsWriteBig(RVFILE hFile, const void* pBuffer, uint64_t uBytes) RV_NOEXCEPT;

/// Makes a file nSize bytes long, and moves its position there; what is added reads as 0. 0, or -1 with nothing
/// changed.
RV_API int32_t R_OsSetFileSize(RVFILE hFile, int64_t nSize) RV_NOEXCEPT;

// ---- names -------------------------------------------------------------------------------------------------------

/// Deletes a file. 0, or -1, also for a null name and a directory.
RV_API int32_t R_OsDelete(const char16_t* pszName) RV_NOEXCEPT;

/// 1 for a name that the temporary-file layer has set aside, or of a file or directory on disk; else 0.
RV_API int32_t R_FileExists(const char16_t* pszName) RV_NOEXCEPT;
RV_API int32_t R_FileExistsUTF8(const char* pszName) RV_NOEXCEPT;

/// Copies a file; the source is the system's, the destination goes through redirection. Returns 1, or 0 where a file
/// can't be opened, read or written, where both are one file, and with bFailIfExists where the destination can be
/// opened. An old destination is replaced; what was written before a failure stays.
RV_API int32_t R_CopyFile(const char16_t* pszSource, const char16_t* pszDest, int32_t bFailIfExists) RV_NOEXCEPT;
/// R_CopyFile with the source through redirection and the destination the system's.
RV_API int32_t R_CopyFile2(const char16_t* pszSource, const char16_t* pszDest, int32_t bFailIfExists) RV_NOEXCEPT;

// ---- the last error ----------------------------------------------------------------------------------------------

/// The status of the thread's last failure: by what R_OsSetLastError kept, which is forgotten with this call, else by
/// the system. 2 gives -10, file not found; 8 and 14 give -1, no memory; 112 gives -295, no disk space; 122 gives -290,
/// a buffer too small; any other nDefault.
RV_API int32_t R_OsGetLastError(int32_t nDefault) RV_NOEXCEPT;
/// Sets the reason of the thread's last failure, also for the system. 0 lets the system's count again.
RV_API void R_OsSetLastError(uint32_t nError) RV_NOEXCEPT;

RV_C_END
