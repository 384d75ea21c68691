// Rows of painting that are converted.
#include "internal/paint_.h"

namespace rv {
int32_t makeRowConverter(const BITMAPRECORD&, const PaintWish&, std::unique_ptr<PaintRenderer>&) noexcept { return -27; }
}  // namespace rv
