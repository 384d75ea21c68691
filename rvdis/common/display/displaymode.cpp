// The display mode, which each thread has for itself, and where a picture goes within a rectangle.
#include <algorithm>
#include <cmath>

#include "internal/muldiv.h"
#include "ravokit/paintsettings.h"

namespace rv {
namespace {

thread_local constinit uint32_t t_uDisplayMode = DM_INDEXED_PAINT | DM_DITHER;

int64_t scaled(int32_t n, double factor) noexcept { return int64_t(std::min(0.5 + n * factor, double(INT32_MAX))); }

// The size that a picture gets in a box.
struct Extent {
    int64_t nWidth, nHeight;
};
Extent fitted(uint32_t uFit, int32_t nWidth, int32_t nHeight, int64_t nBoxWidth, int64_t nBoxHeight) noexcept {
    const double across = double(nBoxWidth) / nWidth, down = double(nBoxHeight) / nHeight;
    const auto by = [&](double factor) { return Extent{scaled(nWidth, factor), scaled(nHeight, factor)}; };
    switch (uFit) {
        case FIT_NORMAL:
            return {nWidth, nHeight};
        case FIT_WIDTH:
            return by(across);
        case FIT_STRETCH:
            return {nBoxWidth, nBoxHeight};
        case FIT_HEIGHT:
            return by(down);
        default:
            if (uFit == FIT_IF_LARGER && nWidth <= nBoxWidth && nHeight <= nBoxHeight) return {nWidth, nHeight};
            if (nBoxWidth <= nBoxHeight) return by(scaled(nWidth, down) > nBoxWidth ? across : down);
            return by(scaled(nHeight, across) > nBoxHeight ? down : across);
    }
}

int64_t offsetOf(uint32_t uAlign, int64_t nBox, int64_t nSize) noexcept {
    const int64_t nRoom = nBox - nSize;
    if (uAlign == ALIGN_START || (nRoom < 0 && uAlign != ALIGN_CENTER_ALWAYS)) return 0;
    if (uAlign == ALIGN_END) return nRoom;
    return (nRoom + (nRoom < 0 ? -1 : 1)) / 2;  // halves away from zero
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

uint32_t R_SetDisplayMode(uint32_t uMask, uint32_t uValue) noexcept {
    const uint32_t uOld = t_uDisplayMode;
    t_uDisplayMode = (uMask & uValue) | (uOld & ~uMask);
    return uOld;
}
uint32_t R_GetDisplayMode() noexcept { return t_uDisplayMode; }

int32_t R_CalculatePaintModeRectangle(int32_t nWidth, int32_t nHeight, RECT* pRect, uint32_t uFit, uint32_t uHorizontal,
                                      uint32_t uVertical) noexcept {
    if (!pRect || nWidth < 1 || nHeight < 1) return -13;                                    // Invalid parameter
    if (uFit > FIT_HEIGHT || uHorizontal > ALIGN_END || uVertical > ALIGN_END) return -13;  // passed
    const int64_t nBoxWidth = int64_t(pRect->right) - pRect->left, nBoxHeight = int64_t(pRect->bottom) - pRect->top;
    const Extent size = fitted(uFit, nWidth, nHeight, nBoxWidth, nBoxHeight);
    const int64_t nLeft = pRect->left + offsetOf(uHorizontal, nBoxWidth, size.nWidth);
    const int64_t nTop = pRect->top + offsetOf(uVertical, nBoxHeight, size.nHeight);
    *pRect = {saturated(nLeft), saturated(nTop), saturated(nLeft + size.nWidth), saturated(nTop + size.nHeight)};
    return 1;
}

}  // extern "C"
