#include "ravokit/rotate.h"

extern "C" {
int32_t R_RotateBitmap90(BITMAPRECORD*, int32_t, int32_t, int32_t) RV_NOEXCEPT { return 0; }
int32_t R_RotateBuffer90(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t, int32_t) RV_NOEXCEPT { return 0; }
int32_t R_RotateBuffer180(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t) RV_NOEXCEPT { return 0; }
}
