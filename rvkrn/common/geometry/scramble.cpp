#include "ravokit/scramble.h"

extern "C" {
int32_t R_ScrambleBitmap(BITMAPRECORD*, int32_t, int32_t, int32_t, int32_t, uint32_t, uint32_t) RV_NOEXCEPT {
    return 0;
}
}
