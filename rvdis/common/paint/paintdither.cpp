// Rows of painting that are dithered.
#include "internal/paint_.h"

namespace rv {
int32_t makeRowDither(const BITMAPRECORD&, const PaintWish&, size_t, int32_t, std::unique_ptr<PaintRenderer>&) noexcept {
    return -27;
}
const RGBQUAD* devicePalette(int32_t, uint32_t) noexcept { return nullptr; }
}  // namespace rv
