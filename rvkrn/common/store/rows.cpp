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
    if (uFlags & (BMF_COMPRESSED | BMF_TILED | BMF_SUPERCOMPRESSED)) {
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

// One column of a flat bitmap, a loop per depth.
template <int Bits>
void putFlatColumn(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nCol, int32_t nRows, bool bReverse) noexcept {
    const int64_t nStep = bReverse ? -int64_t(bm.BytesPerLine) : int64_t(bm.BytesPerLine);
    uint8_t* p = bm.pData + (bReverse ? int64_t(bm.BytesPerLine) * (nRows - 1) : 0);
    for (int32_t i = 0; i < nRows; ++i, p += nStep)
        Pixel<Bits>::put(p, size_t(nCol), Pixel<Bits>::get(pBuffer, size_t(i)));
}

// One column of any other class: the bytes from the last pixel that starts on a byte up to the sample are read, merged
// and written.
template <int Bits>
int32_t putColumnByRows(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nCol, int32_t nRows, bool bReverse) noexcept {
    constexpr int32_t kGroup = Bits < 8 ? 8 : Bits == 12 ? 2 : 1;  // pixels from byte to byte
    const int32_t nFirst = nCol - nCol % kGroup;
    const auto nBytes = uint32_t(packedBytes(uint64_t(nCol) + 1, Bits) - uint64_t(nFirst) * Bits / 8);
    uint8_t bytes[8];
    for (int32_t i = 0; i < nRows; ++i) {
        const int32_t nRow = bReverse ? nRows - 1 - i : i;
        if (const int32_t n = R_GetBitmapRowCol(&bm, bytes, nRow, nFirst, nBytes); n < 0) return n;
        Pixel<Bits>::put(bytes, size_t(nCol - nFirst), Pixel<Bits>::get(pBuffer, size_t(i)));
        if (const int32_t n = R_PutBitmapRowCol(&bm, bytes, nRow, nFirst, nBytes); n < 0) return n;
    }
    return 1;
}

}  // namespace

int32_t R_PutBitmapCol(BITMAPRECORD* pBitmap, const uint8_t* pBuffer, int32_t nCol, int32_t nRows,
                       bool bReverse) noexcept {
    BITMAPRECORD& bm = *pBitmap;
    traceLockCount("R_PutBitmapCol", bm.nLockCount, bm.nLockCount >= 1, true);
    // Columns of flat memory don't ask the row callbacks.
    const bool bFlat = isFlat(bm);
    return visitDepth(bm.BitsPerPixel, [&](auto bits) {
        if (!bFlat) return putColumnByRows<bits>(bm, pBuffer, nCol, nRows, bReverse);
        putFlatColumn<bits>(bm, pBuffer, nCol, nRows, bReverse);
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
