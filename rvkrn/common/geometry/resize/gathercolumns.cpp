// Nearest columns and a fourth byte at once: what painting a photograph comes down to.
#include "internal/pixels.h"
#include "internal/resizerows_.h"

namespace rv {
namespace {

uint32_t load24(const uint8_t* p) noexcept { return p[0] | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16; }

// Places ascend, so those of the last source pixel stand at the end; all others have a byte behind them.
template <class Widen>
void widenColumns(const uint8_t* pSrc, const uint32_t* pPlaces, uint8_t* pDst, size_t n, Widen widen) noexcept {
    size_t nBefore = n;
    while (nBefore && pPlaces[nBefore - 1] == pPlaces[n - 1]) --nBefore;
    for (size_t i = 0; i < nBefore; ++i) storeLittle(pDst + i * 4, widen(loadLittle<uint32_t>(pSrc + pPlaces[i])));
    for (size_t i = nBefore; i < n; ++i) storeLittle(pDst + i * 4, widen(load24(pSrc + pPlaces[i])));
}

}  // namespace

void widenColumns24(const uint8_t* pSrc, const uint32_t* pPlaces, uint8_t* pDst, size_t n) noexcept {
    widenColumns(pSrc, pPlaces, pDst, n, [](uint32_t v) { return v | 0xFF000000; });
}
void swapColumns24(const uint8_t* pSrc, const uint32_t* pPlaces, uint8_t* pDst, size_t n) noexcept {
    widenColumns(pSrc, pPlaces, pDst, n, [](uint32_t v) { return __builtin_bswap32(v) >> 8 | 0xFF000000; });
}

}  // namespace rv
