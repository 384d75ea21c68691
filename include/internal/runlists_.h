// Compressed bitmaps from inside: blocks of rows, each with a heap that holds its run lists.
#pragma once

#include "internal/bitmap_.h"
#include "internal/heap_.h"
#include "internal/progress.h"
#include "internal/runs.h"
#include "internal/segments.h"

namespace rv {

// A row's list lies in a node of its block's heap. Its sum is the width and it has at most mostRuns values. A row
// without a list is all of 0-bits.
struct ROWENTRY {
    uint32_t nOffset;  // the node; 0 means no list
    uint32_t nWords;   // values in the list
};

constexpr int32_t kBlockRows = 32768;

struct ROWBLOCK {
    uint16_t* pScratch;      // where a row's new list is built: Width + 4 values
    uint16_t* pDefaultRuns;  // the record of a row without a list, where its width doesn't fit a value; else null
    uint32_t nScratchSize;   // bytes
    HEAP* pHeap;
    ROWENTRY Rows[1];  // one per row
};

// pData of a compressed bitmap: a table of its blocks.
inline ROWBLOCK** rowBlocks(const BITMAPRECORD& bm) noexcept { return reinterpret_cast<ROWBLOCK**>(bm.pData); }
constexpr int32_t blockCount(int32_t nHeight) noexcept { return nHeight / kBlockRows + (nHeight % kBlockRows > 0); }
// Rows of block i of a bitmap of nHeight rows.
constexpr int32_t rowsOfBlock(int32_t i, int32_t nHeight) noexcept {
    return nHeight - i * kBlockRows < kBlockRows ? nHeight - i * kBlockRows : kBlockRows;
}

struct RowPlace {
    ROWBLOCK& block;
    ROWENTRY& entry;
};
inline RowPlace rowPlace(const BITMAPRECORD& bm, int32_t nRow) noexcept {
    ROWBLOCK& block = *rowBlocks(bm)[nRow / kBlockRows];
    return {block, block.Rows[nRow % kBlockRows]};
}

// Stores the sum of the heaps as the bitmap's size.
void updateRunListSize(BITMAPRECORD& bm) noexcept;

// Writes segments of a row. 1, or: -2 no storage, -1 no memory.
int32_t putRunListSegments(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const Segments& segments) noexcept;

// Fills dst, which is compressed and clear, with the columns of src as rows. Rows of src are taken from the last one up
// where bUp, else columns become rows from the last one up. 1, or: -1 no memory, the status of dst's rows, of progress.
int32_t turnRunLists(BITMAPRECORD& dst, const BITMAPRECORD& src, bool bUp, ProgressShare& progress) noexcept;

// Exchanges the lists of two rows of one block; false where they lie in different ones.
bool swapRunLists(const BITMAPRECORD& bm, int32_t nRow, int32_t nOther) noexcept;
// Reverses the pixels of a row. 1, or -1 when memory is short, and the row is as it was.
int32_t mirrorRunList(BITMAPRECORD& bm, int32_t nRow) noexcept;

// Whether heaps, lists and size agree.
bool isWellFormedRunLists(const BITMAPRECORD& bm) noexcept;

}  // namespace rv
