// The steps that a row conversion is made of.
//
// A row is converted in chunks. The pixels of a chunk are read into one of three canonical forms, transformed between
// and within them, and written. All of a chunk is read before any of it is written; so with the chunks taken from last
// to first where the destination's pixels are larger, and from first to last elsewhere, source and destination may
// start at the same byte. What is to be done is settled once, as a list of steps, none of which tests a depth, an order
// or a flag per pixel.
#pragma once

#include "internal/convert_.h"
#include "internal/pixels.h"
#include "internal/rowkernels.h"

namespace rv {

constexpr size_t kChunk = 256;
static_assert(kChunk % 8 == 0, "chunks of every depth start at a byte");

struct Bgra8 {
    uint8_t b, g, r, a;
};
struct Bgra16 {
    uint16_t b, g, r, a;
};

// The rows, the parameters of steps, and the canonical forms. Only what the steps in use read is ever set, since a row
// may be a single pixel.
struct RowWork {
    const uint8_t* pSrc;  // where the chunk lies
    uint8_t* pDst;

    KeptBits source;             // levels of a grey source
    KeptBits target;             // where grey goes in the destination
    uint32_t nFull;              // full scale of the destination
    uint32_t nShift;             // plain shifts
    const RGBQUAD* pPaletteSrc;  // colours of indices or levels
    const RGBQUAD64* pLUT16Src;  // the same in 16 bits
    const RGBQUAD* pPaletteDst;  // the table that is searched
    uint32_t nColorsDst;
    const MatchCell* pMatchRoot;
    uint32_t uColor, nColorIndex;   // the colour that was searched last (blue in the low byte), and its index
    uint32_t uTransparent;          // the same form of a colour, or an index
    uint8_t uAlphaHit, uAlphaMiss;  // alpha of a transparent pixel and of others
    uint8_t table[256];             // of levels of up to 8 bits

    RowKernel pfnRow;           // of a hot pair
    uint32_t uColor0, uColor1;  // of a source of one bit
    RGBQUAD entries[256];       // a palette in the order of the destination

    uint32_t level[kChunk];
    Bgra8 color[kChunk];
    Bgra16 wide[kChunk];
};

using Step = void (*)(RowWork& w, size_t n) noexcept;

// ---- reading and writing -----------------------------------------------------------------------------------------

Step levelReader(int32_t nBits) noexcept;                               // to level; 0 to 8, 12, 16, 32 bits
Step colorReader(int32_t nBits, int32_t nOrder) noexcept;               // to color; 16, 24, 32 bits
Step wideReader(int32_t nBits, bool bRedFirst) noexcept;                // to wide; 48, 64 bits
Step levelWriter(int32_t nBits) noexcept;                               // cut to the depth
Step colorWriter(int32_t nBits, int32_t nOrder, bool bAlpha) noexcept;  // bAlpha: 5-5-5 has bit 15 from alpha
Step wideWriter(int32_t nBits, bool bRedFirst,
                bool bAlpha) noexcept;         // without bAlpha, 64 bits keep the word that was there
void mapBytes(RowWork& w, size_t n) noexcept;  // a row of bytes through the table

// ---- between the forms -------------------------------------------------------------------------------------------

void levelToColor(RowWork& w, size_t n) noexcept;      // pPaletteSrc
void levelToWide(RowWork& w, size_t n) noexcept;       // pLUT16Src
void levelToGrayColor(RowWork& w, size_t n) noexcept;  // the low byte in all three samples
void levelToGrayWide(RowWork& w, size_t n) noexcept;   // the low word in all three samples
void levelToTable(RowWork& w, size_t n) noexcept;      // level = table[level]
void colorToWide(RowWork& w, size_t n) noexcept;       // x 257
void wideToColor(RowWork& w, size_t n) noexcept;       // the high bytes
void colorToIndex(RowWork& w, size_t n) noexcept;      // the nearest of pPaletteDst
void colorToMatch(RowWork& w, size_t n) noexcept;      // pMatchRoot
void inverseRommColor(RowWork& w, size_t n) noexcept;  // from the wide gamut
void inverseRommWide(RowWork& w, size_t n) noexcept;

// ---- alpha: uAlphaHit and uAlphaMiss -----------------------------------------------------------------------------

void fillAlpha(RowWork& w, size_t n) noexcept;         // of color, with uAlphaMiss
void alphaByColor(RowWork& w, size_t n) noexcept;      // of color, hit by colour
void alphaByIndex(RowWork& w, size_t n) noexcept;      // of color, hit by level
void alphaByWide(RowWork& w, size_t n) noexcept;       // of wide, hit by the high bytes
void alphaByWideIndex(RowWork& w, size_t n) noexcept;  // of wide, hit by level

// ---- grey levels -------------------------------------------------------------------------------------------------

void cutLevel(RowWork& w, size_t n) noexcept;         // (s >> source.nShift) & mask
void cutSignedLevel(RowWork& w, size_t n) noexcept;   // of 16-bit samples with a sign
void colorToGray(RowWork& w, size_t n) noexcept;      // the grey rule
void wideToGray(RowWork& w, size_t n) noexcept;       // the same at 16 bits
void shiftLevelDown(RowWork& w, size_t n) noexcept;   // by nShift
void scaleLevel(RowWork& w, size_t n) noexcept;       // v x nFull / mask, truncated, for nFull and mask below 2^16
void scaleLevelWide(RowWork& w, size_t n) noexcept;   // the same for any
void placeGray(RowWork& w, size_t n) noexcept;        // 8-bit grey to target
void placeTableGray(RowWork& w, size_t n) noexcept;   // 16-bit grey of a table to target
void placeWideGray(RowWork& w, size_t n) noexcept;    // 16-bit grey of 48 and 64-bit colour to target, 12 and 16 bits
void placeWideGray32(RowWork& w, size_t n) noexcept;  // the same at 32 bits
void moveSample(RowWork& w, size_t n) noexcept;       // the top target.nBits of nShift bits, to target

// ---- the list ----------------------------------------------------------------------------------------------------

struct RowPlan {
    static constexpr size_t kMost = 8;
    Step steps[kMost];
    size_t nSteps = 0;    // 0: the row stays as it is
    bool bWhole = false;  // the steps take the row at once, and heed overlap themselves

    void add(Step step) noexcept { steps[nSteps++] = step; }
};

// The kernel of a pair of colour formats, or from colour to grey that fills its sample; null where there is none.
// Depths of 16 bits and more, and 0 and 12 for grey; ORDER_ROMM is laid out as ORDER_BGR.
RowKernel colorKernel(int32_t nBitsSrc, int32_t nOrderSrc, int32_t nBitsDst, int32_t nOrderDst) noexcept;
// The same of a palette of 1, 4 or 8 bits. Either adds the step of its kernel, or returns false.
bool addPaletteKernel(RowPlan& plan, RowWork& w, int32_t nBitsSrc, int32_t nBitsDst, int32_t nOrderDst) noexcept;
bool addTableKernel(RowPlan& plan, RowWork& w, int32_t nBitsSrc, int32_t nBitsDst) noexcept;
// Levels of 16-bit samples, w.source, to bytes: scaled to 0 to 255 as far as they are less, or through w.table.
bool addLevelKernel(RowPlan& plan, RowWork& w, bool bTable) noexcept;

// Settles the steps of arguments that have been checked.
RowPlan planConversion(const ConvertArgs& args, RowWork& w, ConvertLoops loops) noexcept;
void runPlan(const RowPlan& plan, RowWork& w, size_t n, int32_t nBitsSrc, int32_t nBitsDst, uint8_t* pDst,
             const uint8_t* pSrc) noexcept;

// The matrix to ORDER_ROMM over a row of 24 or 48 bits with blue first, in place.
void forwardRomm24(uint8_t* pRow, size_t n) noexcept;
void forwardRomm48(uint8_t* pRow, size_t n) noexcept;

}  // namespace rv
