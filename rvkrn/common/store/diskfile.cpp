// A bitmap in a temporary file.
#include "internal/storage_.h"

namespace rv {

RVHANDLE newTemporaryFile(uint64_t) noexcept { return nullptr; }

int32_t createDiskFile(BITMAPRECORD&) noexcept { return -1; }
void freeDiskFile(BITMAPRECORD&) noexcept {}

int32_t getDiskBytes(BITMAPRECORD&, uint8_t*, int32_t, int64_t, uint32_t) noexcept { return -1; }
int32_t putDiskBytes(BITMAPRECORD&, const uint8_t*, int32_t, int64_t, uint32_t) noexcept { return -1; }

}  // namespace rv
