// Palettes inside the library: the search body, translation tables, match tables, logical palettes.
#pragma once

#include <cstdint>

#include "internal/handles.h"
#include "internal/pixels.h"
#include "ravokit/palette.h"

namespace rv {

constexpr uint32_t kMostColors = 256;

// The kind of a colour reference, its top byte; all kinds but these are plain colours.
constexpr uint32_t kPaletteRef = 0x01, kGrayRef = 0x04;
constexpr uint32_t kindOf(COLORREF cr) noexcept { return cr >> 24; }

constexpr COLORREF plainColor(const RGBQUAD& q) noexcept {
    return COLORREF(q.rgbRed) | COLORREF(q.rgbGreen) << 8 | COLORREF(q.rgbBlue) << 16;
}

// A colour by five bits of red, green and blue each, from a pixel with blue in its lowest byte, then green, then red.
constexpr uint32_t colorKey(uint32_t uPixel) noexcept {
    return (uPixel >> 9 & 0x7C00) | (uPixel >> 6 & 0x3E0) | (uPixel >> 3 & 0x1F);
}
constexpr uint32_t kColorKeys = 32768;

// The keys of a row of n pixels of three or four bytes. Nothing past the pixels is read.
struct ColorKeyRows {
    using Row = void (*)(const uint8_t* pPixels, uint16_t* pKeys, size_t n) noexcept;
    Row row24, row32;
};
extern const ColorKeyRows kPlainColorKeys;
const ColorKeyRows& bestColorKeys() noexcept;

// A cleared table as bitmaps own them. It always has room for 256 entries, so that a pixel past nColors reads black
// instead of foreign memory. Null when memory is short.
RGBQUAD* newTable() noexcept;
// The same with a copy of 1 to 256 entries; null also for a null pEntries or another count.
RGBQUAD* newTable(const RGBQUAD* pEntries, uint32_t nCount) noexcept;
// Gives the bitmap another table, or none; frees the old one.
void replaceTable(BITMAPRECORD& bm, RGBQUAD* pNew) noexcept;

// Entry i of n is i * 255 / (n - 1).
void fillGrayRamp(RGBQUAD* pEntries, uint32_t nCount) noexcept;

// ---- nearest entry -----------------------------------------------------------------------------------------------

// The least squared distance in a table of four-byte entries, whose fourth byte is not consulted, and the first and the
// last entry at that distance. The wanted channels stand in the entries' order; they may lie outside 0 to 255, and the
// distance is modulo 2^32.
struct Nearest {
    uint32_t nDistance;
    uint32_t nFirst, nLast;
};
using NearestFn = Nearest (*)(const uint8_t* pEntries, uint32_t nCount, int32_t c0, int32_t c1, int32_t c2) noexcept;

Nearest nearestPlain(const uint8_t* pEntries, uint32_t nCount, int32_t c0, int32_t c1, int32_t c2) noexcept;
// The fastest form that this processor has; the same results.
NearestFn bestNearest() noexcept;

// ---- translation and match tables --------------------------------------------------------------------------------

// One byte per source index, to the nearest destination entry. Without a destination it is the grey of each entry;
// without a source, index v stands for the grey v. True: the palettes agree, the table is the identity; without both
// nothing is written. nSrc is at most 256.
bool buildTranslation(const RGBQUAD* pSrc, uint32_t nSrc, const RGBQUAD* pDst, uint32_t nDst, uint8_t* pTable) noexcept;

// A tree of tables of 256 cells that knows the colours of a palette, and only these: the root goes by blue, then green,
// then red. A cell below 256 is an index, all ones is absent, anything else the address of the next table.
using MatchCell = uintptr_t;
constexpr MatchCell kNoMatch = ~MatchCell(0);
constexpr uint32_t kMatchCells = 256;

// The root of a palette of up to 256 entries, or null when memory is short. What takes a match table takes the address
// of the variable that holds the root.
MatchCell* buildMatchTable(const RGBQUAD* pPalette, uint32_t nCount) noexcept;
// Null is allowed.
void freeMatchTable(MatchCell* pRoot) noexcept;

// The index, or -1. A blue that a single entry has answers whatever green and red are, and so does a green below it.
inline int32_t matchLookup(const MatchCell* pRoot, uint8_t nBlue, uint8_t nGreen, uint8_t nRed) noexcept {
    MatchCell cell = pRoot[nBlue];
    if (cell >= kMatchCells && cell != kNoMatch) cell = reinterpret_cast<const MatchCell*>(cell)[nGreen];
    if (cell >= kMatchCells && cell != kNoMatch) cell = reinterpret_cast<const MatchCell*>(cell)[nRed];
    return int32_t(cell);
}

}  // namespace rv

// A logical palette. Only nCount entries are allocated.
struct LOGICALPALETTE {
    uint32_t uKind;
    uint16_t uVersion;
    uint16_t nCount;
    PALETTEENTRY entries[rv::kMostColors];
};
