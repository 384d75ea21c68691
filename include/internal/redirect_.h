// What the file services share: the effective table of a thread, and the wrapper around an open file.
#pragma once

#include "ravokit/files.h"

namespace rv {

// Open flags with a meaning for the library's own files, and the modes and flags that it opens with.
enum : int32_t {
    kOpenRead = 0,
    kOpenReadWrite = 2,
    kOpenTemporary = 0x40,
    kOpenCreate = 0x100,
    kOpenTruncate = 0x200,
    kModeRead = 0x100,
    kModeReadWrite = 0x180
};

inline bool isOpenFile(RVFILE h) noexcept { return h && h != RV_INVALID_FILE; }

enum class RedirectScope { normal, temporary };

// The global table with the calling thread's slots laid over it.
REDIRECTIO effectiveTable(RedirectScope scope) noexcept;

// What stands in a table that nobody has changed.
extern const REDIRECTIO kDefaultRedirection;
int32_t copyFile(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags, void* pUserData) noexcept;
int32_t deleteFile(const char16_t* pszName, void* pUserData) noexcept;

// A caller's table for an owner that has none yet: its -2 slots are the default, its 0 and -1 slots empty.
REDIRECTIO resolvedTable(const REDIRECTIO& table) noexcept;

// The table that a pseudo file name is registered with: 1, or -8 for no such name, -10 where none is.
int32_t findRegisteredTable(const char16_t* pszName, REDIRECTIO& table) noexcept;
inline bool registeredTable(const char16_t* pszName, REDIRECTIO& table) noexcept {
    return findRegisteredTable(pszName, table) == 1;
}
// Whether a name is of the pseudo scheme.
bool isSchemeName(const char16_t* pszName) noexcept;

// What R_RedirectedOpen returns: a plain heap block.
enum class RedirectKind : uint32_t { normal = 0, temporary = 2, registered = 4 };
struct RFILEHANDLE {
    char magic[4];  // "RFIL"
    RVFILE hFile;   // the inner handle
    RedirectKind nKind;
    REDIRECTIO table;
};

// The wrapper behind a handle; null for what is none.
RFILEHANDLE* wrapperOf(RVFILE hFile) noexcept;
// A wrapper, to be freed with its file's close; null when memory is short.
RFILEHANDLE* newWrapper(RVFILE hInner, const REDIRECTIO& table, RedirectKind kind) noexcept;

// Opens a file through a table, and wraps it; RV_INVALID_FILE on any failure, with nothing left open.
RVFILE openWrapped(const char16_t* pszName, int32_t nFlags, int32_t nMode, const REDIRECTIO& table,
                   RedirectKind kind) noexcept;

// The table of the temporary-file layer itself, all user data null: what opens, reads, writes, seeks and closes files
// that may live in memory. Its files are inner handles, to be wrapped by openWrapped.
REDIRECTIO temporaryLayerTable() noexcept;

// Whether a name was given out or taken up by the temporary-file layer.
bool isTemporaryName(const char16_t* pszName) noexcept;

// R_CopyFile and R_CopyFile2 below their names; the flags are those of PFNREDIRECTCOPY. 1, or 0, or
// -13 where a side has none.
int32_t R_IntCopyFile(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags) noexcept;

}  // namespace rv
