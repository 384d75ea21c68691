// Redirected I/O: all file access of the library goes through a table of seven callbacks, which a caller can replace
// for the process, for a thread, or for one pseudo file name. A file keeps the table that it was opened with, so that a
// later change doesn't tear it apart.
//
// A table that is in force has functions in some slots, and none in those that are empty. Where a call meets an empty
// slot it fails as if the function had failed: RV_INVALID_FILE, -1, a status of 0 for a copy; closing gives 0.
#pragma once

#include "types.h"

RV_C_BEGIN

/// An open file. To the callbacks of a table it is what their pfnOpen gave, which may be anything but all ones; to the
/// callers of R_Redirected calls it is the library's wrapper around that, and never null.
typedef void* RVFILE;
#define RV_INVALID_FILE ((RVFILE)(intptr_t)-1)

/// Gives a handle, or RV_INVALID_FILE. The flags and the mode are told at R_OsOpen. A null name may be passed on.
typedef RVFILE (*PFNREDIRECTOPEN)(const char16_t* pszName, int32_t nFlags, int32_t nMode, void* pUserData);
/// Gives the bytes read, 0 at the end, or -1.
typedef int32_t (*PFNREDIRECTREAD)(RVFILE hFile, void* pBuffer, uint32_t uBytes, void* pUserData);
/// Gives the bytes written, or -1. A call with 0 bytes is legal, and cuts the file at its position.
typedef int32_t (*PFNREDIRECTWRITE)(RVFILE hFile, const void* pBuffer, uint32_t uBytes, void* pUserData);
/// Moves from the start (0), the position (1) or the end (2); gives the new position, or -1.
typedef int64_t (*PFNREDIRECTSEEK)(RVFILE hFile, int64_t nOffset, int32_t nOrigin, void* pUserData);
/// Gives a status; a negative one means that the file is still open.
typedef int32_t (*PFNREDIRECTCLOSE)(RVFILE hFile, void* pUserData);
/// Gives 1, or 0. Flags: the source is a file of the system's (0x02), redirected (0x04) or temporary (0x08), and so is
/// the destination (0x10, 0x20, 0x40); 0x01 fails where the destination exists.
typedef int32_t (*PFNREDIRECTCOPY)(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags,
                                   void* pUserData);
/// Gives 1, or a status.
typedef int32_t (*PFNREDIRECTDELETE)(const char16_t* pszName, void* pUserData);

/// The table: each function has user data of its own, which goes where the function goes. In a table that is passed to
/// a call a function of 0 leaves its slot alone, -1 (all bits set) empties it and -2 puts back the default.
///
/// The default is the files of the system: R_OsOpen, R_OsRead, R_OsWrite, R_OsSeek, R_OsClose, the copy of R_CopyFile,
/// and a delete that gives 1, or a status: -1847 for a null name, else that of R_OsGetLastError(-1847). User data is
/// null.
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

// ---- tables of the process and of a thread -----------------------------------------------------------------------

// There is a table for normal files and one for temporary files; nScope is 0 or 1. A thread has slots of its own, empty
// at first. In force on it is the table of the process with the thread's slots, where they aren't empty, in the place
// of the process's.

/// Exchanges the slots of pTable that aren't 0 with those of the calling thread, or of the process with bGlobal. What
/// pTable then holds puts the former state back when it is passed again: a slot that the thread had empty is given back
/// as -1. The process's slots are never empty: there a -1 leaves its slot alone, and is given back as 0.
/// Returns 1, or: -814 null, -789 unknown uStructSize, -16 nScope 2, -13 another nScope.
RV_API int32_t R_SetRedirectFunctions(REDIRECTIO* pTable, int32_t nScope, int32_t bGlobal) RV_NOEXCEPT;

/// Tells a table. nScope: 0 and 1 the one in force on the calling thread, or the process's with bGlobalOnly; 2 the
/// layer that keeps temporary files in memory; 3 the default. Returns 1, or: -814 null, -789 uStructSize is not the
/// size of the record, -13 another nScope.
RV_API int32_t R_GetRedirectFunctions(REDIRECTIO* pTable, uint32_t uStructSize, int32_t nScope,
                                      int32_t bGlobalOnly) RV_NOEXCEPT;
/// R_GetRedirectFunctions, but for a pseudo name the table that it is registered with: -814 and -789 as above, -8 a
/// name that only begins like one, -10 not registered. A null name is none.
RV_API int32_t R_GetRedirectFunctions2(const char16_t* pszName, REDIRECTIO* pTable, uint32_t uStructSize,
                                       int32_t nScope, int32_t bGlobalOnly) RV_NOEXCEPT;

/// Sets the five slots of this thread that are about an open file, for normal files; pUserData goes to all of them. A
/// function of 0 or -2 is the default; -1 empties the slot, so that the process's is in force again. Always 1.
RV_API int32_t R_RedirectIO(PFNREDIRECTOPEN pfnOpen, PFNREDIRECTREAD pfnRead, PFNREDIRECTWRITE pfnWrite,
                            PFNREDIRECTSEEK pfnSeek, PFNREDIRECTCLOSE pfnClose, void* pUserData) RV_NOEXCEPT;

/// PFNREDIRECTOPEN with a narrow name, in UTF-8.
typedef RVFILE (*PFNREDIRECTOPENA)(const char* pszName, int32_t nFlags, int32_t nMode, void* pUserData);
/// R_RedirectIO with an open callback for narrow names. A thread has one such callback at a time: wherever its slot is
/// put, it calls the one that was last set.
RV_API int32_t R_RedirectIOA(PFNREDIRECTOPENA pfnOpen, PFNREDIRECTREAD pfnRead, PFNREDIRECTWRITE pfnWrite,
                             PFNREDIRECTSEEK pfnSeek, PFNREDIRECTCLOSE pfnClose, void* pUserData) RV_NOEXCEPT;

/// Exchanges the same five slots, each that a pointer is given for. A function of 0 leaves its slot alone; the old one
/// is given back in any case, -1 for an empty slot. User data is exchanged whenever its pointer is given. Always 1.
RV_API int32_t R_FilterIO(PFNREDIRECTOPEN* ppfnOpen, PFNREDIRECTREAD* ppfnRead, PFNREDIRECTWRITE* ppfnWrite,
                          PFNREDIRECTSEEK* ppfnSeek, PFNREDIRECTCLOSE* ppfnClose, void** ppOpenData, void** ppReadData,
                          void** ppWriteData, void** ppSeekData, void** ppCloseData) RV_NOEXCEPT;
/// Tells the user data of the table in force on this thread for normal files; null pointers are skipped. Always 1.
RV_API int32_t R_GetFilterIOData(void** ppOpenData, void** ppReadData, void** ppWriteData, void** ppSeekData,
                                 void** ppCloseData) RV_NOEXCEPT;

/// 1 where one of those five functions in force on this thread is not the default, where pszName is a pseudo name, or
/// where hFile is an open file with such a function; else 0. Both arguments may be null.
RV_API int32_t R_UsesRedirectIO(const char16_t* pszName, RVFILE hFile) RV_NOEXCEPT;

// ---- pseudo names ------------------------------------------------------------------------------------------------

// "RAVORedirect://%08X-%08X" with two numbers in hexadecimal. A name of this form is opened by the table that it is
// registered with, on all threads.

/// The room in characters, its terminator among them, that a unique name wants.
enum { RV_REDIRECT_NAME_SIZE = 50 };

/// Makes a pseudo name that this call has not given before. uSize is the room at pszName in characters. Returns 1, or:
/// -814 null, -290 uSize is below RV_REDIRECT_NAME_SIZE.
RV_API int32_t R_GetUniqueRedirectFileName(char16_t* pszName, uint32_t uSize) RV_NOEXCEPT;
RV_API int32_t R_GetUniqueRedirectFileNameA(char* pszName, uint32_t uSize) RV_NOEXCEPT;

/// Registers a table, which is copied, for a pseudo name, or removes the name with a null table. Slots of 0 and -1 are
/// empty, -2 is the default. With an empty name a unique one is made and stored in pszName, which has room for uSize
/// characters. Returns 1, or, with nothing changed: -814 null name, -789 unknown uStructSize, -290 no room for a unique
/// name, -8 no pseudo name, -1850 the name is registered, -10 it is not, to be removed, -1 no memory.
RV_API int32_t R_SetGlobalRedirectFunctions(char16_t* pszName, uint32_t uSize, const REDIRECTIO* pTable) RV_NOEXCEPT;
/// R_SetGlobalRedirectFunctions with a narrow name. A unique name that doesn't fit uSize bytes is removed again: -1851.
RV_API int32_t R_SetGlobalRedirectFunctionsA(char* pszName, uint32_t uSize, const REDIRECTIO* pTable) RV_NOEXCEPT;

// ---- open files --------------------------------------------------------------------------------------------------

/// Opens a file through the table of its pseudo name, or the one in force on this thread. Returns its wrapper, to be
/// closed with R_RedirectedClose. RV_INVALID_FILE: the callback failed, no such pseudo name, no memory; nothing is left
/// open then. A null name is passed on.
RV_API RVFILE R_RedirectedOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode) RV_NOEXCEPT;
RV_API RVFILE R_RedirectedOpenA(const char* pszName, int32_t nFlags, int32_t nMode) RV_NOEXCEPT;
RV_API RVFILE R_RedirectedOpenUTF8(const char* pszName, int32_t nFlags, int32_t nMode) RV_NOEXCEPT;

/// Each passes on to the file's callback, and gives its result; -1 for a handle that is no wrapper.
RV_API int32_t R_RedirectedRead(RVFILE hFile, void* pBuffer, uint32_t uBytes) RV_NOEXCEPT;
RV_API int32_t R_RedirectedWrite(RVFILE hFile, const void* pBuffer, uint32_t uBytes) RV_NOEXCEPT;
RV_API int64_t R_RedirectedSeek(RVFILE hFile, int64_t nOffset, int32_t nOrigin) RV_NOEXCEPT;

/// Goes on in pieces until all is done or a piece gives 0; the bytes moved, or -1 where a piece fails. 0 bytes give 0,
/// and the callback isn't called.
RV_API int64_t R_RedirectedReadBig(RVFILE hFile, void* pBuffer, uint64_t uBytes) RV_NOEXCEPT;
RV_API int64_t R_RedirectedWriteBig(RVFILE hFile, const void* pBuffer, uint64_t uBytes) RV_NOEXCEPT;

/// Closes a file: the callback's result. With a negative one the file stays open. -814 null, -261 no wrapper.
RV_API int32_t R_RedirectedClose(RVFILE hFile) RV_NOEXCEPT;

/// Wraps what a pfnOpen gave, with the table in force on this thread for normal files. Closing the wrapper gives 0 and
/// leaves hFile open. Returns 1, or: -13 hFile is all ones, -814 null phWrapped, -1 no memory.
RV_API int32_t R_CreateRedirectedFileHandle(RVFILE hFile, RVFILE* phWrapped) RV_NOEXCEPT;
/// What the wrapper holds; all ones for what is no wrapper.
RV_API RVFILE R_ExtractRedirectedFileHandle(RVFILE hFile) RV_NOEXCEPT;

/// Exchanges the slots of pTable that aren't 0 with those of an open file; an empty one is given back as -1. Not while
/// a call on the file runs. Returns 1, or: -814 null table, -789 unknown uStructSize, -1852 no wrapper.
RV_API int32_t R_UpdateRedirectFunctions(RVFILE hFile, REDIRECTIO* pTable) RV_NOEXCEPT;
/// Tells the table of an open file. Returns 1, or: -1852 no wrapper, -814 null, -789 uStructSize is not the size of the
/// record.
RV_API int32_t R_ExtractRedirectFunctions(RVFILE hFile, REDIRECTIO* pTable, uint32_t uStructSize) RV_NOEXCEPT;

// ---- a buffer in place of files ----------------------------------------------------------------------------------

/// A redirection to memory, between start and stop.
typedef struct RBUFFERIO* RVBUFFERIO;

enum {
    RV_BUFFER_GROWS = 0x01,     ///< the buffer may grow, and is the redirection's until the stop
    RV_BUFFER_CUT = 0x02,       ///< with RV_BUFFER_GROWS: it is cut to its length at each close
    RV_BUFFER_HAS_DATA = 0x04,  ///< it holds uSize bytes of data at the start, and is never cut
    RV_BUFFER_WRITABLE = 0x08   ///< writing is allowed
};

/// Makes a buffer the one file of this thread: whatever name is opened on it, the buffer is what is read and written,
/// with one position for all handles. uSize is its size in bytes; a null pBuffer has none. Only a block of
/// R_GlobalAlloc or null can grow, by 32768 bytes and more at a time; a write is cut short where the buffer ends
/// otherwise. Opening moves the position to 0, and with flag 0x200 empties the buffer. Positions past the length are
/// allowed: reading there fails, and writing does past the buffer's end. A write of 0 bytes sets the length to the
/// position. *phBuffer receives the redirection. *phFile, if given, receives a file on the buffer that needs no open,
/// and is to be closed before the stop. Redirections of a thread are stopped in reverse order, by that thread, when no
/// file is open on them. Returns 1, or, with nothing changed: -13 null phBuffer, -1 no memory.
RV_API int32_t R_StartRedirectToBuffer(RVBUFFERIO* phBuffer, RVFILE* phFile, uint32_t uFlags, void* pBuffer,
                                       uint32_t uSize) RV_NOEXCEPT;
/// Puts the thread's former slots back. *ppBuffer receives the buffer, which may have moved and is the caller's again,
/// *puLength the length of its data. Either may be null; a buffer that the caller doesn't know is freed without
/// ppBuffer. Returns 1, or -13 for a null hBuffer.
RV_API int32_t R_StopRedirectToBuffer(RVBUFFERIO hBuffer, void** ppBuffer, uint32_t* puLength) RV_NOEXCEPT;

RV_C_END
