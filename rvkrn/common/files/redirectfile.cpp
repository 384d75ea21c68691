// Open files behind redirection: a wrapper that carries the table with which it was opened.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internal/redirect_.h"
#include "internal/text.h"

namespace rv {
namespace {

constexpr char kMagic[] = {'R', 'F', 'I', 'L'};

// Stands in the wrapper of a file that stays its owner's.
int32_t leaveOpen(RVFILE, void*) noexcept { return 0; }

int32_t closeInner(RVFILE hInner, const REDIRECTIO& table) noexcept {
    return table.pfnClose ? table.pfnClose(hInner, table.pCloseUserData) : 0;
}

RVFILE openByUtf8(const char* pszName, int32_t nFlags, int32_t nMode) noexcept {
    const WideText name(pszName);
    return pszName && !name.get() ? RV_INVALID_FILE : R_RedirectedOpen(name.get(), nFlags, nMode);
}

// Moves pieces until all is done or a piece gives nothing.
template <class Byte, class Move>
int64_t movePieces(RVFILE hFile, Byte* p, uint64_t uBytes, Move move) noexcept {
    constexpr uint64_t kPiece = 0x7FFFFFF;
    if (!wrapperOf(hFile) || uBytes > PTRDIFF_MAX) return -1;
    uint64_t nDone = 0;
    while (nDone < uBytes) {
        const auto nPiece = uint32_t(std::min(uBytes - nDone, kPiece));
        const int32_t n = move(hFile, p + nDone, nPiece);
        if (n < 0 || uint32_t(n) > nPiece) return -1;
        if (n == 0) break;
        nDone += uint32_t(n);
    }
    return int64_t(nDone);
}

}  // namespace

RFILEHANDLE* wrapperOf(RVFILE hFile) noexcept {
    auto* p = static_cast<RFILEHANDLE*>(hFile);
    return isOpenFile(hFile) && std::memcmp(p->magic, kMagic, sizeof kMagic) == 0 ? p : nullptr;
}

RFILEHANDLE* newWrapper(RVFILE hInner, const REDIRECTIO& table, RedirectKind kind) noexcept {
    auto* p = static_cast<RFILEHANDLE*>(std::malloc(sizeof(RFILEHANDLE)));
    if (!p) return nullptr;
    *p = {{}, hInner, kind, table};
    std::memcpy(p->magic, kMagic, sizeof kMagic);
    return p;
}

RVFILE openWrapped(const char16_t* pszName, int32_t nFlags, int32_t nMode, const REDIRECTIO& table,
                   RedirectKind kind) noexcept {
    if (!table.pfnOpen) return RV_INVALID_FILE;
    RVFILE hInner = table.pfnOpen(pszName, nFlags, nMode, table.pOpenUserData);
    if (hInner == RV_INVALID_FILE) return RV_INVALID_FILE;
    if (RFILEHANDLE* p = newWrapper(hInner, table, kind)) return p;
    closeInner(hInner, table);
    return RV_INVALID_FILE;
}

}  // namespace rv

using namespace rv;

extern "C" {

RVFILE R_RedirectedOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode) noexcept {
    if (!isSchemeName(pszName))
        return openWrapped(pszName, nFlags, nMode, effectiveTable(RedirectScope::normal), RedirectKind::normal);
    REDIRECTIO table;
    if (!registeredTable(pszName, table)) return RV_INVALID_FILE;
    return openWrapped(pszName, nFlags, nMode, table, RedirectKind::registered);
}
RVFILE R_RedirectedOpenA(const char* pszName, int32_t nFlags, int32_t nMode) noexcept {
    return openByUtf8(pszName, nFlags, nMode);
}
RVFILE R_RedirectedOpenUTF8(const char* pszName, int32_t nFlags, int32_t nMode) noexcept {
    return openByUtf8(pszName, nFlags, nMode);
}

int32_t R_RedirectedRead(RVFILE hFile, void* pBuffer, uint32_t uBytes) noexcept {
    const RFILEHANDLE* p = wrapperOf(hFile);
    return p && p->table.pfnRead ? p->table.pfnRead(p->hFile, pBuffer, uBytes, p->table.pReadUserData) : -1;
}
int32_t R_RedirectedWrite(RVFILE hFile, const void* pBuffer, uint32_t uBytes) noexcept {
    const RFILEHANDLE* p = wrapperOf(hFile);
    return p && p->table.pfnWrite ? p->table.pfnWrite(p->hFile, pBuffer, uBytes, p->table.pWriteUserData) : -1;
}
int64_t R_RedirectedSeek(RVFILE hFile, int64_t nOffset, int32_t nOrigin) noexcept {
    const RFILEHANDLE* p = wrapperOf(hFile);
    return p && p->table.pfnSeek ? p->table.pfnSeek(p->hFile, nOffset, nOrigin, p->table.pSeekUserData) : -1;
}

int64_t R_RedirectedReadBig(RVFILE hFile, void* pBuffer, uint64_t uBytes) noexcept {
    return movePieces(hFile, static_cast<uint8_t*>(pBuffer), uBytes, R_RedirectedRead);
}
int64_t R_RedirectedWriteBig(RVFILE hFile, const void* pBuffer, uint64_t uBytes) noexcept {
    return movePieces(hFile, static_cast<const uint8_t*>(pBuffer), uBytes, R_RedirectedWrite);
}

int32_t R_RedirectedClose(RVFILE hFile) noexcept {
    if (!hFile) return -814;  // A NULL pointer was passed
    RFILEHANDLE* p = wrapperOf(hFile);
    if (!p) return -261;  // Invalid handle
    const int32_t nStatus = closeInner(p->hFile, p->table);
    if (nStatus >= 0) std::free(p);
    return nStatus;
}

int32_t R_CreateRedirectedFileHandle(RVFILE hFile, RVFILE* phWrapped) noexcept {
    if (hFile == RV_INVALID_FILE) return -13;  // Invalid parameter passed
    if (!phWrapped) return -814;               // A NULL pointer was passed
    REDIRECTIO table = effectiveTable(RedirectScope::normal);
    table.pfnClose = leaveOpen;
    RFILEHANDLE* p = newWrapper(hFile, table, RedirectKind::registered);
    if (!p) return -1;  // Not enough memory available
    *phWrapped = p;
    return 1;
}

RVFILE R_ExtractRedirectedFileHandle(RVFILE hFile) noexcept {
    const RFILEHANDLE* p = wrapperOf(hFile);
    return p ? p->hFile : RV_INVALID_FILE;
}

int32_t R_ExtractRedirectFunctions(RVFILE hFile, REDIRECTIO* pTable, uint32_t uStructSize) noexcept {
    const RFILEHANDLE* p = wrapperOf(hFile);
    if (!p) return -1852;                                // (Internal error) Invalid file handle
    if (!pTable) return -814;                            // A NULL pointer was passed
    if (uStructSize != sizeof(REDIRECTIO)) return -789;  // The structure size is invalid
    *pTable = p->table;
    return 1;
}

}  // extern "C"
