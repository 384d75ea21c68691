// Copies of files between the system, redirection and the temporary-file layer; and the deletion beside them in a
// table.
#include "internal/redirect_.h"
#include "internal/text.h"
#include "ravokit/tempfile.h"

namespace rv {
namespace {

constexpr uint32_t kFailIfExists = 0x01, kSourceShift = 1, kDestShift = 4;

// One side of a copy, by its bits in the flags moved down.
enum Side : uint32_t { kPlain = 1, kRedirected = 2, kTemporary = 4, kAnySide = 7 };

enum : uint32_t { kErrorWrite = 29, kErrorRead = 30, kErrorInUse = 32, kErrorExists = 80 };  // of the system

RVFILE openSide(uint32_t uSide, const char16_t* pszName, int32_t nFlags, int32_t nMode) noexcept {
    if (uSide & kPlain) return openWrapped(pszName, nFlags, nMode, kDefaultRedirection, RedirectKind::normal);
    if (uSide & kRedirected) return R_RedirectedOpen(pszName, nFlags, nMode);
    return R_RedirectedTempFileOpen(pszName, nFlags, nMode);
}

// Whether a side's name is surely that of a file on disk.
bool isSystemName(uint32_t uSide, const char16_t* pszName) noexcept {
    if (uSide & kPlain) return true;
    return (uSide & kRedirected) && !isSchemeName(pszName) &&
           effectiveTable(RedirectScope::normal).pfnOpen == kDefaultRedirection.pfnOpen;
}

bool isSameFile(const char16_t* pszA, const char16_t* pszB) noexcept {
    const FileName a(pszA), b(pszB);
    return a.get() && b.get() && sysIsSameFile(a.get(), b.get());
}

// A file that is closed with its scope.
class OpenFile {
    RVFILE m_h;

public:
    explicit OpenFile(RVFILE h) noexcept : m_h(h) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { close(); }
    bool close() noexcept {
        const RVFILE h = std::exchange(m_h, RV_INVALID_FILE);
        return !isOpenFile(h) || R_RedirectedClose(h) >= 0;
    }
    RVFILE get() const noexcept { return m_h; }
    explicit operator bool() const noexcept { return isOpenFile(m_h); }
};

// 0, or the error that the copy ended with.
uint32_t copyContents(const OpenFile& source, const OpenFile& dest) noexcept {
    constexpr uint32_t kPiece = 32768;
    uint8_t piece[kPiece];
    for (;;) {
        const int32_t n = R_RedirectedRead(source.get(), piece, kPiece);
        if (n < 0 || uint32_t(n) > kPiece) return kErrorRead;
        if (n == 0) return 0;
        if (R_RedirectedWrite(dest.get(), piece, uint32_t(n)) != n) return kErrorWrite;
    }
}

// The copy, with all closed at its end; nError is what it ended with, where the files themselves don't tell.
bool copyBetween(uint32_t uSource, const char16_t* pszSource, uint32_t uDest, const char16_t* pszDest,
                 uint32_t& nError) noexcept {
    const OpenFile source(openSide(uSource, pszSource, kOpenRead, kModeRead));
    if (!source) return false;
    if (isSystemName(uSource, pszSource) && isSystemName(uDest, pszDest) && isSameFile(pszSource, pszDest)) {
        nError = kErrorInUse;  // opening the destination would empty it
        return false;
    }
    OpenFile dest(openSide(uDest, pszDest, kOpenReadWrite | kOpenCreate | kOpenTruncate, kModeReadWrite));
    if (!dest) return false;
    nError = copyContents(source, dest);
    if (!dest.close() && !nError) nError = kErrorWrite;
    return nError == 0;
}

}  // namespace

int32_t copyFile(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags, void*) noexcept {
    const uint32_t uSource = uFlags >> kSourceShift & kAnySide, uDest = uFlags >> kDestShift & kAnySide;
    if (!uSource || !uDest) return -13;  // Invalid parameter passed
    uint32_t nError = 0;
    if ((uFlags & kFailIfExists) && OpenFile(openSide(uDest, pszDest, kOpenRead, kModeRead)))
        nError = kErrorExists;
    else if (copyBetween(uSource, pszSource, uDest, pszDest, nError))
        return 1;
    if (nError) sysSetLastError(nError);
    return 0;
}

int32_t deleteFile(const char16_t* pszName, void*) noexcept {
    constexpr int32_t kNotDeleted = -1847;  // Error deleting file
    if (!pszName) return kNotDeleted;
    return R_OsDelete(pszName) == 0 ? 1 : R_OsGetLastError(kNotDeleted);
}

int32_t R_IntCopyFile(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags) noexcept {
    const uint32_t uBoth = uFlags >> kSourceShift & uFlags >> kDestShift;
    REDIRECTIO table = kDefaultRedirection;
    if (uBoth & kRedirected)
        table = effectiveTable(RedirectScope::normal);
    else if (uBoth & kTemporary)
        table = effectiveTable(RedirectScope::temporary);
    return table.pfnCopy ? table.pfnCopy(pszSource, pszDest, uFlags, table.pCopyUserData) : 0;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CopyFile(const char16_t* pszSource, const char16_t* pszDest, int32_t bFailIfExists) noexcept {
    return R_IntCopyFile(pszSource, pszDest, 34u | (bFailIfExists ? kFailIfExists : 0u));
}
int32_t R_CopyFile2(const char16_t* pszSource, const char16_t* pszDest, int32_t bFailIfExists) noexcept {
    return R_IntCopyFile(pszSource, pszDest, 20u | (bFailIfExists ? kFailIfExists : 0u));
}

}  // extern "C"
