// Rows of a canvas: from what a sink gets to pixels of 32 bits, 0xAARRGGBB.
#pragma once

#include <ravokit/types.h>

#include <cstddef>
#include <cstdint>

namespace ravo {

constexpr uint32_t kOpaque = 0xFF000000u;

/// Reads n pixels from column nFirst on. A depth with a table takes its colours from it, as they stand. Depths without
/// alpha become opaque.
using FetchRow = void (*)(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t* pTable);
/// Null for a depth that no band has.
FetchRow fetchRowOf(int32_t nBits) noexcept;

/// How fetched pixels come over those that are there: as they are, by their alpha, or only those whose alpha isn't 0.
using MergeRow = void (*)(uint32_t* pDest, const uint32_t* pSource, int32_t n);
void blendRow(uint32_t* pDest, const uint32_t* pSource, int32_t n) noexcept;
/// Colours are multiplied by their alpha already.
void blendPremultipliedRow(uint32_t* pDest, const uint32_t* pSource, int32_t n) noexcept;
void maskRow(uint32_t* pDest, const uint32_t* pSource, int32_t n) noexcept;

/// The entry of pSource at each column.
void gatherRow(uint32_t* pDest, const uint32_t* pSource, const int32_t* pColumns, int32_t n) noexcept;

}  // namespace ravo
