// Boxes of 1-bit rows: how many bits they hold, and the gray that it makes.
//
// Rows are first added up column by column, many columns at a time: bit k of a column's sum lies in plane k. Only then
// are the columns of a box counted together, once for all of its rows.
#pragma once

#include "internal/rvclasses_.h"

namespace rv {

constexpr int32_t kMostPlanes = 5;
constexpr int32_t kMostPlaneRows = 31;  // eight columns of such sums still fit a byte

// The sums of up to kMostPlaneRows rows.
class BitPlanes {
    Buffer<uint64_t> m_planes;
    size_t m_nRowBytes = 0, m_nStride = 0;  // the stride in words
    int32_t m_nRows = 0;

public:
    bool allocate(size_t nRowBytes) noexcept;
    void clear() noexcept { m_nRows = 0; }
    void add(const uint8_t* row) noexcept;
    int32_t rows() const noexcept { return m_nRows; }
    // The plane of the lowest bits; 16 bytes at any column may be read.
    const uint8_t* first() const noexcept { return reinterpret_cast<const uint8_t*>(m_planes.get()); }
    size_t stride() const noexcept { return m_nStride * sizeof(uint64_t); }
    int32_t count() const noexcept;
};

// Where the boxes of a vector lie: two loads of 16 bytes, of which each lane takes the bytes that hold its box, and of
// these the bits.
struct BoxLanes {
    uint8_t shuffle[32], mask[32];
    uint32_t nByte[2];
};
constexpr size_t kBoxPadding = 16;  // arrays are as long as whole vectors

struct BitBoxes {
    const uint32_t *starts, *ends;  // columns, ends exclusive
    size_t n;
    const BoxLanes* lanes;  // null if there is a box that no lane takes
    uint32_t nLaneBits;
};

// count counts the bits of each box; the counts are added to those that are there if bAdd. They come in whole vectors.
// spread makes the gray of boxes of one column and one row, which is 0 or 255, flipped by uFlip.
struct BitBoxOps {
    void (*count)(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd, uint32_t* counts) noexcept;
    void (*spread)(const BitBoxes& boxes, const BitPlanes& planes, uint8_t uFlip, uint8_t* out) noexcept;
};
extern const BitBoxOps kPlainBitBoxes;
#ifdef __x86_64__
extern const BitBoxOps kAvx2BitBoxes;
#endif
const BitBoxOps& bestBitBoxes() noexcept;

// The lanes of boxes that none is wider of than nWidest, in ascending order. False for no memory.
bool makeBoxLanes(BitBoxes& boxes, uint32_t nWidest, Buffer<BoxLanes>& lanes) noexcept;

// The gray of n boxes, 255 x count / (width x height) without its fraction, flipped by uFlip. The inverses are those of
// the widths. Exact in float where no box has more than kMostFloat pixels, in double for counts of 31 bits.
constexpr uint32_t kMostFloat = 4096;
void graysOfCounts(const uint32_t* counts, const float* inverses, uint32_t nHeight, uint8_t uFlip, uint8_t* out,
                   size_t n) noexcept;
void graysOfCounts(const uint32_t* counts, const double* inverses, uint32_t nHeight, uint8_t uFlip, uint8_t* out,
                   size_t n) noexcept;
// The same of one box of any size.
uint8_t grayOfCount(uint64_t nCount, uint64_t nTotal) noexcept;

// Grows each run of ink of a row by some columns at both ends.
class InkGrower {
    Buffer<uint64_t> m_words, m_spare;
    size_t m_nWords = 0, m_nOut = 0;
    uint32_t m_nColumns = 0, m_nBefore = 0, m_nBehind = 0;
    uint64_t m_uFlip = 0;  // all ones where ink is 0-bits

public:
    // Of nColumns columns; nOut of them are asked for. False for no memory.
    bool prepare(uint32_t nColumns, uint32_t nOut, uint32_t nBefore, uint32_t nBehind, bool bInkIsZero) noexcept;
    // The row where ink is 1-bits, whole words of it.
    const uint8_t* grow(const uint8_t* row) noexcept;
};

}  // namespace rv
