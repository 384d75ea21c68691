#include "ravokit/view.h"

extern "C" {
int32_t R_FlipBitmap(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_IntFlipBitmap(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_ReverseBitmap(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_IntReverseBitmap(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
}
