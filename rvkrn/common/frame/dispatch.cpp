// The table of entry points that sibling modules take from the kernel.
#include "ravokit/frame.h"
#include "ravokit/memory.h"

namespace {

void reservedNoOp() noexcept {}

}  // namespace

extern "C" int32_t R_GetKrnDispatch(KRNDISPATCH* pTable, uint32_t uSize) noexcept {
    if (uSize != sizeof(KRNDISPATCH) && uSize != KRNDISPATCH_OLD_SIZE) return -789;  // The structure size is invalid
    pTable->pfnUnregisterCleanupFunction = R_UnregisterCleanupFunction;
    pTable->pfnGlobalFree = R_GlobalFree;
    pTable->pfnLocalFree = R_LocalFree;
    pTable->pfnReservedNoOp = reservedNoOp;
    if (uSize == sizeof(KRNDISPATCH)) {
        pTable->pfnTlsGetValue = R_TlsGetValue;
        pTable->pfnTlsSetValue = R_TlsSetValue;
        pTable->pfnTlsFree = R_TlsFree;
    }
    pTable->uStructSize = uSize;
    return 1;
}
