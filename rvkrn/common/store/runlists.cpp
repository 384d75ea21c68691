// Compressed storage: each row of a 1-bit picture as a list of run lengths in a block's heap.
#include "internal/storage_.h"

namespace rv {

int32_t createRunLists(BITMAPRECORD&) noexcept { return -1; }
void freeRunLists(BITMAPRECORD&) noexcept {}
int32_t getRunListBytes(BITMAPRECORD&, uint8_t*, int32_t, int32_t, uint32_t) noexcept { return -1; }
int32_t putRunListBytes(BITMAPRECORD&, const uint8_t*, int32_t, int32_t, uint32_t) noexcept { return -1; }
uint64_t runListSize(const BITMAPRECORD&) noexcept { return 0; }
int32_t changeRunListHeight(BITMAPRECORD&, int32_t) noexcept { return -1; }

}  // namespace rv
