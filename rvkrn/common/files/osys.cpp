// Files of the operating system, with the flags and results of the callbacks that they are the default of.
#include "ravokit/files.h"

#include <algorithm>

#include "internal/handles.h"
#include "internal/redirect_.h"
#include "internal/text.h"
#include "internal/threaddata.h"

namespace rv {
namespace {

// What the system is asked for in place of the open flags.
struct OpenRequest {
    uint32_t uAccess, uDisposition, uAttributes;
};

constexpr uint32_t kNormalAttribute = 0x80, kTemporaryAttribute = 0x100;

constexpr OpenRequest openRequest(int32_t nFlags) noexcept {
    constexpr uint32_t kAccess[] = {kSysRead, kSysWrite, kSysRead | kSysWrite, kSysRead | kSysWrite};
    OpenRequest r{kAccess[nFlags & 3], kSysOpenExisting, nFlags & 3 ? kNormalAttribute : uint32_t(kSysReadOnly)};
    if (nFlags & kOpenCreate)
        r.uDisposition = kSysCreateAlways;
    else if (nFlags & kOpenTruncate)
        r.uDisposition = kSysTruncateExisting;
    if (nFlags & kOpenTemporary) r.uAttributes |= kSysDeleteOnClose | kTemporaryAttribute;
    return r;
}

constexpr uint32_t sharing(int32_t nMode) noexcept {
    constexpr uint32_t kReaders = 1, kAll = 3;
    return !(nMode & 0x100) ? 0 : nMode & 0x80 ? kAll : kReaders;
}

RVFILE openSystemFile(const char16_t* pszName, const OpenRequest& request, uint32_t uShare) noexcept {
    return R_WinCreateFileW(pszName, request.uAccess, uShare, nullptr, request.uDisposition, request.uAttributes,
                            nullptr);
}

// The system's handle behind a file; null, which is none of its files, for anything else.
void* systemFile(RVFILE hFile) noexcept {
    const auto* h = static_cast<const MEMHANDLE*>(hFile);
    return isHandleOf(h, kHandleSystem) ? h->pBlock : nullptr;
}

constexpr uint32_t cutToCount(uint32_t uBytes) noexcept { return std::min<uint32_t>(uBytes, INT32_MAX); }

// Moves pieces until all is done; the system moves less than it was asked for only where it comes to an end.
template <class Byte, class Move>
int64_t moveAll(RVFILE hFile, Byte* p, uint64_t uBytes, Move move) noexcept {
    void* hOs = systemFile(hFile);
    if (!hOs || (!p && uBytes) || uBytes > PTRDIFF_MAX) return -1;
    for (size_t nDone = 0; nDone < uBytes;) {
        const int64_t n = move(hOs, p + nDone, size_t(uBytes) - nDone);
        if (n <= 0) return -1;
        nDone += size_t(n);
    }
    return int64_t(uBytes);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

RVFILE R_OsOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode, void*) noexcept {
    return openSystemFile(pszName, openRequest(nFlags), sharing(nMode));
}
RVFILE R_OsCreat(const char16_t* pszName, uint32_t uAttributes) noexcept {
    constexpr uint32_t kReadOnly = 1, kDeleteOnClose = 8;
    const bool bReadOnly = uAttributes & kReadOnly;
    const OpenRequest request{
        bReadOnly ? kSysRead : kSysRead | kSysWrite, kSysCreateAlways,
        (bReadOnly ? kSysReadOnly : 0u) | (uAttributes & kDeleteOnClose ? kSysDeleteOnClose : 0u)};
    return openSystemFile(pszName, request, sharing(0x180));
}

int32_t R_OsRead(RVFILE hFile, void* pBuffer, uint32_t uBytes, void*) noexcept {
    void* hOs = systemFile(hFile);
    if (!hOs || !pBuffer) return -1;
    return int32_t(sysFileRead(hOs, pBuffer, cutToCount(uBytes)));
}
int32_t R_OsWrite(RVFILE hFile, const void* pBuffer, uint32_t uBytes, void*) noexcept {
    void* hOs = systemFile(hFile);
    if (!hOs || (!pBuffer && uBytes)) return -1;
    if (!uBytes) return sysFileSetEnd(hOs) ? 0 : -1;
    return int32_t(sysFileWrite(hOs, pBuffer, cutToCount(uBytes)));
}
int64_t R_OsReadBig(RVFILE hFile, void* pBuffer, uint64_t uBytes) noexcept {
    return moveAll(hFile, static_cast<uint8_t*>(pBuffer), uBytes, sysFileRead);
}
int64_t R_OsWriteBig(RVFILE hFile, const void* pBuffer, uint64_t uBytes) noexcept {
    return moveAll(hFile, static_cast<const uint8_t*>(pBuffer), uBytes, sysFileWrite);
}
int64_t R_OsSeek(RVFILE hFile, int64_t nOffset, int32_t nOrigin, void*) noexcept {
    void* hOs = systemFile(hFile);
    return hOs ? sysFileSeek(hOs, nOffset, uint32_t(nOrigin)) : -1;
}
int32_t R_OsClose(RVFILE hFile, void*) noexcept {
    return systemFile(hFile) && closeHandle(static_cast<RVHANDLE>(hFile)) == 1 ? 0 : -1;
}

int32_t R_OsSetFileSize(RVFILE hFile, int64_t nSize) noexcept {
    enum : uint32_t { kFromStart, kFromPosition };
    void* hOs = systemFile(hFile);
    const int64_t nOld = hOs ? sysFileSeek(hOs, 0, kFromPosition) : -1;
    if (nOld < 0 || sysFileSeek(hOs, nSize, kFromStart) < 0) return -1;
    if (sysFileSetEnd(hOs)) return 0;
    const uint32_t nError = sysLastError();
    sysFileSeek(hOs, nOld, kFromStart);
    sysSetLastError(nError);
    return -1;
}

int32_t R_OsDelete(const char16_t* pszName) noexcept {
    const FileName name(pszName);
    return name.get() && sysFileDelete(name.get()) ? 0 : -1;
}
int32_t R_FileExists(const char16_t* pszName) noexcept {
    if (!pszName) return 0;
    if (isTemporaryName(pszName)) return 1;
    const FileName name(pszName);
    return name.get() && sysFileKind(name.get()) != SysFileKind::none ? 1 : 0;
}
int32_t R_FileExistsUTF8(const char* pszName) noexcept { return R_FileExists(WideText(pszName).get()); }

int32_t R_OsGetLastError(int32_t nDefault) noexcept {
    uint32_t nError = sysLastError();
    if (THREADDATA* pThread = existingThreadData(); pThread && pThread->nLastError)
        nError = std::exchange(pThread->nLastError, 0);
    switch (nError) {
        case 2:
            return -10;  // File not found
        case 8:
        case 14:
            return -1;  // Not enough memory available
        case 112:
            return -295;  // Not enough disk space
        case 122:
            return -290;  // The buffer size is too small
        default:
            return nDefault;
    }
}
void R_OsSetLastError(uint32_t nError) noexcept {
    threadData().nLastError = nError;
    sysSetLastError(nError);
}

}  // extern "C"
