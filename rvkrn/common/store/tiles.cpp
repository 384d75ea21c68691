// Tiled storage: some tiles in memory, the others in files with a few views at a time.
#include "internal/storage_.h"

namespace rv {

int32_t createTiles(BITMAPRECORD&, uint64_t, uint64_t, bool) noexcept { return -1; }
void freeTiles(BITMAPRECORD&) noexcept {}

uint8_t* tileRow(BITMAPRECORD&, int32_t) noexcept { return nullptr; }
int32_t getTileBytes(BITMAPRECORD&, uint8_t*, int32_t, int64_t, uint32_t) noexcept { return -1; }
int32_t putTileBytes(BITMAPRECORD&, const uint8_t*, int32_t, int64_t, uint32_t) noexcept { return -1; }

}  // namespace rv
