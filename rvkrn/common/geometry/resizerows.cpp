#include "ravokit/resizerows.h"

extern "C" {
int32_t R_StartResizeBitmap2(BITMAPRECORD*, int32_t, int32_t, int32_t, const RGBQUAD*, uint32_t, uint32_t,
                             RESIZEROWCALLBACK, void*, void**, int32_t, int32_t) RV_NOEXCEPT {
    return 0;
}
int32_t R_StartResizeBitmap(BITMAPRECORD*, int32_t, int32_t, int32_t, const RGBQUAD*, uint32_t, uint32_t,
                            RESIZEROWCALLBACK, void*, void**) RV_NOEXCEPT {
    return 0;
}
int32_t R_GetResizedRowCol(void*, uint8_t*, int32_t, int32_t, uint32_t) RV_NOEXCEPT { return 0; }
int32_t R_StopResizeBitmap(void*) RV_NOEXCEPT { return 0; }
}
