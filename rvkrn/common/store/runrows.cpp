// The rows of a compressed bitmap: pixels, lists and segments go through one splice into the row's list.
#include <algorithm>
#include <cstring>

#include "internal/pixels.h"
#include "internal/runlists_.h"
#include "internal/rvclasses_.h"
#include "internal/storage_.h"
#include "ravokit/rows.h"

namespace rv {
namespace {

RunCursor rowRuns(const RowPlace& row, uint32_t nWidth) noexcept {
    if (row.entry.nOffset) return {heapRuns(row.block.pHeap, row.entry.nOffset), row.entry.nWords};
    return row.block.pDefaultRuns ? recordRuns(row.block.pDefaultRuns) : RunCursor(nWidth);
}

// Puts a whole list in the place of the row's; the row keeps its own when memory is short.
bool storeRuns(const RowPlace& row, const uint16_t* pList, uint32_t nWords) noexcept {
    const uint32_t nBytes = nWords * uint32_t(sizeof *pList);
    const uint32_t nOffset = row.entry.nOffset ? heapRealloc(row.block.pHeap, row.entry.nOffset, nBytes)
                                               : heapAlloc(row.block.pHeap, nBytes);
    if (!nOffset) return false;
    row.entry = {nOffset, nWords};
    std::memcpy(heapRuns(row.block.pHeap, nOffset), pList, nBytes);
    return true;
}

// Room for a list that is changed in part: it will be changed again, and room to spare saves most of the moves.
constexpr uint64_t roomFor(uint32_t nWords) noexcept { return uint64_t(nWords) * sizeof(uint16_t) * 5 / 4 + 64; }

bool growNode(const RowPlace& row, uint32_t nWords) noexcept {
    if (heapNode(row.block.pHeap, row.entry.nOffset).nSize >= uint64_t(nWords) * sizeof(uint16_t)) return true;
    const uint64_t nRoom = roomFor(nWords);
    const uint32_t nOffset = nRoom <= UINT32_MAX ? heapRealloc(row.block.pHeap, row.entry.nOffset, uint32_t(nRoom)) : 0;
    if (nOffset) row.entry.nOffset = nOffset;
    return nOffset != 0;
}

// Gives room back once more than half of it lies idle.
void cutNode(const RowPlace& row) noexcept {
    const uint64_t nRoom = roomFor(row.entry.nWords);
    if (heapNode(row.block.pHeap, row.entry.nOffset).nSize > 2 * nRoom)
        heapRealloc(row.block.pHeap, row.entry.nOffset, uint32_t(nRoom));
}

// Takes out the runs of length 0 that a list had where it was put, so that it keeps to the values that it may have.
void compactRuns(const RowPlace& row, uint32_t nWidth) noexcept {
    uint16_t* pList = heapRuns(row.block.pHeap, row.entry.nOffset);
    RunWriter writer(pList);  // never overtakes the cursor
    RunCursor cursor(pList, row.entry.nWords);
    writer.addRuns(cursor, nWidth);
    row.entry.nWords = uint32_t(writer.finish() - pList);
}

// Replaces n pixels of a row from nCol on by those that build adds to a writer. False when memory is short, and the
// list is as it was then.
//
// The new section starts with the run that holds nCol and ends with the one that holds nCol + n; what these have
// outside of the stretch is part of it. So it ends in the colour of the run that it replaces, and what follows stays.
template <class Build>
bool splice(const RowPlace& row, uint32_t nWidth, uint32_t nCol, uint32_t n, Build&& build) noexcept {
    uint16_t* const pScratch = row.block.pScratch;
    const uint32_t nRest = nWidth - nCol - n;
    if (!row.entry.nOffset || n == nWidth) {
        RunWriter writer(pScratch);
        writer.add(0, nCol);
        build(writer);
        writer.add(0, nRest);
        return storeRuns(row, pScratch, uint32_t(writer.finish() - pScratch));
    }
    const uint16_t* const pList = heapRuns(row.block.pHeap, row.entry.nOffset);
    RunCursor cursor(pList, row.entry.nWords);
    cursor.skip(nCol);
    auto nFirst = uint32_t(cursor.p - pList) - 1;
    uint32_t nInto = pList[nFirst] - cursor.nRun;
    if (nInto == 0 && nFirst > 0) nInto = pList[--nFirst];  // it may go on in the colour of the run before
    RunWriter writer(pScratch, nInto, nFirst & 1);
    build(writer);
    uint32_t nOld = row.entry.nWords - nFirst;
    if (nRest) {
        cursor.skip(n);
        writer.add(cursor.nColour, cursor.nRun);
        nOld = uint32_t(cursor.p - pList) - nFirst;
    }
    const auto nNew = uint32_t(writer.finish() - pScratch);
    const uint32_t nTail = row.entry.nWords - nFirst - nOld, nWords = nFirst + nNew + nTail;
    constexpr uint32_t kBytes = sizeof(uint16_t);
    if (nNew > nOld && !growNode(row, nWords)) return false;
    uint16_t* const p = heapRuns(row.block.pHeap, row.entry.nOffset) + nFirst;
    if (nNew != nOld) std::memmove(p + nNew, p + nOld, nTail * kBytes);
    std::memcpy(p, pScratch, nNew * kBytes);
    row.entry.nWords = nWords;
    if (nWords > mostRuns(nWidth)) compactRuns(row, nWidth);
    if (nNew < nOld) cutNode(row);
    return true;
}

// Does op on a row and keeps the bitmap's size, which changes only with that of a heap. 1, or -1 when memory is short.
template <class Op>
int32_t changeRow(BITMAPRECORD& bm, int32_t nRow, Op&& op) noexcept {
    const RowPlace row = rowPlace(bm, nRow);
    const uint32_t nHeapSize = row.block.pHeap->nTotalSize;
    const bool bDone = op(row);
    if (row.block.pHeap->nTotalSize != nHeapSize) updateRunListSize(bm);
    return bDone ? 1 : -1;
}

// A list from a caller as a whole row: as it is where it fits, else cut or filled up with 0-bits.
bool putWholeList(const RowPlace& row, uint32_t nWidth, const uint16_t* pRecord) noexcept {
    const uint32_t nWords = recordWords(pRecord);
    if (nWords > 0 && nWords <= mostRuns(nWidth) && sumRuns(pRecord + kRecordHead, nWords) == nWidth)
        return storeRuns(row, pRecord + kRecordHead, nWords);
    RunCursor cursor = recordRuns(pRecord);
    return splice(row, nWidth, 0, nWidth, [&](RunWriter& writer) { writer.addRuns(cursor, nWidth); });
}

// Calls f(row, column, bytes done, pixels) for each row that nBytes from a column on reach into, while it gives 1. 1,
// or what it gave.
template <class F>
int32_t eachRow(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, uint32_t nBytes, F&& f) noexcept {
    int32_t nStatus = 1;
    uint32_t nDone = 0;
    for (; nRow < bm.Height && nDone < nBytes && nStatus == 1; ++nRow, nCol = 0) {
        const uint32_t n = std::min(bm.BytesPerLine - uint32_t(nCol) / 8, nBytes - nDone);
        const auto nPixels = uint32_t(std::min<uint64_t>(uint64_t(n) * 8, uint32_t(bm.Width - nCol)));
        nStatus = f(nRow, uint32_t(nCol), nDone, nPixels);
        nDone += n;
    }
    return nStatus;
}

// The opening of reads and writes of bytes: 1, or a status.
int32_t checkPlace(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept {
    if (!bm.pData) return -2;
    return nRow >= 0 && nRow < bm.Height && nCol >= 0 && nCol < bm.Width ? 1 : -13;
}

// The stretch of a row that a call names, cut to the bitmap; a status where it lies outside.
int32_t checkStretch(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol, int32_t& nWidth) noexcept {
    if (nRow < 0 || nRow >= bm.Height || nCol < 0 || nCol >= bm.Width || nWidth < 0) return -13;
    nWidth = std::min(nWidth, bm.Width - nCol);
    return 1;
}

// ---- rows of bitmaps that are not compressed, through a row buffer

class RowBuffer {
    Buffer<uint8_t> m_own;
    uint8_t* m_p;

public:
    RowBuffer(const BITMAPRECORD& bm, uint8_t* pWork) noexcept : m_p(pWork) {
        if (!m_p && m_own.allocate(bm.BytesPerLine)) m_p = m_own.get();
    }
    uint8_t* get() const noexcept { return m_p; }
};

// Writes the record of a stretch; gives the place behind it in pRecord.
int32_t readRecord(BITMAPRECORD& bm, uint8_t* pWork, uint16_t*& pRecord, int32_t nRow, int32_t nCol,
                   int32_t nWidth) noexcept {
    const int32_t nPhase = nCol & 7;
    const auto nBytes = int32_t(packedBytes(uint32_t(nPhase) + uint32_t(nWidth), 1));
    const int32_t n = R_GetBitmapRowCol(&bm, pWork, nRow, nCol - nPhase, uint32_t(nBytes));
    if (n < nBytes) return n < 0 ? n : -5;
    pRecord = writeRecord(pRecord, pWork, uint32_t(nPhase), uint32_t(nWidth));
    return 1;
}

int32_t writeRecordTo(BITMAPRECORD& bm, uint8_t* pWork, const uint16_t* pRecord, int32_t nRow, int32_t nCol,
                      int32_t nWidth) noexcept {
    const auto nBytes = uint32_t(packedBytes(uint32_t(nWidth), 1));
    expandRuns(recordRuns(pRecord), 0, pWork, uint32_t(nWidth), nBytes);
    const int32_t n = R_PutBitmapRowCol(&bm, pWork, nRow, nCol, nBytes);
    if (n == int32_t(nBytes)) return 1;
    return n > 0 ? -5 : n;
}

// ---- rows of compressed bitmaps

// A row's list as it is stored; gives the place behind the record.
uint16_t* copyRecord(const RowPlace& row, uint16_t* pRecord, uint32_t nWidth) noexcept {
    if (const ROWENTRY& entry = row.entry; entry.nOffset) {
        std::memcpy(pRecord + kRecordHead, heapRuns(row.block.pHeap, entry.nOffset), entry.nWords * sizeof *pRecord);
        return closeRecord(pRecord, pRecord + kRecordHead + entry.nWords);
    }
    RunWriter writer(pRecord + kRecordHead);
    writer.add(0, nWidth);
    return closeRecord(pRecord, writer.finish());
}

// What a whole row that was never written gives in the call for stretches: all of its values are below 32768.
void writeUnsetRecord(uint16_t* pRecord, uint32_t nWidth) noexcept {
    constexpr uint32_t kMost = 32767;
    uint16_t* p = pRecord + kRecordHead;
    for (; nWidth > kMost; nWidth -= kMost) *p++ = uint16_t(kMost);
    *p++ = uint16_t(nWidth);
    closeRecord(pRecord, p);
}

// Where the heaps have outgrown the rows themselves, compression has stopped to pay. A failure to end it is no harm.
void endIdleCompression(BITMAPRECORD& bm) noexcept {
    if (dataSize(bm) > uint64_t(bm.BytesPerLine) * uint32_t(bm.Height)) R_ChangeBitmapCompression(&bm, 0);
}

}  // namespace

// Rows past the last one read as zeros, and what is written to them is dropped.

int32_t getRunListBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept {
    nCol &= ~7;
    if (const int32_t n = checkPlace(bm, nRow, nCol); n != 1) return n;
    std::memset(pBuffer, 0, nBytes);
    eachRow(bm, nRow, nCol, nBytes, [&](int32_t y, uint32_t nAt, uint32_t nDone, uint32_t nPixels) noexcept {
        const RowPlace row = rowPlace(bm, y);
        if (!row.entry.nOffset) return 1;
        RunCursor cursor = rowRuns(row, uint32_t(bm.Width));
        if (nAt) cursor.skip(nAt);
        bestRuns().expand(cursor, pBuffer + nDone, nPixels);
        return 1;
    });
    return int32_t(nBytes);
}

int32_t putRunListBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                        uint32_t nBytes) noexcept {
    nCol &= ~7;
    if (const int32_t n = checkPlace(bm, nRow, nCol); n != 1) return n;
    const auto putRow = [&](int32_t y, uint32_t nAt, uint32_t nDone, uint32_t nPixels) noexcept {
        return changeRow(bm, y, [&](const RowPlace& row) {
            return splice(row, uint32_t(bm.Width), nAt, nPixels,
                          [&](RunWriter& writer) { writer.addBits(pBuffer + nDone, 0, nPixels); });
        });
    };
    const int32_t nStatus = eachRow(bm, nRow, nCol, nBytes, putRow);
    return nStatus == 1 ? int32_t(nBytes) : nStatus;
}

int32_t putRunListSegments(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const Segments& segments) noexcept {
    if (!bm.pData) return -2;
    uint32_t nFrom = UINT32_MAX, nTo = 0;
    segments.each([&](uint32_t nLeft, uint32_t nRight) {
        nFrom = std::min(nFrom, nLeft);
        nTo = nRight;
    });
    if (nTo == 0) return 1;
    const auto nWidth = uint32_t(bm.Width);
    return changeRow(bm, nRow, [&](const RowPlace& row) {
        return splice(row, nWidth, nFrom, nTo - nFrom, [&](RunWriter& writer) {
            RunCursor old = rowRuns(row, nWidth);
            old.skip(nFrom);
            uint32_t x = nFrom;
            segments.each([&](uint32_t nLeft, uint32_t nRight) {
                writer.addRuns(old, nLeft - x);
                writer.addBits(pRow + nLeft / 8, nLeft % 8, nRight - nLeft);
                old.skip(nRight - nLeft);
                x = nRight;
            });
        });
    });
}

bool swapRunLists(const BITMAPRECORD& bm, int32_t nRow, int32_t nOther) noexcept {
    if (nRow / kBlockRows != nOther / kBlockRows) return false;
    std::swap(rowPlace(bm, nRow).entry, rowPlace(bm, nOther).entry);
    return true;
}

int32_t mirrorRunList(BITMAPRECORD& bm, int32_t nRow) noexcept {
    return changeRow(bm, nRow, [&](const RowPlace& row) {
        if (!row.entry.nOffset) return true;
        uint32_t nWords = row.entry.nWords;
        // The last run of an even list is of 1-bits; in front of it goes one of 0-bits without pixels.
        const bool bEven = nWords % 2 == 0;
        if (bEven && !growNode(row, nWords + 1)) return false;
        uint16_t* const pList = heapRuns(row.block.pHeap, row.entry.nOffset);
        if (bEven) pList[nWords++] = 0;
        std::reverse(pList, pList + nWords);
        if (nWords > 1 && pList[nWords - 1] == 0) --nWords;  // the first run had no pixels
        row.entry.nWords = nWords;
        if (nWords > mostRuns(uint32_t(bm.Width))) compactRuns(row, uint32_t(bm.Width));
        return true;
    });
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetBitmapRowCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, uint16_t* pRecords, int32_t nRow,
                                 int32_t nLines) noexcept {
    if (!pBitmap || !pRecords) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (nRow < 0) return -13;
    BITMAPRECORD& bm = *pBitmap;
    nLines = std::min(nLines, bm.Height - nRow);
    if (nLines <= 0) return 1;
    if (bm.Flags & BMF_COMPRESSED) {
        if (!bm.pData) return -2;
        for (; nLines > 0; --nLines) pRecords = copyRecord(rowPlace(bm, nRow++), pRecords, uint32_t(bm.Width));
        return 1;
    }
    const RowBuffer work(bm, pWork);
    if (!work.get()) return -1;
    for (; nLines > 0; --nLines)
        if (const int32_t n = readRecord(bm, work.get(), pRecords, nRow++, 0, bm.Width); n != 1) return n;
    return 1;
}

int32_t R_GetBitmapRowColCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, uint16_t* pRecord, int32_t nRow,
                                    int32_t nCol, int32_t nWidth) noexcept {
    if (!pBitmap || !pRecord) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    if (const int32_t n = checkStretch(bm, nRow, nCol, nWidth); n != 1) return n;
    if (bm.Flags & BMF_COMPRESSED) {
        if (!bm.pData) return -2;
        const RowPlace row = rowPlace(bm, nRow);
        if (nWidth == bm.Width) {
            if (row.entry.nOffset)
                copyRecord(row, pRecord, uint32_t(nWidth));
            else
                writeUnsetRecord(pRecord, uint32_t(nWidth));
            return 1;
        }
        RunCursor cursor = rowRuns(row, uint32_t(bm.Width));
        cursor.skip(uint32_t(nCol));
        RunWriter writer(pRecord + kRecordHead);
        writer.addRuns(cursor, uint32_t(nWidth));
        closeRecord(pRecord, writer.finish());
        return 1;
    }
    const RowBuffer work(bm, pWork);
    if (!work.get()) return -1;
    return readRecord(bm, work.get(), pRecord, nRow, nCol, nWidth);
}

int32_t R_PutBitmapRowCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, const uint16_t* pRecords, int32_t nRow,
                                 int32_t nLines) noexcept {
    if (!pBitmap || !pRecords) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (nRow < 0) return -13;
    BITMAPRECORD& bm = *pBitmap;
    nLines = std::min(nLines, bm.Height - nRow);
    if (nLines <= 0) return 1;
    const int32_t nEnd = nRow + nLines;
    if (bm.Flags & BMF_COMPRESSED) {
        if (!bm.pData) return -2;
        for (; nRow < nEnd; ++nRow, pRecords = nextRecord(pRecords)) {
            const auto put = [&](const RowPlace& row) { return putWholeList(row, uint32_t(bm.Width), pRecords); };
            if (const int32_t n = changeRow(bm, nRow, put); n != 1) return n;
        }
        endIdleCompression(bm);
        return 1;
    }
    const RowBuffer work(bm, pWork);
    if (!work.get()) return -1;
    for (; nRow < nEnd; ++nRow, pRecords = nextRecord(pRecords))
        if (const int32_t n = writeRecordTo(bm, work.get(), pRecords, nRow, 0, bm.Width); n != 1) return n;
    return 1;
}

int32_t R_PutBitmapRowColCompressed(BITMAPRECORD* pBitmap, uint8_t* pWork, const uint16_t* pRecord, int32_t nRow,
                                    int32_t nCol, int32_t nWidth) noexcept {
    if (!pBitmap || !pRecord) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    if (const int32_t n = checkStretch(bm, nRow, nCol, nWidth); n != 1) return n;
    if (nWidth == 0) return 1;
    if (bm.Flags & BMF_COMPRESSED) {
        if (!bm.pData) return -2;
        return changeRow(bm, nRow, [&](const RowPlace& row) {
            if (nWidth == bm.Width) return putWholeList(row, uint32_t(nWidth), pRecord);
            RunCursor cursor = recordRuns(pRecord);
            return splice(row, uint32_t(bm.Width), uint32_t(nCol), uint32_t(nWidth),
                          [&](RunWriter& writer) { writer.addRuns(cursor, uint32_t(nWidth)); });
        });
    }
    const RowBuffer work(bm, pWork);
    if (!work.get()) return -1;
    return writeRecordTo(bm, work.get(), pRecord, nRow, nCol, nWidth);
}

}  // extern "C"
