// The state of a running dither, and the steps of a row.
//
// A row is read into pixels of four bytes (blue, green, red, nothing), which the method turns into indices of a byte,
// and these are packed to the depth of the destination.
#pragma once

#include "internal/palette_.h"
#include "internal/rvclasses_.h"
#include "ravokit/dither.h"

// For parts of a loop: out of line, what they carry along would go through memory, and not be built as the loop is.
#define RV_INLINE __attribute__((always_inline)) inline

namespace rv {

// How an index is found.
enum DitherKind : int32_t {
    kAnyPalette = 0,  // the cache of the state
    kUserTable = 1,   // the caller's match table
    kTwoColors = 2,   // fixed palettes of 1 to 8 bits
    k4Colors = 3,
    k8Colors = 4,
    k16Colors = 5,
    k32Colors = 6,
    k64Colors = 7,
    k128Colors = 8,
    k256Colors = 9,
    kWebColors = 10,
    kTwoByTable = 11  // two colours, decided by a table of grays
};

struct DITHERDATA {
    uint32_t nOrderedRow = 0;
    uint32_t nOrderedColumn = 0;  // where rows start
    uint32_t nColors = 0;
    RGBQUAD SrcPalette[kMostColors] = {};
    RGBQUAD DstPalette[kMostColors] = {};
    uint32_t* pColorCache = nullptr;
    int32_t nBitsPerPixelSrc = 0;
    int32_t nMethod = 0;
    int32_t nPaletteKind = 0;
    int32_t nBitsPerPixelDst = 0;
    uint32_t nErrorRows = 0;       // of the diffusions
    uint32_t nErrorRowLength = 0;  // columns, with those left and right of the row
    RGBQUAD Searchable[kMostColors] = {};
    uint32_t nSearchable = 0;
    int32_t nGrayBits = 0;
    uint32_t uGrayMask = 0;
    int32_t nGrayShift = 0;

    // What a code stands for: blue, green, red, and the index in the top byte. The code is the value of a cache cell;
    // for fixed kinds it is the sum of what blue, green and red add to it, shifted.
    uint16_t Parts[3][256] = {};
    uint32_t nPartShift = 0;
    uint32_t Answers[kMostColors + 1] = {};
    const uint8_t* pGrays = nullptr;  // of kTwoByTable: 256 of them
    int32_t nWidth = 0;               // at the start
    Buffer<uint32_t> OwnCache;        // of kAnyPalette
    Buffer<uint8_t> Found;            // indices of the cells that are filled, for rows of the nearest colour
    Buffer<uint32_t> Pixels;          // a row as it is read
    Buffer<uint8_t> Indices;          // a row before it is packed
    Buffer<int32_t> Errors;           // the rows that are read, and those that are written meanwhile
    bool bErrorsSwapped = false;
    uint32_t nRowsInTurn = 0;  // rows to walk in one piece before stretches are tried again
    uint32_t nPenalty = 0;     // how many that becomes at the next failure
};

// A colour as the steps of a row have it.
constexpr uint32_t pixelOf(const RGBQUAD& q) noexcept {
    return q.rgbBlue | uint32_t(q.rgbGreen) << 8 | uint32_t(q.rgbRed) << 16;
}

// ---- rows in and out ---------------------------------------------------------------------------------------------

// The pixels of a row: those of pRow itself where they are laid out so, else Pixels. ORDER_ROMM changes pRow.
const uint8_t* readDitherRow(DITHERDATA& data, const BITMAPRECORD& bm, uint8_t* pRow, size_t n) noexcept;
// n indices, cut to nBits, from the first bit of pRow on.
void packIndices(int32_t nBits, const uint8_t* pIndices, uint8_t* pRow, size_t n) noexcept;

// ---- the methods -------------------------------------------------------------------------------------------------

// Rows of error that a method needs, and columns on either side of the row; 0 of both without diffusion.
struct ErrorShape {
    uint32_t nRows, nSide;
};
ErrorShape errorShape(int32_t nMethod) noexcept;

void diffuseRow(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept;
void orderRow(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept;
void nearestRow(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept;
// The same from pixels of three bytes, once Found is prepared.
void nearestRow24(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept;
// Has two colours decided by what the table, which stays the caller's, makes of a pixel's gray: 128 and more are the
// second, and ordered what exceeds the matrix.
void decideByGrays(DITHERDATA& data, const uint8_t* pGrays) noexcept;
// Makes Found from the cache. False for no memory.
bool prepareFound(DITHERDATA& data) noexcept;

// ---- indices -----------------------------------------------------------------------------------------------------

// The index into a palette of a fixed kind, from channels of 8 bits.
template <int Kind>
constexpr uint32_t fixedIndex(uint32_t b, uint32_t g, uint32_t r) noexcept {
    static_assert(Kind >= kTwoColors && Kind <= kWebColors);
    if constexpr (Kind == kTwoColors) return (5 * g + 2 * (r + 2) + b) >> 10;
    if constexpr (Kind == k4Colors) return (5 * g + 2 * (r + 2) + b) >> 9;
    if constexpr (Kind == k8Colors) return (r >> 7) << 2 | (g >> 7) << 1 | b >> 7;
    if constexpr (Kind == k16Colors) {
        const uint32_t n = (b >> 7) << 2 | (g >> 7) << 1 | r >> 7;
        return n ? n | 8 : 0;
    }
    if constexpr (Kind == k32Colors) return (r >> 6) << 3 | (g >> 6) << 1 | b >> 7;
    if constexpr (Kind == k64Colors) return (r >> 6) << 4 | (g >> 6) << 2 | b >> 6;
    if constexpr (Kind == k128Colors) return (r >> 6) << 5 | (g >> 5) << 2 | b >> 6;
    if constexpr (Kind == k256Colors) return (r >> 5) << 5 | (g >> 5) << 2 | b >> 6;
    return 36 * (r / 51) + 6 * (g / 51) + b / 51;
}

// Fills the empty cell of the key, and gives its value: 1 more than the number of a searchable entry, or 0.
uint32_t fillCell(DITHERDATA& data, uint32_t nKey) noexcept;

// Finders give the answer for a pixel, whose top byte they ignore. They come in four: the two caches, two colours, and
// the code by parts for all other fixed kinds. kPure: they write nothing that others may see.
constexpr int kByParts = -1;
template <int Kind>
struct Finder {
    static constexpr bool kPure = Kind != kUserTable;
    DITHERDATA& data;

    uint32_t operator()(uint32_t uPixel) const noexcept {
        const uint32_t b = uPixel & 255, g = uPixel >> 8 & 255, r = uPixel >> 16 & 255;
        if constexpr (Kind == kTwoColors) {
            return data.Answers[fixedIndex<kTwoColors>(b, g, r)];
        } else if constexpr (Kind == kByParts) {
            const uint32_t nSum = uint32_t(data.Parts[0][b]) + data.Parts[1][g] + data.Parts[2][r];
            return data.Answers[nSum >> data.nPartShift];
        } else {
            const uint32_t nKey = colorKey(uPixel);
            uint32_t n = data.pColorCache[nKey];
            if (n == 0) [[unlikely]]
                n = fillCell(data, nKey);
            if (Kind == kUserTable && n > kMostColors) n = 0;
            return data.Answers[n];
        }
    }
};

template <int Kind>
using Kinds = std::integral_constant<int, Kind>;

// Calls f(Kinds<Kind>{}) for the finder of a known kind.
template <class F>
decltype(auto) visitFinder(int32_t nKind, F&& f) {
    switch (nKind) {
        case kAnyPalette:
            return f(Kinds<kAnyPalette>{});
        case kUserTable:
            return f(Kinds<kUserTable>{});
        case kTwoColors:
            return f(Kinds<kTwoColors>{});
        default:
            return f(Kinds<kByParts>{});
    }
}

// Calls f(Kinds<Kind>{}) for a known kind.
template <class F>
decltype(auto) visitKind(int32_t nKind, F&& f) {
    switch (nKind) {
        case kUserTable:
            return f(Kinds<kUserTable>{});
        case kTwoColors:
            return f(Kinds<kTwoColors>{});
        case k4Colors:
            return f(Kinds<k4Colors>{});
        case k8Colors:
            return f(Kinds<k8Colors>{});
        case k16Colors:
            return f(Kinds<k16Colors>{});
        case k32Colors:
            return f(Kinds<k32Colors>{});
        case k64Colors:
            return f(Kinds<k64Colors>{});
        case k128Colors:
            return f(Kinds<k128Colors>{});
        case k256Colors:
            return f(Kinds<k256Colors>{});
        case kWebColors:
            return f(Kinds<kWebColors>{});
        default:
            return f(Kinds<kAnyPalette>{});
    }
}

}  // namespace rv
