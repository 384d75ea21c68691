// Copies of pixels, of whole bitmaps and of rectangles, row by row through row access.
#include <algorithm>
#include <cstring>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "ravokit/compressed.h"
#include "ravokit/copy.h"

namespace rv {
namespace {

constexpr uint32_t kDuplicateAll = 191 | kDupWholeRegion;        // all of its own, for a copy
constexpr uint32_t kDuplicateInPlace = 127 | kDupWholeRegion;    // all of its own, in place of the source
constexpr uint32_t kDuplicateBelongings = 14 | kDupWholeRegion;  // without storage

// Runs body with both bitmaps locked. The worst status wins.
template <class Body>
int32_t withBothLocked(BITMAPRECORD& dst, BITMAPRECORD& src, Body&& body) noexcept {
    BitmapLock lockSrc(src);
    if (lockSrc.status() != 1) return lockSrc.status();
    BitmapLock lockDst(dst);
    if (lockDst.status() != 1) return lockSrc.release(lockDst.status());
    return lockSrc.release(lockDst.release(body()));
}

int32_t copyRows(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    // A put takes a whole row of the destination; what the source lacks of it is read from a buffer that is cleared.
    const bool bDirect = src.BytesPerLine >= dst.BytesPerLine;
    Buffer<uint8_t> wide;
    if (!bDirect) {
        if (!wide.allocate(dst.BytesPerLine)) return -1;
        std::memset(wide.get(), 0, dst.BytesPerLine);
    }
    RowReader reader(src, src.BytesPerLine);
    if (reader.status() != 1) return reader.status();
    const int32_t nRows = std::min(src.Height, dst.Height);
    ProgressStepper progress(nRows, Progress::copy);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = 0; y < nRows; ++y) {
        const uint8_t* pRow = reader.read(y);
        if (!pRow) return reader.status();
        if (!bDirect) pRow = static_cast<const uint8_t*>(std::memcpy(wide.get(), pRow, src.BytesPerLine));
        if (R_PutBitmapRow(&dst, pRow, y, dst.BytesPerLine) != int32_t(dst.BytesPerLine)) return -1;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

// Between two compressed bitmaps the lists move, and no row is expanded. The destination may stop being compressed on
// the way; the lists are put as rows from there on.
int32_t copyRunLists(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    Buffer<uint16_t> record(uint32_t(src.Width) + uint64_t(3));
    Buffer<uint8_t> work(dst.BytesPerLine);
    if (!record || !work) return -1;
    const int32_t nRows = std::min(src.Height, dst.Height);
    ProgressStepper progress(nRows, Progress::copy);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = 0; y < nRows; ++y) {
        if (const int32_t n = R_GetBitmapRowCompressed(&src, nullptr, record.get(), y, 1); n != 1) return n;
        if (const int32_t n = R_PutBitmapRowCompressed(&dst, work.get(), record.get(), y, 1); n < 1) return n;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

// A new bitmap like src with storage of the flags asked for; bReplace when it will take the place of src.
int32_t duplicateInto(BITMAPRECORD& dst, BITMAPRECORD& src, uint32_t uStructSize, int32_t nWidth, int32_t nHeight,
                      uint32_t uMemoryFlags, bool bReplace) noexcept {
    int32_t nStatus =
        R_DupBitmapNewDim(&dst, &src, uStructSize, nWidth, nHeight, src.BitsPerPixel, kDuplicateBelongings);
    if (nStatus != 1) return nStatus;
    nStatus = R_IntBeginCopyBitmap(&dst, &src, !bReplace, &uMemoryFlags);
    if (nStatus != 1) {
        R_FreeDuplicateBitmap(&dst, kDuplicateBelongings);
        return nStatus;
    }
    if (!bReplace) R_IntEndCopyBitmap(&src, 1);
    nStatus = R_AllocateBitmap(&dst, uMemoryFlags);
    if (nStatus == 1) copyPaintTables(dst, src);
    if (nStatus == 1 && bReplace) nStatus = copyLockCount(dst, src);
    if (nStatus != 1) dropDuplicate(dst, src, kDuplicateBelongings | (bReplace ? uint32_t(DUP_BEGIN_REPLACE) : 0));
    return nStatus;
}

// A new bitmap like src with storage; puMemoryFlags null: of the source's class.
int32_t duplicate(BITMAPRECORD& dst, BITMAPRECORD& src, uint32_t uStructSize, int32_t nWidth, int32_t nHeight,
                  const uint32_t* puMemoryFlags, bool bReplace) noexcept {
    if (puMemoryFlags) return duplicateInto(dst, src, uStructSize, nWidth, nHeight, *puMemoryFlags, bReplace);
    return R_DupBitmapNewDim(&dst, &src, uStructSize, nWidth, nHeight, src.BitsPerPixel,
                             bReplace ? kDuplicateInPlace : kDuplicateAll);
}

int32_t copyWhole(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize,
                  const uint32_t* puMemoryFlags) noexcept {
    if (!pDst || !isAllocated(pSrc)) return -13;
    if (pDst == pSrc) return 1;
    if (!isKnownRecordSize(pSrc->uStructSize) || !isKnownRecordSize(uStructSize)) return -789;
    int32_t nStatus = duplicate(*pDst, *pSrc, uStructSize, pSrc->Width, pSrc->Height, puMemoryFlags, false);
    if (nStatus != 1) return nStatus;
    nStatus = R_CopyBitmapData(pDst, pSrc);
    if (nStatus != 1) R_FreeBitmap(pDst);
    return nStatus;
}

// A rectangle as it lies in the source, and where it goes.
struct Crop {
    int32_t nSrcCol, nSrcRow, nDstCol, nDstRow, nWidth, nHeight;
    bool isEmpty() const noexcept { return nWidth <= 0 || nHeight <= 0; }
};

Crop intersect(const BITMAPRECORD& src, int32_t nCol, int32_t nRow, int32_t nWidth, int32_t nHeight) noexcept {
    const int32_t nLeft = std::max(nCol, 0), nTop = std::max(nRow, 0);
    const int64_t nRight = std::min(int64_t(nCol) + nWidth, int64_t(src.Width));
    const int64_t nBottom = std::min(int64_t(nRow) + nHeight, int64_t(src.Height));
    return {nLeft,
            nTop,
            int32_t(int64_t(nLeft) - nCol),
            int32_t(int64_t(nTop) - nRow),
            int32_t(std::max<int64_t>(nRight - nLeft, 0)),
            int32_t(std::max<int64_t>(nBottom - nTop, 0))};
}

// The last column up to nCol that starts on a byte, at all depths. Strips count columns in a way of their own, so there
// it is the first one.
int32_t alignedColumn(const BITMAPRECORD& bm, int32_t nCol) noexcept {
    return bm.Flags & BMF_SUPERCOMPRESSED ? 0 : nCol / 8 * 8;
}

int32_t cropRows(BITMAPRECORD& dst, BITMAPRECORD& src, const Crop& crop) noexcept {
    if (crop.isEmpty()) return 1;
    const auto nBits = uint32_t(src.BitsPerPixel);
    // Columns that start on a byte, on either side, and the phase of the rectangle from there.
    const int32_t nSrcFirst = alignedColumn(src, crop.nSrcCol), nSrcPhase = crop.nSrcCol - nSrcFirst;
    const int32_t nDstFirst = alignedColumn(dst, crop.nDstCol), nDstPhase = crop.nDstCol - nDstFirst;
    const auto nSrcBytes = uint32_t(packedBytes(uint64_t(nSrcPhase) + uint32_t(crop.nWidth), nBits));
    const auto nDstBytes = uint32_t(packedBytes(uint64_t(nDstPhase) + uint32_t(crop.nWidth), nBits));
    const bool bFlat = flatRow(src, 0) && flatRow(dst, 0);
    Buffer<uint8_t> from, to;
    if (!bFlat) {
        if (!from.allocate(nSrcBytes) || !to.allocate(nDstBytes)) return -1;
        std::memset(to.get(), 0, nDstBytes);
    }
    ProgressStepper progress(dst.Height, Progress::copy);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = 0; y < crop.nHeight; ++y) {
        const int32_t nSrcRow = crop.nSrcRow + y, nDstRow = crop.nDstRow + y;
        if (bFlat) {
            copyPixels(src.BitsPerPixel, flatRow(dst, nDstRow), uint32_t(crop.nDstCol), flatRow(src, nSrcRow),
                       uint32_t(crop.nSrcCol), uint32_t(crop.nWidth));
        } else {
            if (const int32_t n = readRow(src, from.get(), nSrcRow, nSrcBytes, nSrcFirst); n < 0) return n;
            copyPixels(src.BitsPerPixel, to.get(), uint32_t(nDstPhase), from.get(), uint32_t(nSrcPhase),
                       uint32_t(crop.nWidth));
            if (const int32_t n = R_PutBitmapRowCol(&dst, to.get(), nDstRow, nDstFirst, nDstBytes); n < 0) return n;
        }
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

constexpr int32_t negated(int32_t n) noexcept { return n == INT32_MIN ? INT32_MAX : -n; }

// The rectangle into a fresh bitmap of its size, with what hangs on the source moved along.
int32_t cropInto(BITMAPRECORD& dst, BITMAPRECORD& src, int32_t nCol, int32_t nRow, const Crop& crop) noexcept {
    if (dst.pRgnInfo)
        if (const int32_t n = attachments().offsetRegion(dst, negated(nCol), negated(nRow)); n != 1) return n;
    if (dst.pOverlays) attachments().offsetOverlays(dst, src.Width, src.Height, negated(nCol), negated(nRow));
    return withBothLocked(dst, src, [&] { return cropRows(dst, src, crop); });
}

int32_t copyRect(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t nCol, int32_t nRow,
                 int32_t nWidth, int32_t nHeight, const uint32_t* puMemoryFlags) noexcept {
    if (!isAllocated(pSrc)) return -13;
    if (!isKnownRecordSize(pSrc->uStructSize) || !isKnownRecordSize(uStructSize)) return -789;
    const bool bInPlace = !pDst || pDst == pSrc;
    BITMAPRECORD fresh;
    BITMAPRECORD& dst = bInPlace ? fresh : *pDst;
    if (bInPlace) uStructSize = pSrc->uStructSize;
    int32_t nStatus = duplicate(dst, *pSrc, uStructSize, nWidth, nHeight, puMemoryFlags, bInPlace);
    if (nStatus != 1) return nStatus;
    nStatus = cropInto(dst, *pSrc, nCol, nRow, intersect(*pSrc, nCol, nRow, nWidth, nHeight));
    if (nStatus != 1) {
        dropDuplicate(dst, *pSrc, bInPlace ? kDuplicateInPlace : kDuplicateAll);
    } else if (bInPlace) {
        replaceBitmap(*pSrc, dst, false);
    }
    return nStatus;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CopyBitmapData(BITMAPRECORD* pDst, BITMAPRECORD* pSrc) noexcept {
    if (!isAllocated(pDst) || !isAllocated(pSrc)) return -2;
    if (pDst == pSrc) return 1;
    if (!isKnownRecordSize(pDst->uStructSize) || !isKnownRecordSize(pSrc->uStructSize)) return -789;
    const bool bLists = pDst->Flags & pSrc->Flags & BMF_COMPRESSED;
    return withBothLocked(*pDst, *pSrc, [&] { return (bLists ? copyRunLists : copyRows)(*pDst, *pSrc); });
}

int32_t R_CopyBitmap(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize) noexcept {
    return copyWhole(pDst, pSrc, uStructSize, nullptr);
}

int32_t R_CopyBitmap2(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, uint32_t uMemoryFlags) noexcept {
    return copyWhole(pDst, pSrc, uStructSize, &uMemoryFlags);
}

int32_t R_CopyBitmapRect(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t nCol, int32_t nRow,
                         int32_t nWidth, int32_t nHeight) noexcept {
    return copyRect(pDst, pSrc, uStructSize, nCol, nRow, nWidth, nHeight, nullptr);
}

int32_t R_CopyBitmapRect2(BITMAPRECORD* pDst, BITMAPRECORD* pSrc, uint32_t uStructSize, int32_t nCol, int32_t nRow,
                          int32_t nWidth, int32_t nHeight, uint32_t uMemoryFlags) noexcept {
    return copyRect(pDst, pSrc, uStructSize, nCol, nRow, nWidth, nHeight, &uMemoryFlags);
}

int32_t R_TrimBitmap(BITMAPRECORD* pBitmap, int32_t nCol, int32_t nRow, int32_t nWidth, int32_t nHeight) noexcept {
    if (!isAllocated(pBitmap)) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    const Crop crop = intersect(*pBitmap, nCol, nRow, nWidth, nHeight);
    if (crop.isEmpty()) return -11;
    return R_CopyBitmapRect(pBitmap, pBitmap, pBitmap->uStructSize, crop.nSrcCol, crop.nSrcRow, crop.nWidth,
                            crop.nHeight);
}

}  // extern "C"
