// Redirected I/O: all file access of the library goes through a table of seven callbacks, which a caller can replace for
// the process, for a thread, or for one pseudo file name.
#pragma once

#include "types.h"

RV_C_BEGIN

/// An open file, as a table's callbacks and their callers know it. Null and all ones are never valid.
typedef void* RVFILE;
#define RV_INVALID_FILE ((RVFILE)(intptr_t)-1)

/// Gives a handle, or RV_INVALID_FILE. The flags and the mode are told at R_OsOpen.
typedef RVFILE (*PFNREDIRECTOPEN)(const char16_t* pszName, int32_t nFlags, int32_t nMode, void* pUserData);
/// Gives the bytes read, 0 at the end, or -1.
typedef int32_t (*PFNREDIRECTREAD)(RVFILE hFile, void* pBuffer, uint32_t uBytes, void* pUserData);
/// Gives the bytes written, or -1. A call with 0 bytes is legal, and cuts the file at its position.
typedef int32_t (*PFNREDIRECTWRITE)(RVFILE hFile, const void* pBuffer, uint32_t uBytes, void* pUserData);
/// Moves from the start (0), the position (1) or the end (2); gives the new position, or -1.
typedef int64_t (*PFNREDIRECTSEEK)(RVFILE hFile, int64_t nOffset, int32_t nOrigin, void* pUserData);
/// Gives a status; a negative one means that the file is still open.
typedef int32_t (*PFNREDIRECTCLOSE)(RVFILE hFile, void* pUserData);
/// Gives 1, or 0. The flags are told at R_SetRedirectFunctions.
typedef int32_t (*PFNREDIRECTCOPY)(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags, void* pUserData);
typedef int32_t (*PFNREDIRECTDELETE)(const char16_t* pszName, void* pUserData);

/// The table: each function has user data of its own. In a table that is passed to a call a function of 0 leaves its slot
/// alone, -1 empties it and -2 puts back the default.
typedef struct REDIRECTIO {
    uint32_t uStructSize;
    uint32_t uReserved;  ///< copied, not read
    PFNREDIRECTOPEN pfnOpen;
    void* pOpenUserData;
    PFNREDIRECTREAD pfnRead;
    void* pReadUserData;
    PFNREDIRECTWRITE pfnWrite;
    void* pWriteUserData;
    PFNREDIRECTSEEK pfnSeek;
    void* pSeekUserData;
    PFNREDIRECTCLOSE pfnClose;
    void* pCloseUserData;
    PFNREDIRECTCOPY pfnCopy;
    void* pCopyUserData;
    PFNREDIRECTDELETE pfnDelete;
    void* pDeleteUserData;
} REDIRECTIO;
RV_RECORD_SIZE(REDIRECTIO, 64, 120);

RV_C_END
