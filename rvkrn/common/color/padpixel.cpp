// Head room at the ends of the bit range of 16-bit samples.
#include <algorithm>

#include "internal/pixels.h"
#include "ravokit/convert.h"

using namespace rv;

extern "C" int32_t R_PadPixelData(uint8_t* pBuffer, int32_t nBitsPerPixel, int32_t nCount, int32_t nHighBit,
                                  int32_t nLowBit, int32_t nPad) noexcept {
    if (!pBuffer || nBitsPerPixel != 16) return -13;  // Invalid parameter passed
    const int32_t nHigh = nHighBit > 15 ? 1 : std::max(nHighBit, 0);
    const int32_t nLow = std::max(std::min(nLowBit, nHigh - 1), 0);
    if (nHigh == 15 && nLow == 0) return 1;

    const uint32_t nRange = 1u << (nHigh - nLow + 1);
    const int32_t nRoom = std::min(nPad, int32_t(nRange / 4));
    if (nRoom <= 0) return 1;
    const uint32_t nUpper = (2u << nHigh) - 1 - (nHigh < 15 ? uint32_t(nRoom) : 0);
    const uint32_t nLower = nLow > 0 ? uint32_t(nRoom) << nLow : 0;
    const uint32_t uMask = (nRange - 1) << nLow;
    for (size_t i = 0; nCount > 0 && i < size_t(nCount); ++i) {
        const uint32_t uSample = Pixel<16>::get(pBuffer, i), v = uSample & uMask;
        const uint32_t nBound = v < nLower ? nLower : v > nUpper ? nUpper : v;
        Pixel<16>::put(pBuffer, i, (uSample & ~uMask) | (nBound & uMask));
    }
    return 1;
}
