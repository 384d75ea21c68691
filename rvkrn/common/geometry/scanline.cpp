#include "ravokit/resize.h"

extern "C" {
int32_t R_StartResize(int32_t, int32_t, int32_t, int32_t, void**) RV_NOEXCEPT { return 0; }
int32_t R_Resize(uint8_t*, int32_t, int32_t, int32_t*, int32_t*, void*) RV_NOEXCEPT { return 0; }
int32_t R_StopResize(void*) RV_NOEXCEPT { return 0; }
void R_GetResizedScanLine(int32_t, uint32_t, int32_t, int32_t, int32_t, int32_t, const uint8_t*, uint8_t*, int32_t,
                          int32_t, int32_t) RV_NOEXCEPT {}
void R_ReverseGetResizedScanLine(int32_t, uint32_t, int32_t, int32_t, int32_t, int32_t, const uint8_t*, uint8_t*,
                                 int32_t, int32_t, int32_t) RV_NOEXCEPT {}
}
