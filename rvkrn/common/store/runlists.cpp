// Compressed storage as a whole: its blocks come, go, grow and shrink.
#include "internal/runlists_.h"

#include <algorithm>
#include <cstdlib>

#include "internal/storage_.h"

namespace rv {
namespace {

constexpr uint64_t kSpareRuns = 4;  // values of the scratch beyond the width

void freeBlockOfRows(ROWBLOCK* pBlock) noexcept {
    if (!pBlock) return;
    std::free(pBlock->pScratch);
    std::free(pBlock->pDefaultRuns);
    R_HeapTerm(pBlock->pHeap);
    std::free(pBlock);
}

size_t blockBytes(int32_t nRows) noexcept { return offsetof(ROWBLOCK, Rows) + size_t(nRows) * sizeof(ROWENTRY); }

// The record of a white row as the writer makes it.
uint16_t* newDefaultRuns(uint32_t nWidth) noexcept {
    const size_t nMost = kRecordHead + 2 * (size_t(nWidth) / kLongestRun + 1);
    auto* pRecord = static_cast<uint16_t*>(std::malloc(nMost * sizeof(uint16_t)));
    if (!pRecord) return nullptr;
    RunWriter writer(pRecord + kRecordHead);
    writer.add(0, nWidth);
    closeRecord(pRecord, writer.finish());
    return pRecord;
}

ROWBLOCK* newBlockOfRows(uint32_t nWidth, int32_t nRows) noexcept {
    const uint64_t nScratch = (nWidth + kSpareRuns) * sizeof(uint16_t);
    if (nScratch > UINT32_MAX) return nullptr;
    auto* pBlock = static_cast<ROWBLOCK*>(std::calloc(1, blockBytes(nRows)));
    if (!pBlock) return nullptr;
    pBlock->nScratchSize = uint32_t(nScratch);
    pBlock->pScratch = static_cast<uint16_t*>(std::malloc(pBlock->nScratchSize));
    if (nWidth > kLongestRun) pBlock->pDefaultRuns = newDefaultRuns(nWidth);
    pBlock->pHeap = newHeap(uint64_t(uint32_t(nRows)) * nWidth / 64);
    if (pBlock->pScratch && pBlock->pHeap && (pBlock->pDefaultRuns || nWidth <= kLongestRun)) return pBlock;
    freeBlockOfRows(pBlock);
    return nullptr;
}

// Takes the blocks from nKept on away.
void dropBlocks(BITMAPRECORD& bm, int32_t nKept, int32_t nBlocks) noexcept {
    while (nBlocks > nKept) freeBlockOfRows(rowBlocks(bm)[--nBlocks]);
}

// The table and its last block may be longer than Height says; that does no harm when a later step fails.
bool growRows(BITMAPRECORD& bm, int32_t nHeight) noexcept {
    const int32_t nOld = blockCount(bm.Height), nNew = blockCount(nHeight);
    if (nNew > nOld) {
        auto* pTable = static_cast<ROWBLOCK**>(std::realloc(bm.pData, size_t(nNew) * sizeof(ROWBLOCK*)));
        if (!pTable) return false;
        bm.pData = reinterpret_cast<uint8_t*>(pTable);
    }
    const int32_t nRows = nOld > 0 ? rowsOfBlock(nOld - 1, bm.Height) : 0;
    const int32_t nMore = nOld > 0 ? rowsOfBlock(nOld - 1, nHeight) : 0;
    if (nMore > nRows) {
        auto* pBlock = static_cast<ROWBLOCK*>(std::realloc(rowBlocks(bm)[nOld - 1], blockBytes(nMore)));
        if (!pBlock) return false;
        rowBlocks(bm)[nOld - 1] = pBlock;
        std::fill(pBlock->Rows + nRows, pBlock->Rows + nMore, ROWENTRY{});
    }
    for (int32_t i = nOld; i < nNew; ++i) {
        rowBlocks(bm)[i] = newBlockOfRows(uint32_t(bm.Width), rowsOfBlock(i, nHeight));
        if (!rowBlocks(bm)[i]) return dropBlocks(bm, nOld, i), false;
    }
    return true;
}

void shrinkRows(BITMAPRECORD& bm, int32_t nHeight) noexcept {
    const int32_t nKept = blockCount(nHeight);
    dropBlocks(bm, nKept, blockCount(bm.Height));
    if (nKept == 0) return;
    ROWBLOCK& block = *rowBlocks(bm)[nKept - 1];
    for (int32_t y = rowsOfBlock(nKept - 1, nHeight); y < rowsOfBlock(nKept - 1, bm.Height); ++y)
        R_HeapFree(block.pHeap, std::exchange(block.Rows[y], ROWENTRY{}).nOffset);
}

bool isCompressed(const BITMAPRECORD* pBitmap) noexcept {
    constexpr uint32_t kBoth = BMF_ALLOCATED | BMF_COMPRESSED;
    return pBitmap && (pBitmap->Flags & kBoth) == kBoth && pBitmap->pData;
}

// Does op on each block from the last to the first, until one refuses. 1, or 0 then.
template <class Op>
int32_t eachHeap(BITMAPRECORD& bm, Op&& op) noexcept {
    bool bDone = true;
    for (int32_t i = blockCount(bm.Height); i-- > 0 && bDone;) bDone = op(rowBlocks(bm)[i]->pHeap);
    updateRunListSize(bm);
    return bDone;
}

}  // namespace

int32_t createRunLists(BITMAPRECORD& bm) noexcept {
    const int32_t nHeight = std::exchange(bm.Height, 0);
    uint8_t* const pOldData = std::exchange(bm.pData, nullptr);
    const bool bDone = growRows(bm, nHeight);
    bm.Height = nHeight;
    if (!bDone) {
        std::free(std::exchange(bm.pData, pOldData));
        return -1;
    }
    bm.hMemory = nullptr;
    bm.nDataOffset = 0;
    updateRunListSize(bm);
    return 1;
}

void freeRunLists(BITMAPRECORD& bm) noexcept {
    if (bm.pData) dropBlocks(bm, 0, blockCount(bm.Height));
    std::free(std::exchange(bm.pData, nullptr));
    // The size of the rows again, as for any bitmap without storage.
    storeDataSize(bm, uint64_t(bm.BytesPerLine) * uint32_t(bm.Height));
}

uint64_t runListSize(const BITMAPRECORD& bm) noexcept {
    if (!bm.pData) return 0;
    uint64_t nSize = 0;
    for (int32_t i = 0; i < blockCount(bm.Height); ++i) nSize += rowBlocks(bm)[i]->pHeap->nTotalSize;
    return nSize;
}

void updateRunListSize(BITMAPRECORD& bm) noexcept { storeDataSize(bm, runListSize(bm)); }

int32_t changeRunListHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept {
    if (nHeight < 0) return -13;
    if (!bm.pData) return -2;
    const bool bBlocks = blockCount(nHeight) != blockCount(bm.Height);
    if (nHeight > bm.Height) {
        if (!growRows(bm, nHeight)) return -1;
    } else {
        shrinkRows(bm, nHeight);
    }
    bm.Height = nHeight;
    if (bBlocks) updateRunListSize(bm);
    return 1;
}

bool isWellFormedRunLists(const BITMAPRECORD& bm) noexcept {
    for (int32_t i = 0; i < blockCount(bm.Height); ++i) {
        ROWBLOCK& block = *rowBlocks(bm)[i];
        if (!isWellFormed(block.pHeap)) return false;
        for (int32_t y = 0; y < rowsOfBlock(i, bm.Height); ++y) {
            const ROWENTRY& row = block.Rows[y];
            if (!row.nOffset) continue;
            const HEAPNODE& node = heapNode(block.pHeap, row.nOffset);
            if (!node.bUsed || node.nSize < uint64_t(row.nWords) * 2 || row.nWords > mostRuns(uint32_t(bm.Width)))
                return false;
            if (sumRuns(heapRuns(block.pHeap, row.nOffset), row.nWords) != uint32_t(bm.Width)) return false;
        }
    }
    return dataSize(bm) == runListSize(bm);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_TrimBitmapHeap(BITMAPRECORD* pBitmap, uint32_t) noexcept {
    if (!isCompressed(pBitmap)) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    return eachHeap(*pBitmap, trimHeap);
}

int32_t R_GrowBitmapHeap(BITMAPRECORD* pBitmap, uint32_t nBytes) noexcept {
    if (!isCompressed(pBitmap)) return -13;
    const uint32_t nShare = nBytes / uint32_t(std::max(blockCount(pBitmap->Height), 1));
    return eachHeap(*pBitmap, [nShare](HEAP*& pHeap) { return growHeap(pHeap, nShare); });
}

}  // extern "C"
