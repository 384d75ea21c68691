// Pixels of a row picked by offset: the nearest columns, of formats whose pixels are whole bytes.
#include <cstring>

#include "internal/pixels.h"
#include "internal/resizerows_.h"

namespace rv {
namespace {

template <int Bytes>
void gather(const uint8_t* pSrc, const uint32_t* pOffsets, uint8_t* pDst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) std::memcpy(pDst + i * Bytes, pSrc + pOffsets[i], Bytes);
}

// Offsets ascend, so those of the last source pixel stand at the end; all others have a byte behind them.
size_t countBeforeLast(const uint32_t* pOffsets, size_t n) noexcept {
    size_t nBefore = n;
    while (nBefore && pOffsets[nBefore - 1] == pOffsets[n - 1]) --nBefore;
    return nBefore;
}

uint32_t load24(const uint8_t* p) noexcept { return p[0] | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16; }

void gather24(const uint8_t* pSrc, const uint32_t* pOffsets, uint8_t* pDst, size_t n) noexcept {
    const size_t nBefore = countBeforeLast(pOffsets, n);
    for (size_t i = 0; i < nBefore; ++i) std::memcpy(pDst + i * 3, pSrc + pOffsets[i], 4);
    for (size_t i = nBefore; i < n; ++i) std::memcpy(pDst + i * 3, pSrc + pOffsets[i], 3);
}

template <class Widen>
void gatherWide(const uint8_t* pSrc, const uint32_t* pOffsets, uint8_t* pDst, size_t n, Widen widen) noexcept {
    const size_t nBefore = countBeforeLast(pOffsets, n);
    for (size_t i = 0; i < nBefore; ++i) storeLittle(pDst + i * 4, widen(loadLittle<uint32_t>(pSrc + pOffsets[i])));
    for (size_t i = nBefore; i < n; ++i) storeLittle(pDst + i * 4, widen(load24(pSrc + pOffsets[i])));
}

}  // namespace

void gather24To32(const uint8_t* pSrc, const uint32_t* pOffsets, uint8_t* pDst, size_t n) noexcept {
    gatherWide(pSrc, pOffsets, pDst, n, [](uint32_t v) { return v | 0xFF000000; });
}
void gather24To32Swapped(const uint8_t* pSrc, const uint32_t* pOffsets, uint8_t* pDst, size_t n) noexcept {
    gatherWide(pSrc, pOffsets, pDst, n, [](uint32_t v) { return __builtin_bswap32(v) >> 8 | 0xFF000000; });
}

GatherFn gatherOf(int32_t nBits) noexcept {
    switch (nBits) {
        case 8:
            return gather<1>;
        case 16:
            return gather<2>;
        case 24:
            return gather24;
        case 32:
            return gather<4>;
        case 48:
            return gather<6>;
        default:
            return gather<8>;
    }
}

}  // namespace rv
