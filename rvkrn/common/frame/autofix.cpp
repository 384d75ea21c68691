// Resolution of scanned pages: a bitmap that would be larger than a page at the resolution it claims fits the page at a
// higher one, which it then gets.
#include <algorithm>

#include "ravokit/frame.h"

namespace {

AUTOFIXOPTIONS g_options{sizeof(AUTOFIXOPTIONS), 0, 96, 8.5, 11.0, AUTOFIX_INCHES};

constexpr double kMillimetresPerInch = 25.400000025908;

// Whether a resolution has a whole number: not one below 1, too large, or undefined after a division of 0 by 0.
bool isResolution(double d) noexcept { return d >= 1.0 && d < 2147483648.0; }

}  // namespace

extern "C" {

int32_t R_GetAutoFixBitmapResolutionOptions(AUTOFIXOPTIONS* pOptions, uint32_t uStructSize) noexcept {
    if (!pOptions) return -814;                              // A NULL pointer was passed
    if (uStructSize != sizeof(AUTOFIXOPTIONS)) return -789;  // The structure size is invalid
    *pOptions = g_options;
    return 1;
}

int32_t R_SetAutoFixBitmapResolutionOptions(const AUTOFIXOPTIONS* pOptions) noexcept {
    if (!pOptions) return -814;
    if (pOptions->uStructSize != sizeof(AUTOFIXOPTIONS)) return -789;
    if (pOptions->uUnit == AUTOFIX_OFF) return -13;
    g_options = *pOptions;
    return 1;
}

int32_t R_IntAutoFixBitmapResolution(int32_t Width, int32_t Height, int32_t XResolution, int32_t YResolution,
                                     int32_t* pNewX, int32_t* pNewY) noexcept {
    if (!pNewX || !pNewY) return -814;
    const AUTOFIXOPTIONS options = g_options;
    if (XResolution >= options.nMinResolution || YResolution >= options.nMinResolution || Width == 0 || Height == 0 ||
        options.uUnit == AUTOFIX_OFF)
        return 2;
    double dPageWidth = options.dPageWidth, dPageHeight = options.dPageHeight;
    if (options.uUnit == AUTOFIX_MILLIMETRES) {
        dPageWidth /= kMillimetresPerInch;
        dPageHeight /= kMillimetresPerInch;
    }
    const double dWidth = double(Width) / XResolution;
    const double dHeight = double(Height) / XResolution;  // by XResolution too: that is the rule
    const double dUpright = std::min(dPageWidth / dWidth, dPageHeight / dHeight);
    const double dSideways = std::min(dPageHeight / dWidth, dPageWidth / dHeight);
    const double dScale = std::max(dUpright, dSideways);
    if (dScale >= 1.0) return 2;
    const double dNewX = XResolution / dScale, dNewY = YResolution / dScale;
    if (!isResolution(dNewX) || !isResolution(dNewY)) return 2;
    *pNewX = int32_t(dNewX);
    *pNewY = int32_t(dNewY);
    return 1;
}

int32_t R_AutoFixBitmapResolution(BITMAPRECORD* pBitmap, uint32_t) noexcept {
    if (!pBitmap) return -814;
    if (pBitmap->uStructSize != sizeof(BITMAPRECORD)) return -789;
    return R_IntAutoFixBitmapResolution(pBitmap->Width, pBitmap->Height, pBitmap->XResolution, pBitmap->YResolution,
                                        &pBitmap->XResolution, &pBitmap->YResolution);
}

}  // extern "C"
