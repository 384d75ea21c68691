// Handles: closing, the system's handle behind one, duplicates, and the objects that threads share.
#include "internal/handles.h"

#include <cstdlib>

#include "internal/rvsystem_.h"

namespace rv {
namespace {

// A handle to the object that make() gives, null for none. The record comes first: a thread that has started, or a
// mutex that is owned, can't be taken back by dropping it.
template <class Make>
MEMHANDLE* handleTo(Make make) noexcept {
    MEMHANDLE* h = newHandle(kHandleSystem);
    SysObject* pObject = h ? make() : nullptr;
    if (pObject) {
        h->pBlock = pObject;
        return h;
    }
    std::free(h);
    return nullptr;
}

}  // namespace

MEMHANDLE* wrapHandle(void* hOs) noexcept {
    MEMHANDLE* h = R_CreateHandle(hOs);
    if (hOs && !h) sysCloseHandle(hOs);
    return h;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t DeleteObject(RVHANDLE h) noexcept { return closeHandle(h); }
int32_t CloseHandle(RVHANDLE h) noexcept { return closeHandle(h); }
int32_t R_WinDeleteObject(RVHANDLE h) noexcept { return closeHandle(h); }
void R_SetCloseHandleEx(PFNCLOSEHANDLE pfnClose) noexcept { setCloseHandleEx(pfnClose); }

void* R_ExtractHandle(RVHANDLE hHandle) noexcept {
    if (isAllOnes(hHandle)) return hHandle;
    return isHandleOf(hHandle, kHandleSystem) ? hHandle->pBlock : nullptr;
}

int32_t R_WinDuplicateHandle(RVHANDLE hSourceProcess, RVHANDLE hSource, RVHANDLE hTargetProcess, RVHANDLE* phTarget,
                             uint32_t, int32_t bInherit, uint32_t uOptions) noexcept {
    constexpr uint32_t kCloseSource = 1;
    if (!isAllOnes(hSourceProcess) || !isAllOnes(hTargetProcess) || !isHandleOf(hSource, kHandleSystem)) return 0;
    RVHANDLE h = phTarget ? wrapHandle(sysDuplicateHandle(hSource->pBlock, bInherit != 0)) : nullptr;
    const bool bClosed = (uOptions & kCloseSource) && closeHandle(hSource) == 1;
    if (!phTarget) return bClosed ? 1 : 0;
    if (h) *phTarget = h;
    return h ? 1 : 0;
}

RVHANDLE R_WinCreateThread(const void*, size_t uStackSize, THREADSTART pfnStart, void* pArgument, uint32_t uFlags,
                           uint32_t* pThreadId) noexcept {
    constexpr uint32_t kStackIsReservation = 0x10000;
    if (!pfnStart || (uFlags & ~kStackIsReservation)) return nullptr;
    return handleTo([=] { return sysThreadCreate(pfnStart, pArgument, uStackSize, pThreadId); });
}
RVHANDLE R_WinCreateEventW(const void*, int32_t bManualReset, int32_t bInitialState, const char16_t* pszName) noexcept {
    return handleTo([=] { return sysEventCreate(bManualReset != 0, bInitialState != 0, pszName); });
}
RVHANDLE R_WinCreateMutexW(const void*, int32_t bInitialOwner, const char16_t* pszName) noexcept {
    return handleTo([=] { return sysMutexCreate(bInitialOwner != 0, pszName); });
}

}  // extern "C"
