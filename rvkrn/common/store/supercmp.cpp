// Super-compressed storage: strips of 32 rows, each compressed by a codec module, one of them open at a time.
#include "internal/storage_.h"

namespace rv {

int32_t createStrips(BITMAPRECORD&) noexcept { return -1; }
void freeStrips(BITMAPRECORD&) noexcept {}
uint8_t* stripRow(BITMAPRECORD&, int32_t, bool) noexcept { return nullptr; }
int32_t getStripBytes(BITMAPRECORD&, uint8_t*, int32_t, int32_t, uint32_t) noexcept { return -1; }
int32_t putStripBytes(BITMAPRECORD&, const uint8_t*, int32_t, int32_t, uint32_t) noexcept { return -1; }
uint64_t stripSize(const BITMAPRECORD&) noexcept { return 0; }
int32_t changeStripHeight(BITMAPRECORD&, int32_t) noexcept { return -1; }

}  // namespace rv
