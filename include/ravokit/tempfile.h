// Temporary files: names for scratch files, and files that live in memory, on disk, or start in memory and move to disk
// when they grow past a budget.
#pragma once

#include "redirect.h"

RV_C_BEGIN

// ---- options -----------------------------------------------------------------------------------------------------

/// What the room of a file name must be where its call takes no size: so many units, its terminator among them.
enum { RV_TEMP_NAME_SIZE = 4096 };

/// The options of temporary files, which are the process's. A file keeps those that it was opened with.
typedef struct TEMPFILEOPTIONS {
    uint32_t uStructSize;
    uint32_t uMode;           ///< 1 disk only, 2 memory and then disk (the default), 3 memory only; others as 1 at open
    uint32_t uReserved;       ///< stored, not read
    uint32_t uTotalMemoryMB;  ///< what all memory files together may hold, in MiB; default 64
    uint32_t uMaxFileMB;      ///< the most that one memory file may hold, in MiB; default 8
    uint32_t uBlockMB;  ///< size of one block of a memory file, in MiB; default 16, and 0 gives blocks of 2048 bytes
} TEMPFILEOPTIONS;
RV_RECORD_SIZE(TEMPFILEOPTIONS, 24, 24);

/// Sets the options; a uMode of 0 becomes 2. Returns 1, or: -814 null, -789 unknown size.
RV_API int32_t R_SetTempFileOptions(const TEMPFILEOPTIONS* pOptions) RV_NOEXCEPT;
/// Tells the options. Returns 1, or: -814 null, -789 uStructSize is not 24.
RV_API int32_t R_GetTempFileOptions(TEMPFILEOPTIONS* pOptions, uint32_t uStructSize) RV_NOEXCEPT;
/// The mode in force.
RV_API uint32_t R_GetTempFileMode(void) RV_NOEXCEPT;

/// Sets the directory for temporary files. Returns 1, or: -814 null, -1 no memory, -13 nothing of that name, 0 not a
/// directory.
RV_API int32_t R_SetTempDirectory(const char16_t* pszPath) RV_NOEXCEPT;
/// Tells the directory into a buffer of uSize characters. Where none was set the system's is taken, and kept from then
/// on. Returns 1, or: -814 null, -74 the system names none, -290 the buffer is too small, and nothing is written to it.
RV_API int32_t R_GetTempDirectory(char16_t* pszPath, uint32_t uSize) RV_NOEXCEPT;

// ---- names -------------------------------------------------------------------------------------------------------

/// A new name in the directory for temporary files, into a buffer of RV_TEMP_NAME_SIZE units. In modes 1 and 2 the
/// system makes an empty file of that name, which is the caller's to delete; in mode 3 the name is only set aside,
/// until R_DeleteTempFile. A null pszPrefix is "R_"; an empty one is "rtmp" in mode 3. Returns 1, or: -13 null name, -1
/// no directory, no memory, or no file can be made there.
RV_API int32_t R_GetTempFileName(char16_t* pszName, const char16_t* pszPrefix) RV_NOEXCEPT;
RV_API int32_t R_GetTempFileNameA(char* pszName, const char* pszPrefix) RV_NOEXCEPT;
RV_API int32_t R_GetTempFileNameUTF8(char* pszName, const char* pszPrefix) RV_NOEXCEPT;
/// R_GetTempFileName in a directory of the caller's; an empty one is the current directory. -13 for a null one too.
RV_API int32_t R_GetTempFileName2(const char16_t* pszDirectory, char16_t* pszName,
                                  const char16_t* pszPrefix) RV_NOEXCEPT;
RV_API int32_t R_GetTempFileName2A(const char* pszDirectory, char* pszName, const char* pszPrefix) RV_NOEXCEPT;
RV_API int32_t R_GetTempFileName2UTF8(const char* pszDirectory, char* pszName, const char* pszPrefix) RV_NOEXCEPT;
/// R_GetTempFileName with a prefix of the library's own.
RV_API int32_t R_OsGetTempName(char16_t* pszName) RV_NOEXCEPT;

/// R_GetTempFileName into a buffer of uSize units, with an extension of the caller's; a "." that it begins with is
/// skipped. None, or "tmp" in any case, leaves the name that was made. Else its file is deleted, and the name with the
/// other extension, in which a number takes the place of the old one where that is taken, is set aside until
/// R_DeleteTempFile; no file is made. Returns 1, or: -13 null name, -1 as R_GetTempFileName, -290 the name is too long
/// for the buffer or for RV_TEMP_NAME_SIZE, -74 no number is free, or the extension holds a "/" or "\\" and no "."
/// behind.
RV_API int32_t R_GetTempFileName3(char16_t* pszName, uint32_t uSize, const char16_t* pszPrefix,
                                  const char16_t* pszExtension) RV_NOEXCEPT;
RV_API int32_t R_GetTempFileName3A(char* pszName, uint32_t uSize, const char* pszPrefix,
                                   const char* pszExtension) RV_NOEXCEPT;
RV_API int32_t R_GetTempFileName3UTF8(char* pszName, uint32_t uSize, const char* pszPrefix,
                                      const char* pszExtension) RV_NOEXCEPT;

/// Deletes a temporary file and forgets its name. A memory file that is open goes with its last handle. The file on
/// disk is deleted by the temporary table's pfnDelete, whose status is the result; in mode 3 that is left out where
/// there was a memory file. Returns 1 for a null or empty name too, -1 when memory is short, -1847 if the table has no
/// pfnDelete.
RV_API int32_t R_DeleteTempFile(const char16_t* pszName) RV_NOEXCEPT;
RV_API int32_t R_DeleteTempFileA(const char* pszName) RV_NOEXCEPT;
RV_API int32_t R_DeleteTempFileUTF8(const char* pszName) RV_NOEXCEPT;

// ---- files -------------------------------------------------------------------------------------------------------

/// Opens a temporary file; the flags and the mode are those of R_OsOpen. A pseudo name that is registered is opened by
/// its table. A memory file of the name is opened once more: all its handles share contents and position, belong to one
/// thread at a time, and begin at its start, or at its end with flag 0x08; flag 0x200 empties it. Otherwise:
/// - mode 3: a new memory file, which needs flag 0x100;
/// - mode 2: a new, empty memory file, whatever stands on disk, while the memory files together hold less than
///   uTotalMemoryMB;
/// - else a file on disk, through the temporary table of the calling thread, which the file keeps.
/// A memory file moves to disk when a write needs more room than the options leave it. With flags 0x40 and 0x100 it is
/// deleted with its last handle; any other stays until R_DeleteTempFile.
/// Returns a handle for the calls below, or RV_INVALID_FILE: null or empty name, no memory, or the file can't be
/// opened.
RV_API RVFILE R_RedirectedTempFileOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode) RV_NOEXCEPT;
RV_API RVFILE R_RedirectedTempFileOpenA(const char* pszName, int32_t nFlags, int32_t nMode) RV_NOEXCEPT;
RV_API RVFILE R_RedirectedTempFileOpenUTF8(const char* pszName, int32_t nFlags, int32_t nMode) RV_NOEXCEPT;

/// R_RedirectedRead of a temporary file. In memory: the bytes read, 0 at the end and for a null buffer, -1 past the
/// end.
RV_API int32_t R_RedirectedTempFileRead(RVFILE hFile, void* pBuffer, uint32_t uBytes) RV_NOEXCEPT;
/// R_RedirectedWrite. In memory: the bytes written, at most INT32_MAX; -1 for a null buffer, for a file that was opened
/// to be read, and when a file that must move to disk cannot: it is then as it was. 0 bytes end the file at its
/// position.
RV_API int32_t R_RedirectedTempFileWrite(RVFILE hFile, const void* pBuffer, uint32_t uBytes) RV_NOEXCEPT;
/// R_RedirectedWriteBig.
RV_API int64_t R_RedirectedTempFileWriteBig(RVFILE hFile, const void* pBuffer, uint64_t uBytes) RV_NOEXCEPT;
/// R_RedirectedSeek. In memory: the new position, which may lie past the end but within 32 bits; else -1.
RV_API int64_t R_RedirectedTempFileSeek(RVFILE hFile, int64_t nOffset, int32_t nOrigin) RV_NOEXCEPT;
/// R_RedirectedClose. 0 for a memory file.
RV_API int32_t R_RedirectedTempFileClose(RVFILE hFile) RV_NOEXCEPT;

RV_C_END
