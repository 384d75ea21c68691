// One packed pixel of a row, as a number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ravo {

// Depths below 8 are a bit stream with the most significant bit first; 12 bits are two pixels in three bytes, the first
// in the low end of the little-endian word; other depths are whole little-endian bytes.
inline uint64_t readPixel(const uint8_t* pRow, int32_t x, int32_t nBits) noexcept {
    if (nBits < 8) {
        const size_t nBit = size_t(x) * size_t(nBits);
        const uint32_t nPhase = uint32_t(nBit & 7);
        uint32_t nWord = uint32_t(pRow[nBit >> 3]) << 8;
        if (nPhase + uint32_t(nBits) > 8) nWord |= pRow[(nBit >> 3) + 1];
        return (nWord >> (16 - nPhase - uint32_t(nBits))) & ((1u << nBits) - 1);
    }
    if (nBits == 12) {
        const uint8_t* p = pRow + size_t(x >> 1) * 3;
        return x & 1 ? uint32_t(p[1] >> 4 | p[2] << 4) : uint32_t(p[0] | (p[1] & 15) << 8);
    }
    uint64_t nValue = 0;
    std::memcpy(&nValue, pRow + size_t(x) * size_t(nBits / 8), size_t(nBits / 8));
    return nValue;
}

// Clears what stands behind the last pixel of a row of nBytes, so that equal pictures have equal rows.
inline void clearTail(uint8_t* pRow, int32_t nWidth, int32_t nBits, size_t nBytes) noexcept {
    const size_t nUsedBits = size_t(nWidth) * size_t(nBits);
    const size_t nUsed = (nUsedBits + 7) / 8;
    if (nUsedBits & 7) {
        const uint32_t nSpare = 8 - uint32_t(nUsedBits & 7);
        pRow[nUsed - 1] &= uint8_t(nBits == 12 ? 0x0F : 0xFF << nSpare);
    }
    if (nUsed < nBytes) std::memset(pRow + nUsed, 0, nBytes - nUsed);
}

}  // namespace ravo
