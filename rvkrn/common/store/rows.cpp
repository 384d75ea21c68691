// Row access: the four calls that move bytes between a buffer and the rows of any storage class.
#include "internal/bitmap_.h"
#include "internal/diagnostics.h"
#include "internal/pixels.h"
#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "internal/storage_.h"

namespace rv {
namespace {

enum class Direction { get, put };

constexpr uint32_t kClassFlags = BMF_COMPRESSED | BMF_TILED | BMF_SUPERCOMPRESSED;

// Flat memory sees a range of bytes only: what is longer than the row runs on into the next.
template <Direction direction, class Byte>
int32_t moveFlat(BITMAPRECORD& bm, Byte* pBuffer, int32_t nRow, int64_t nColumnByte, uint32_t nBytes) noexcept {
    if (!bm.pData) return -2;
    uint8_t* p = bm.pData + (int64_t(bm.BytesPerLine) * nRow + nColumnByte);
    if constexpr (direction == Direction::get)
        copyRow(pBuffer, p, nBytes);
    else
        copyRow(p, pBuffer, nBytes);
    return int32_t(nBytes);
}

// The dispatch on the storage class.
template <Direction direction, class Byte>
int32_t moveStored(BITMAPRECORD& bm, Byte* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept {
    constexpr bool bGet = direction == Direction::get;
    const auto ask = [&](auto get, auto put, auto nWhere) {
        if constexpr (bGet)
            return get(bm, pBuffer, nRow, nWhere, nBytes);
        else
            return put(bm, pBuffer, nRow, nWhere, nBytes);
    };
    const uint32_t uFlags = bm.Flags;
    if (uFlags & kClassFlags) {
        if (uFlags & BMF_COMPRESSED) return ask(getRunListBytes, putRunListBytes, nCol);
        if (uFlags & BMF_TILED) return ask(getTileBytes, putTileBytes, columnByte(nCol, bm.BitsPerPixel));
        return ask(getStripBytes, putStripBytes, nCol);
    }
    const int64_t nColumnByte = nCol ? columnByte(nCol, bm.BitsPerPixel) : 0;
    if (uFlags & BMF_CONVENTIONAL) return moveFlat<direction>(bm, pBuffer, nRow, nColumnByte, nBytes);
    return uFlags & BMF_DISK ? ask(getDiskBytes, putDiskBytes, nColumnByte) : -1;
}

template <Direction direction, class Byte>
int32_t moveRow(BITMAPRECORD* pBitmap, Byte* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes,
                const char* pCall) noexcept {
    if (!pBitmap || !pBuffer) return -13;
    BITMAPRECORD& bm = *pBitmap;
    if (!isKnownRecordSize(bm.uStructSize)) return -789;
    traceLockCount(pCall, bm.nLockCount, bm.nLockCount >= 1, true);
    if (const BITMAPDATACALLBACKS* pCallbacks = bm.pCallbacks) {
        int32_t nResult = 0;
        if constexpr (direction == Direction::get) {
            if (pCallbacks->pfnGetRow)
                nResult = pCallbacks->pfnGetRow(pBitmap, pBuffer, nRow, nCol, nBytes, pCallbacks->pUserData);
        } else {
            if (pCallbacks->pfnPutRow)
                nResult = pCallbacks->pfnPutRow(pBitmap, pBuffer, nRow, nCol, nBytes, pCallbacks->pUserData);
        }
        if (nResult != 0) return nResult;
    }
    return moveStored<direction>(bm, pBuffer, nRow, nCol, nBytes);
}

// A column of samples on its way: row nRows - 1 - i takes sample i where bReverse, else row i.
struct Column {
    const uint8_t* pSamples;
    int32_t nCol, nRows;
    bool bReverse;
    int32_t rowOf(int32_t i) const noexcept { return bReverse ? nRows - 1 - i : i; }
};

// Samples from i to nEnd into memory; p is the row of the first.
template <int Bits>
void putSamples(BITMAPRECORD& bm, uint8_t* p, const Column& column, int32_t i, int32_t nEnd) noexcept {
    const int64_t nStep = column.bReverse ? -int64_t(bm.BytesPerLine) : int64_t(bm.BytesPerLine);
    for (; i < nEnd; ++i, p += nStep)
        Pixel<Bits>::put(p, size_t(column.nCol), Pixel<Bits>::get(column.pSamples, size_t(i)));
}

// Samples from i to nEnd by row access: the bytes from the last pixel that starts on a byte up to the sample are read,
// merged and written. bCallbacks: the row callbacks hear of it.
template <int Bits>
int32_t putSamplesByRows(BITMAPRECORD& bm, const Column& column, int32_t i, int32_t nEnd, bool bCallbacks) noexcept {
    constexpr int32_t kGroup = Bits < 8 ? 8 : Bits == 12 ? 2 : 1;  // pixels from byte to byte
    const int32_t nCol = column.nCol, nFirst = nCol - nCol % kGroup;
    const auto nBytes = uint32_t(packedBytes(uint64_t(nCol) + 1, Bits) - uint64_t(nFirst) * Bits / 8);
    uint8_t bytes[8];
    for (; i < nEnd; ++i) {
        const int32_t nRow = column.rowOf(i);
        int32_t n = bCallbacks ? R_GetBitmapRowCol(&bm, bytes, nRow, nFirst, nBytes)
                               : moveStored<Direction::get>(bm, bytes, nRow, nFirst, nBytes);
        if (n < 0) return n;
        Pixel<Bits>::put(bytes, size_t(nCol - nFirst), Pixel<Bits>::get(column.pSamples, size_t(i)));
        n = bCallbacks ? R_PutBitmapRowCol(&bm, bytes, nRow, nFirst, nBytes)
                       : moveStored<Direction::put>(bm, bytes, nRow, nFirst, nBytes);
        if (n < 0) return n;
    }
    return 1;
}

// Tile by tile, through the view where there is one.
template <int Bits>
int32_t putSamplesByTiles(BITMAPRECORD& bm, const Column& column) noexcept {
    for (int32_t i = 0; i < column.nRows;) {
        const int32_t nRow = column.rowOf(i);
        const TileSpan span = tileSpan(bm, nRow);
        const int32_t nInTile = nRow - span.nFirstRow;
        const int32_t nLeft = column.bReverse ? nInTile + 1 : span.nRows - nInTile;
        if (span.nRows == 0) return -1;
        const int32_t nEnd = nLeft < column.nRows - i ? i + nLeft : column.nRows;
        if (span.pView)
            putSamples<Bits>(bm, span.pView + int64_t(bm.BytesPerLine) * nInTile, column, i, nEnd);
        else if (const int32_t n = putSamplesByRows<Bits>(bm, column, i, nEnd, false); n < 0)
            return n;
        i = nEnd;
    }
    return 1;
}

// Row by row of the open strip: row access to strips has columns of its own.
template <int Bits>
int32_t putSamplesByStrips(BITMAPRECORD& bm, const Column& column) noexcept {
    for (int32_t i = 0; i < column.nRows; ++i) {
        uint8_t* const p = stripRow(bm, column.rowOf(i), true);
        if (!p) {
            const int32_t n = leaveStrips(bm);
            return n == 1 ? R_PutBitmapCol(&bm, column.pSamples, column.nCol, column.nRows, column.bReverse) : n;
        }
        putSamples<Bits>(bm, p, column, i, i + 1);
    }
    return 1;
}

}  // namespace

int32_t R_PutBitmapCol(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nCol, int32_t nRows,
                       bool bReverse) noexcept {
    BITMAPRECORD& bm = *pBitmap;
    traceLockCount("R_PutBitmapCol", bm.nLockCount, bm.nLockCount >= 1, true);
    const Column column{pBuffer, nCol, nRows, bReverse};
    const bool bFlat = isFlat(bm), bClass = (bm.Flags & BMF_CONVENTIONAL) && (bm.Flags & kClassFlags);
    return visitDepth(bm.BitsPerPixel, [&](auto bits) {
        // A column doesn't ask the row callbacks, except where the data is in a file or the callbacks have it.
        if (!bFlat && !bClass) return putSamplesByRows<bits>(bm, column, 0, nRows, true);
        if (bm.Flags & BMF_COMPRESSED) return putSamplesByRows<bits>(bm, column, 0, nRows, false);
        if (bm.Flags & BMF_TILED) return putSamplesByTiles<bits>(bm, column);
        if (bm.Flags & BMF_SUPERCOMPRESSED) return putSamplesByStrips<bits>(bm, column);
        if (nRows > 0) putSamples<bits>(bm, bm.pData + int64_t(bm.BytesPerLine) * column.rowOf(0), column, 0, nRows);
        return 1;
    });
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetBitmapRow(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, uint32_t nBytes) noexcept {
    return moveRow<Direction::get>(pBitmap, pBuffer, nRow, 0, nBytes, "R_GetBitmapRow");
}
int32_t R_GetBitmapRowCol(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                          uint32_t nBytes) noexcept {
    return moveRow<Direction::get>(pBitmap, pBuffer, nRow, nCol, nBytes, "R_GetBitmapRowCol");
}
int32_t R_PutBitmapRow(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nRow, uint32_t nBytes) noexcept {
    return moveRow<Direction::put>(pBitmap, pBuffer, nRow, 0, nBytes, "R_PutBitmapRow");
}
int32_t R_PutBitmapRowCol(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                          uint32_t nBytes) noexcept {
    return moveRow<Direction::put>(pBitmap, pBuffer, nRow, nCol, nBytes, "R_PutBitmapRowCol");
}

}  // extern "C"
