// What the file services share: the effective table of a thread, and the wrapper around an open file.
#pragma once

#include "ravokit/redirect.h"

namespace rv {

inline bool isOpenFile(RVFILE h) noexcept { return h && h != RV_INVALID_FILE; }

enum class RedirectScope { normal, temporary };

// The global table with the calling thread's slots laid over it.
REDIRECTIO effectiveTable(RedirectScope scope) noexcept;

// The table that a pseudo file name is registered with; false where none is.
bool registeredTable(const char16_t* pszName, REDIRECTIO& table) noexcept;
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

// Opens a file through a table, and wraps it; RV_INVALID_FILE on any failure, with nothing left open.
RVFILE openWrapped(const char16_t* pszName, int32_t nFlags, int32_t nMode, const REDIRECTIO& table,
                   RedirectKind kind) noexcept;

// The table of the temporary-file layer itself, all user data null: what opens, reads, writes, seeks and closes files
// that may live in memory. Its files are inner handles, to be wrapped by openWrapped.
REDIRECTIO temporaryLayerTable() noexcept;

// Whether a name was given out or taken up by the temporary-file layer.
bool isTemporaryName(const char16_t* pszName) noexcept;

// R_CopyFile and R_CopyFile2 below their names; the flags are those of PFNREDIRECTCOPY. 1, or 0.
int32_t R_IntCopyFile(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags) noexcept;

}  // namespace rv
