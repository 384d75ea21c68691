// Painting: the calls.
#include "internal/paint_.h"

using namespace rv;

extern "C" {

int32_t R_PaintDCCallback(const PAINTCALLBACKS*, BITMAPRECORD*, const RECT*, const RECT*, const RECT*, const RECT*,
                          uint32_t) noexcept {
    return -13;
}
int32_t R_PaintDCBufferCallback(const PAINTCALLBACKS*, BITMAPRECORD*, const RECT*, const RECT*, const RECT*,
                                const RECT*, uint32_t, const uint8_t*, int32_t, int32_t) noexcept {
    return -13;
}
int32_t R_PaintRgnDCCallback(const PAINTCALLBACKS*, BITMAPRECORD*, const RECT*, const RECT*, const RECT*, const RECT*,
                             uint32_t) noexcept {
    return -13;
}
int32_t R_PaintRgnDCBufferCallback(const PAINTCALLBACKS*, BITMAPRECORD*, const RECT*, const RECT*, const RECT*,
                                   const RECT*, uint32_t, const uint8_t*, int32_t, int32_t) noexcept {
    return -13;
}

}  // extern "C"
