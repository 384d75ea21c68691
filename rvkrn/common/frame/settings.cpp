// Settings: the defaults and progress callbacks of a thread, and the process-wide resource directories.
#include <utility>

#include "internal/text.h"
#include "internal/threaddata.h"

namespace rv {
namespace {

constexpr uint32_t kResourceDirectories = 3;
char16_t g_directories[kResourceDirectories][RESOURCE_DIRECTORY_LENGTH];

// Both progress callbacks are set the same way.
int32_t exchangeCallback(STATUSCALLBACK& rpfn, void*& rpUser, STATUSCALLBACK pfn, void* pUser, STATUSCALLBACK* ppfnOld,
                         void** ppUserOld) noexcept {
    const STATUSCALLBACK pfnOld = std::exchange(rpfn, pfn);
    void* const pUserOld = std::exchange(rpUser, pUser);
    if (ppfnOld) *ppfnOld = pfnOld;
    if (ppUserOld) *ppUserOld = pUserOld;
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetDefaultXResolution(int32_t nValue) noexcept {
    return std::exchange(threadData().nDefaultXResolution, nValue);
}
int32_t R_SetDefaultYResolution(int32_t nValue) noexcept {
    return std::exchange(threadData().nDefaultYResolution, nValue);
}
int32_t R_GetDefaultXResolution() noexcept { return threadData().nDefaultXResolution; }
int32_t R_GetDefaultYResolution() noexcept { return threadData().nDefaultYResolution; }

int32_t R_DefaultDithering(uint32_t uMethod) noexcept {
    THREADDATA& td = threadData();  // the record stands afterwards, even where the method is refused
    if (uMethod > 8) return -13;
    td.nDefaultDithering = uMethod;
    return 1;
}
uint32_t R_GetDefaultDithering() noexcept { return threadData().nDefaultDithering; }

int32_t R_SetDefaultMemoryType(uint32_t nType) noexcept {
    if (nType != BMMEM_CONVENTIONAL && nType != BMMEM_DISK) return -13;
    threadData().nDefaultMemoryType = nType;
    return 1;
}
int32_t R_GetDefaultMemoryType(uint32_t* pType) noexcept {
    if (!pType) return -13;
    *pType = threadData().nDefaultMemoryType;
    return 1;
}

void* R_SetUserMatchTable(void* pTable) noexcept { return std::exchange(threadData().pUserMatchTable, pTable); }

int32_t R_SetStatusCallBack(STATUSCALLBACK pfn, void* pUser, STATUSCALLBACK* ppfnOld, void** ppUserOld) noexcept {
    THREADDATA& td = threadData();
    return exchangeCallback(td.pfnStatusCallback, td.pStatusUserData, pfn, pUser, ppfnOld, ppUserOld);
}
STATUSCALLBACK R_GetStatusCallBack(void** ppUser) noexcept {
    const THREADDATA& td = threadData();
    if (ppUser) *ppUser = td.pStatusUserData;
    return td.pfnStatusCallback;
}
int32_t R_SetCopyStatusCallBack(STATUSCALLBACK pfn, void* pUser, STATUSCALLBACK* ppfnOld, void** ppUserOld) noexcept {
    THREADDATA& td = threadData();
    return exchangeCallback(td.pfnCopyStatusCallback, td.pCopyStatusUserData, pfn, pUser, ppfnOld, ppUserOld);
}
STATUSCALLBACK R_GetCopyStatusCallBack(void** ppUser) noexcept {
    const THREADDATA& td = threadData();
    if (ppUser) *ppUser = td.pCopyStatusUserData;
    return td.pfnCopyStatusCallback;
}

int32_t R_SetResourceDirectory(uint32_t uType, const char16_t* pPath) noexcept {
    if (!pPath || uType >= kResourceDirectories) return -13;
    char16_t* pSlot = g_directories[uType];
    const size_t n = copyText(pSlot, pPath, RESOURCE_DIRECTORY_LENGTH);
    const bool bOpenEnd = n > 0 && pSlot[n - 1] != u'\\' && pSlot[n - 1] != u'/';
    if (bOpenEnd && n + 1 < RESOURCE_DIRECTORY_LENGTH) {
        pSlot[n] = u'/';
        pSlot[n + 1] = 0;
    }
    return 1;
}
int32_t R_GetResourceDirectory(uint32_t uType, char16_t* pBuffer, uint32_t uBufferLength) noexcept {
    if (!pBuffer || uType >= kResourceDirectories) return -13;
    if (uBufferLength) copyText(pBuffer, g_directories[uType], uBufferLength);
    return 1;
}

}  // extern "C"
