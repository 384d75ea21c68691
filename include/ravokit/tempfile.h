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

RV_C_END
