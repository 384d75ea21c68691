// Rows of painting that count the bits of 1-bit pictures.
#include "internal/paint_.h"

namespace rv {
int32_t makeBitonalRows(BITMAPRECORD&, PaintMethod, const PaintAxis&, const PaintAxis&,
                        std::unique_ptr<PaintRows>&) noexcept {
    return -27;
}
}  // namespace rv
