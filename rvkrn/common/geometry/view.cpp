#include "ravokit/view.h"

extern "C" {
int32_t R_FlipBitmapViewPerspective(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_IntFlipBitmapViewPerspective(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_ReverseBitmapViewPerspective(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_IntReverseBitmapViewPerspective(BITMAPRECORD*) RV_NOEXCEPT { return 0; }
int32_t R_RotateBitmapViewPerspective(BITMAPRECORD*, int32_t) RV_NOEXCEPT { return 0; }
int32_t R_IntRotateBitmapViewPerspective(BITMAPRECORD*, int32_t) RV_NOEXCEPT { return 0; }
int32_t R_GetChangeViewPerspectiveParams(int32_t, int32_t, int32_t*, int32_t*) RV_NOEXCEPT { return 0; }
int32_t R_ChangeRectViewPerspective(int32_t, int32_t, int32_t, int32_t, RECT*) RV_NOEXCEPT { return 0; }
int32_t R_ChangeBitmapViewPerspective(BITMAPRECORD*, BITMAPRECORD*, uint32_t, int32_t) RV_NOEXCEPT { return 0; }
int32_t R_IntChangeBitmapViewPerspective(BITMAPRECORD*, BITMAPRECORD*, uint32_t, int32_t, uint32_t) RV_NOEXCEPT {
    return 0;
}
int32_t R_PointToBitmap(const BITMAPRECORD*, int32_t, int32_t*, int32_t*) RV_NOEXCEPT { return 0; }
int32_t R_PointFromBitmap(const BITMAPRECORD*, int32_t, int32_t*, int32_t*) RV_NOEXCEPT { return 0; }
int32_t R_RectToBitmap(const BITMAPRECORD*, int32_t, RECT*) RV_NOEXCEPT { return 0; }
int32_t R_RectFromBitmap(const BITMAPRECORD*, int32_t, RECT*) RV_NOEXCEPT { return 0; }
}
