#include "ravokit/rotate.h"

extern "C" {
int32_t R_SinValue(int32_t) RV_NOEXCEPT { return 0; }
int32_t R_CosValue(int32_t) RV_NOEXCEPT { return 0; }
int32_t R_RotateBitmap(BITMAPRECORD*, int32_t, uint32_t, COLORREF) RV_NOEXCEPT { return 0; }
int32_t R_IntRotateBitmap(BITMAPRECORD*, int32_t, uint32_t, COLORREF, int32_t, int32_t, float, float) RV_NOEXCEPT {
    return 0;
}
}
