// Row access as the library's own loops use it: rows of flat storage without a copy, columns, and writes by segments.
#pragma once

#include <cstring>

#include "internal/rvclasses_.h"
#include "ravokit/rows.h"

namespace rv {

// Whether the data is one piece of memory, and reachable.
inline bool isFlat(const BITMAPRECORD& bm) noexcept {
    constexpr uint32_t kOtherClasses = BMF_COMPRESSED | BMF_TILED | BMF_SUPERCOMPRESSED;
    return (bm.Flags & (BMF_CONVENTIONAL | kOtherClasses)) == BMF_CONVENTIONAL && bm.pData;
}

// The row itself where storage is flat and no callback stands between; else null.
inline uint8_t* flatRow(const BITMAPRECORD& bm, int32_t nRow) noexcept {
    return isFlat(bm) && !bm.pCallbacks ? bm.pData + int64_t(bm.BytesPerLine) * nRow : nullptr;
}

// R_GetBitmapRowCol that clears what a short read leaves of the buffer. A strip that can't be opened is no short read:
// its pixels may only be out of reach for now.
inline int32_t readRow(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, uint32_t nBytes, int32_t nCol = 0) noexcept {
    const int32_t n = R_GetBitmapRowCol(&bm, pBuffer, nRow, nCol, nBytes);
    if (n >= 0 && uint32_t(n) < nBytes) {
        if ((bm.Flags & BMF_SUPERCOMPRESSED) && nRow >= 0 && nRow < bm.Height) return -1;
        std::memset(pBuffer + n, 0, nBytes - uint32_t(n));
    }
    return n;
}

// R_PutBitmapRow of a whole row: 1, or a status, which is -1 for a short write.
inline int32_t putWholeRow(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow) noexcept {
    const int32_t n = R_PutBitmapRow(&bm, pBuffer, nRow, bm.BytesPerLine);
    return n == int32_t(bm.BytesPerLine) ? 1 : n < 0 ? n : -1;
}

// Reads rows for a loop: hands out the row of a flat bitmap, and copies into a buffer of its own for other classes.
class RowReader {
    BITMAPRECORD& m_bm;
    uint32_t m_nBytes;
    Buffer<uint8_t> m_buffer;
    int32_t m_nStatus = 1;

public:
    // nBytes is the length of each read. status() is -1 when there is no memory for the buffer.
    RowReader(BITMAPRECORD& bm, uint32_t nBytes) noexcept : m_bm(bm), m_nBytes(nBytes) {
        if (!flatRow(bm, 0) && !m_buffer.allocate(nBytes)) m_nStatus = -1;
    }
    int32_t status() const noexcept { return m_nStatus; }
    // The row, or null when it can't be read; status() tells why.
    const uint8_t* read(int32_t nRow) noexcept {
        if (const uint8_t* pRow = m_buffer ? nullptr : flatRow(m_bm, nRow)) return pRow;
        const int32_t n = readRow(m_bm, m_buffer.get(), nRow, m_nBytes);
        if (n < 0) m_nStatus = n;
        return n < 0 ? nullptr : m_buffer.get();
    }
};

// Rows for a loop that changes or makes them: the row itself of a flat bitmap, a buffer of its own for other classes.
class RowEditor {
    BITMAPRECORD& m_bm;
    Buffer<uint8_t> m_buffer;
    int32_t m_nStatus = 1;

public:
    // status() is -1 when there is no memory for the buffer, which starts clear.
    explicit RowEditor(BITMAPRECORD& bm) noexcept : m_bm(bm) {
        if (!flatRow(bm, 0) && !m_buffer.allocateCleared(bm.BytesPerLine)) m_nStatus = -1;
    }
    int32_t status() const noexcept { return m_nStatus; }
    // Where the row goes; a buffer holds what was there last.
    uint8_t* place(int32_t nRow) noexcept { return m_buffer ? m_buffer.get() : flatRow(m_bm, nRow); }
    // The row as it is stored, or null; status() tells why.
    uint8_t* read(int32_t nRow) noexcept {
        if (!m_buffer) return flatRow(m_bm, nRow);
        const int32_t n = readRow(m_bm, m_buffer.get(), nRow, m_bm.BytesPerLine);
        if (n < 0) m_nStatus = n;
        return n < 0 ? nullptr : m_buffer.get();
    }
    // Stores the row that was asked for last: 1, or a status.
    int32_t write(int32_t nRow) noexcept {
        if (!m_buffer) return 1;
        if (const int32_t n = putWholeRow(m_bm, m_buffer.get(), nRow); n != 1) m_nStatus = n;
        return m_nStatus;
    }
};

// Writes one column of nRows samples from a packed buffer; bReverse walks the rows from the last to the first. Samples
// below a byte keep their neighbours' bits. 1, or the status of a row call.
int32_t R_PutBitmapCol(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nCol, int32_t nRows,
                       bool bReverse) noexcept;

// Whether clip segments are the whole row, and the row ends on a byte: then it needs no merging.
inline bool isWholeRow(const BITMAPRECORD& bm, const uint32_t* pWords, uint32_t nWords) noexcept {
    return nWords == 2 && pWords[0] == 0 && pWords[1] == uint32_t(bm.Width) &&
           uint64_t(pWords[1]) * uint32_t(bm.BitsPerPixel) % 8 == 0;
}

// Writes the stretches of a row that the words tell, in pairs (start, end), end exclusive; all other pixels stay. pRow
// is a whole row in the bitmap's format, pScratch a buffer of BytesPerLine bytes. 1, or the status of a row call.
int32_t putRowSegments(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const uint32_t* pWords, uint32_t nWords,
                       uint8_t* pScratch) noexcept;

}  // namespace rv
