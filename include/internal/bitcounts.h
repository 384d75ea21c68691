// Counting bits.
#pragma once

#include <bit>

#include "internal/pixels.h"

namespace rv {

// The 1-bits of a row's columns from nFrom up to nTo.
[[gnu::always_inline]] inline uint32_t countOnes(const uint8_t* row, uint32_t nFrom, uint32_t nTo) noexcept {
    uint32_t n = 0, nByte = nFrom / 8;
    const uint32_t nLast = nTo / 8, uHead = 0xFF >> nFrom % 8, uTail = 0xFF00 >> nTo % 8 & 0xFF;
    if (nByte == nLast) return uint32_t(std::popcount(row[nByte] & uHead & uTail));
    n = uint32_t(std::popcount(row[nByte++] & uHead));
    for (; nByte + 8 <= nLast; nByte += 8) n += uint32_t(std::popcount(loadLittle<uint64_t>(row + nByte)));
    for (; nByte < nLast; ++nByte) n += uint32_t(std::popcount(row[nByte]));
    return uTail ? n + uint32_t(std::popcount(row[nLast] & uTail)) : n;
}

}  // namespace rv
