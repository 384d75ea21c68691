// The table of entry points that sibling modules take from the kernel.
#include "ravokit/frame.h"
#include "ravokit/memory.h"
#include "ravokit/threading.h"

namespace {

// The construction of the pool's class, which starts nothing.
void constructThreadPool() noexcept { (void)RVThreadPool(); }

}  // namespace

extern "C" int32_t R_GetKrnDispatch(KRNDISPATCH* pTable, uint32_t uSize) noexcept {
    if (uSize != sizeof(KRNDISPATCH) && uSize != KRNDISPATCH_OLD_SIZE) return -789;  // The structure size is invalid
    pTable->pfnUnregisterCleanupFunction = R_UnregisterCleanupFunction;
    pTable->pfnGlobalFree = R_GlobalFree;
    pTable->pfnLocalFree = R_LocalFree;
    pTable->pfnReservedNoOp = constructThreadPool;
    if (uSize == sizeof(KRNDISPATCH)) {
        pTable->pfnTlsGetValue = R_TlsGetValue;
        pTable->pfnTlsSetValue = R_TlsSetValue;
        pTable->pfnTlsFree = R_TlsFree;
    }
    pTable->uStructSize = uSize;
    return 1;
}
