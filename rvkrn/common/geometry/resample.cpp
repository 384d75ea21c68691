#include "ravokit/resample.h"

extern "C" {
int32_t R_ResampleBitmap(BITMAPRECORD*, int32_t, int32_t, uint32_t) RV_NOEXCEPT { return 0; }
int32_t R_ResampleBitmapInt(BITMAPRECORD*, BITMAPRECORD*, uint32_t, uint32_t) RV_NOEXCEPT { return 0; }
int32_t R_BicubicResampleBitmap(BITMAPRECORD*, int32_t, int32_t, uint32_t) RV_NOEXCEPT { return 0; }
int32_t R_BicubicResampleBitmapInt(BITMAPRECORD*, BITMAPRECORD*, uint32_t, uint32_t) RV_NOEXCEPT { return 0; }
}
