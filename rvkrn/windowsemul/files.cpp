// The system's file calls with UTF-16 names and emulated handles.
#include <cerrno>

#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "internal/text.h"

namespace rv {
namespace {

constexpr uint64_t joined(uint32_t uHigh, uint32_t uLow) noexcept { return uint64_t(uHigh) << 32 | uLow; }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

RVHANDLE R_WinCreateFileW(const char16_t* pszName, uint32_t uAccess, uint32_t, const void*, uint32_t uDisposition,
                          uint32_t uFlags, RVHANDLE) noexcept {
    const FileName name(pszName);
    RVHANDLE h = name.get() ? wrapHandle(sysFileOpen(name.get(), uAccess, uDisposition, uFlags)) : nullptr;
    return h ? h : kNoFile;
}

uint32_t R_SetFilePointer(RVHANDLE hFile, int32_t nLow, int32_t* pHigh, uint32_t uMethod) noexcept {
    constexpr uint32_t kFailed = UINT32_MAX;
    constexpr uint32_t kFromStart = 0, kFromPosition = 1;
    if (!isHandleOf(hFile, kHandleSystem)) {
        errno = EBADF;
        return kFailed;
    }
    const int64_t nDistance = pHigh ? int64_t(joined(uint32_t(*pHigh), uint32_t(nLow))) : nLow;
    const int64_t nOld = pHigh ? 0 : sysFileSeek(hFile->pBlock, 0, kFromPosition);
    const int64_t nNew = nOld < 0 ? -1 : sysFileSeek(hFile->pBlock, nDistance, uMethod);
    if (nNew < 0) return kFailed;
    if (!pHigh && nNew > UINT32_MAX) {
        sysFileSeek(hFile->pBlock, nOld, kFromStart);
        errno = EOVERFLOW;
        return kFailed;
    }
    if (pHigh) *pHigh = int32_t(nNew >> 32);
    errno = 0;
    return uint32_t(nNew);
}

int32_t R_MoveFileEx(const char16_t* pszOld, const char16_t* pszNew, uint32_t uFlags) noexcept {
    const FileName nameOld(pszOld), nameNew(pszNew);
    return nameOld.get() && nameNew.get() && sysFileMove(nameOld.get(), nameNew.get(), uFlags) ? 1 : 0;
}

RVHANDLE R_WinCreateFileMappingW(RVHANDLE hFile, const void*, uint32_t uProtect, uint32_t uMaxHigh, uint32_t uMaxLow,
                                 const char16_t* pszName) noexcept {
    constexpr uint32_t kRead = 2, kReadWrite = 4, kWriteCopy = 8, kCommit = 0x8000000, kReserve = 0x4000000;
    if (!isAllOnes(hFile) && !isHandleOf(hFile, kHandleSystem)) return nullptr;
    SysProtect protect;
    switch (uProtect & ~(kCommit | kReserve)) {
        case kRead:
            protect = SysProtect::kRead;
            break;
        case kReadWrite:
            protect = SysProtect::kReadWrite;
            break;
        case kWriteCopy:
            protect = SysProtect::kWriteCopy;
            break;
        default:
            return nullptr;
    }
    void* hOs = isAllOnes(hFile) ? kSysNoHandle : hFile->pBlock;
    return wrapHandle(sysMappingCreate(hOs, protect, joined(uMaxHigh, uMaxLow), pszName));
}

}  // extern "C"
