// Rows in reverse.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ravokit/bitmap.h"

namespace rv {

// Writes n packed pixels of src to dst in reverse order. The rows start at the same byte, or are apart. No byte that
// holds none of the pixels is read or written; what the last byte has left behind the last pixel becomes 0.
using MirrorKernel = void (*)(const uint8_t* src, uint8_t* dst, size_t n) noexcept;

// The kernel of a depth, to be chosen once per picture; null for an unknown one.
MirrorKernel mirrorKernel(int32_t nBits) noexcept;
// The plain form, which is the reference of the tests.
MirrorKernel plainMirrorKernel(int32_t nBits) noexcept;

// Exchanges two rows that are apart, n pixels each, in reverse. Null where there is no such form of a depth.
using MirrorExchange = void (*)(uint8_t* first, uint8_t* second, size_t n) noexcept;
MirrorExchange mirrorExchange(int32_t nBits) noexcept;

// Pairs of stored rows from both ends; the middle row of an odd height is one, too.
constexpr int32_t rowPairs(const BITMAPRECORD& bm) noexcept { return bm.Height - bm.Height / 2; }

}  // namespace rv
