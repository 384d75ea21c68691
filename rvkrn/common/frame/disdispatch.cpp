// The table of the display layer's entry points, as it was set last.
#include "ravokit/loader.h"

namespace {

DISDISPATCH g_table{};
bool g_bSet = false;

}  // namespace

extern "C" {

int32_t R_GetDisDispatch(DISDISPATCH* pTable) noexcept {
    if (!pTable) return -13;
    if (g_table.uStructSize == 0) return -30;  // Internal error
    *pTable = g_table;
    return 1;
}
int32_t R_SetDisDispatch(const DISDISPATCH* pTable) noexcept {
    if (!pTable) return -13;
    g_bSet = true;
    g_table = *pTable;
    return 1;
}
void R_ResetDisDispatch() noexcept {
    if (!g_bSet) g_table = {};
    g_bSet = true;
}

}  // extern "C"
