#include "ravokit/resize.h"

extern "C" {
int32_t R_SizeBitmap(BITMAPRECORD*, int32_t, int32_t, uint32_t) RV_NOEXCEPT { return 0; }
int32_t R_ResizeBitmap(BITMAPRECORD*, BITMAPRECORD*, uint32_t) RV_NOEXCEPT { return 0; }
int32_t R_IntResizeBitmap(BITMAPRECORD*, BITMAPRECORD*, uint32_t) RV_NOEXCEPT { return 0; }
}
