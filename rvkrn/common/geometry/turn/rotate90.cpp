// Quarter turns. A turn is a transposition of rows that are read from the last one up, or written so.
//
// Pixels go tile by tile, so that reads and writes stay in the cache. Where a side is not one piece of memory, tiles
// work on a buffer: source rows are gathered block by block, destination rows band by band. A band that doesn't hold
// the whole picture reads but its own columns.
#include <algorithm>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rotate_.h"
#include "internal/rowaccess.h"
#include "internal/runlists_.h"
#include "internal/views_.h"

namespace rv {
namespace {

constexpr uint64_t kMostExpanded = 18'000'000;  // bytes of rows of a compressed bitmap that turns as a flat one
constexpr uint64_t kBandBytes = 16 << 20;       // of destination rows in a buffer
constexpr uint64_t kBlockBytes = 2 << 20;       // of source rows in a buffer
constexpr size_t kTileRows = 512, kTileCols = 1024, kTileBytes = 16;

// Rows of pixels in memory, from p on, or from p back.
struct Rows {
    uint8_t* p;
    ptrdiff_t nStep;

    static Rows of(uint8_t* p, size_t nLine, int32_t nRows, bool bUp) noexcept {
        return bUp ? Rows{p + nLine * size_t(nRows - 1), -ptrdiff_t(nLine)} : Rows{p, ptrdiff_t(nLine)};
    }
    uint8_t* row(size_t i) const noexcept { return p + ptrdiff_t(i) * nStep; }
};

// Calls done(pixels) after each tile, while it gives 1. 1, or what it gave.
//
// Tiles follow the rows that are written, so that each of their pages is met but once. Pixels of a byte are faster in
// narrow tiles along the rows that are read: of those, a band of cache lines serves four tiles.
template <class Done>
int32_t transpose(TransposeTile tile, int32_t nBits, const Rows& src, const Rows& dst, size_t nRows, size_t nCols,
                  Done&& done) noexcept {
    const auto bytes = [nBits](size_t n) { return n / 8 * size_t(nBits); };
    const size_t nBand = nBits == 8 ? kTileRows : nRows, nMostCols = nBits == 8 ? kTileBytes : kTileCols;
    for (size_t y = 0; y < nRows; y += nBand) {
        const size_t nEnd = std::min(y + nBand, nRows);
        for (size_t x = 0; x < nCols; x += nMostCols) {
            const size_t nTileCols = std::min(nMostCols, nCols - x);
            for (size_t i = y; i < nEnd; i += kTileRows) {
                const size_t nTileRows = std::min(kTileRows, nEnd - i);
                tile(src.row(i) + bytes(x), src.nStep, dst.row(x) + bytes(i), dst.nStep, nTileRows, nTileCols);
                if (const int32_t n = done(double(nTileRows) * double(nTileCols)); n != 1) return n;
            }
        }
    }
    return 1;
}

// How many rows, in whole bytes of pixels, are worked at one time in nBytes.
int32_t rowsIn(uint64_t nBytes, uint64_t nLine, int32_t nAll) noexcept {
    return int32_t(std::min(std::max<uint64_t>(nBytes / nLine / 8 * 8, 8), uint64_t(uint32_t(nAll))));
}

// The rows of the source in the order of the columns that they become.
class SourceRows {
    BITMAPRECORD& m_bm;
    const bool m_bUp, m_bFlat;
    int32_t m_nBlock;
    Buffer<uint8_t> m_buffer;

public:
    SourceRows(BITMAPRECORD& bm, bool bUp) noexcept
        : m_bm(bm),
          m_bUp(bUp),
          m_bFlat(flatRow(bm, 0) != nullptr),
          m_nBlock(m_bFlat ? bm.Height : rowsIn(kBlockBytes, bm.BytesPerLine, bm.Height)) {}

    bool allocate() noexcept { return m_bFlat || m_buffer.allocate(uint64_t(uint32_t(m_nBlock)) * m_bm.BytesPerLine); }
    int32_t blockRows() const noexcept { return m_nBlock; }

    // n rows from number i on, from column nCol, which starts on a byte, to nEnd. 1, or a status.
    int32_t read(int32_t i, int32_t n, int32_t nCol, int32_t nEnd, Rows& rows) noexcept {
        const size_t nLine = m_bm.BytesPerLine, nAt = size_t(columnByte(nCol, m_bm.BitsPerPixel));
        if (m_bFlat) {
            rows = Rows::of(m_bm.pData, nLine, m_bm.Height, m_bUp);
            rows.p = rows.row(size_t(i)) + nAt;
            return 1;
        }
        rows = {m_buffer.get() + nAt, ptrdiff_t(nLine)};
        // Strips count columns in a way of their own.
        const bool bWhole = m_bm.Flags & BMF_SUPERCOMPRESSED;
        const size_t nFirst = bWhole ? 0 : nAt;
        const size_t nBytes = bWhole ? nLine : size_t(packedBytes(uint32_t(nEnd), uint32_t(m_bm.BitsPerPixel))) - nAt;
        for (int32_t k = 0; k < n; ++k) {
            const int32_t nRow = m_bUp ? m_bm.Height - 1 - i - k : i + k;
            uint8_t* const p = m_buffer.get() + nLine * size_t(k) + nFirst;
            if (const int32_t nRead = readRow(m_bm, p, nRow, uint32_t(nBytes), bWhole ? 0 : nCol); nRead < 0)
                return nRead;
        }
        return 1;
    }
};

// The rows of the destination in the order of the columns that they were.
class DestRows {
    BITMAPRECORD& m_bm;
    const bool m_bUp, m_bFlat;
    int32_t m_nBand;
    Buffer<uint8_t> m_buffer;

public:
    DestRows(BITMAPRECORD& bm, bool bUp) noexcept
        : m_bm(bm),
          m_bUp(bUp),
          m_bFlat(flatRow(bm, 0) != nullptr),
          m_nBand(m_bFlat ? bm.Height : rowsIn(kBandBytes, bm.BytesPerLine, bm.Height)) {}

    // Clear, since tiles need not write what is behind the last pixel.
    bool allocate() noexcept {
        return m_bFlat || m_buffer.allocateCleared(uint64_t(uint32_t(m_nBand)) * m_bm.BytesPerLine);
    }
    int32_t bandRows() const noexcept { return m_nBand; }

    // Where the rows from number i on go.
    Rows place(int32_t i) const noexcept {
        const size_t nLine = m_bm.BytesPerLine;
        if (!m_bFlat) return {m_buffer.get(), ptrdiff_t(nLine)};
        Rows rows = Rows::of(m_bm.pData, nLine, m_bm.Height, m_bUp);
        rows.p = rows.row(size_t(i));
        return rows;
    }
    // Stores n rows from number i on. 1, or a status.
    int32_t write(int32_t i, int32_t n) noexcept {
        if (m_bFlat) return 1;
        for (int32_t k = 0; k < n; ++k) {
            const int32_t nRow = m_bUp ? m_bm.Height - 1 - i - k : i + k;
            const uint8_t* const p = m_buffer.get() + size_t(m_bm.BytesPerLine) * size_t(k);
            if (const int32_t nStatus = putWholeRow(m_bm, p, nRow); nStatus != 1) return nStatus;
        }
        return 1;
    }
};

int32_t turnRows(BITMAPRECORD& dst, BITMAPRECORD& src, bool bUp, ProgressShare& progress) noexcept {
    const TransposeTile tile = bestTranspose(src.BitsPerPixel);
    SourceRows from(src, bUp);
    DestRows to(dst, !bUp);
    if (!from.allocate() || !to.allocate()) return -1;
    double dDone = 0;
    for (int32_t x = 0; x < src.Width; x += to.bandRows()) {
        const int32_t nCols = std::min(to.bandRows(), src.Width - x);
        for (int32_t y = 0; y < src.Height; y += from.blockRows()) {
            const int32_t nRows = std::min(from.blockRows(), src.Height - y);
            Rows block, place = to.place(x);
            if (const int32_t n = from.read(y, nRows, x, x + nCols, block); n != 1) return n;
            place.p += columnByte(y, src.BitsPerPixel);
            const int32_t n = transpose(tile, src.BitsPerPixel, block, place, size_t(nRows), size_t(nCols),
                                        [&](double dPixels) { return progress.done(dDone += dPixels); });
            if (n != 1) return n;
        }
        if (const int32_t n = to.write(x, nCols); n != 1) return n;
    }
    return 1;
}

// A bitmap like bm with sides exchanged; bExpand: of the class that it would be without compression.
int32_t duplicateTurned(BITMAPRECORD& turned, BITMAPRECORD& bm, bool bExpand) noexcept {
    const uint32_t uFlags = bm.Flags;
    if (bExpand) bm.Flags &= ~uint32_t(BMF_COMPRESSED);
    const int32_t n =
        R_DupBitmapNewDim(&turned, &bm, bm.uStructSize, bm.Height, bm.Width, bm.BitsPerPixel, kDuplicateShared);
    bm.Flags = uFlags;
    if (n != 1) return n;
    turned.XResolution = bm.YResolution;
    turned.YResolution = bm.XResolution;
    return 1;
}

}  // namespace

int32_t turnAttachments(BITMAPRECORD& turned, BITMAPRECORD& bm, int32_t nRegionAngle, int32_t nOverlayAngle) noexcept {
    const Attachments& hooks = attachments();
    int32_t nStatus = hooks.rotateRegion(turned, bm.Width, bm.Height, nRegionAngle);
    bm.pRgnInfo = turned.pRgnInfo;
    if (nStatus != 1) return nStatus;
    nStatus = hooks.rotateOverlays(turned, bm.Width, bm.Height, nOverlayAngle);
    bm.pOverlays = turned.pOverlays;
    if (nStatus != 1) hooks.rotateRegion(bm, turned.Width, turned.Height, -nRegionAngle);
    return nStatus;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_RotateBitmap90(BITMAPRECORD* pBitmap, int32_t bClockwise, int32_t nStart, int32_t nEnd) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    BITMAPRECORD& bm = *pBitmap;
    const bool bExpand =
        (bm.Flags & BMF_COMPRESSED) && uint64_t(bm.BytesPerLine) * uint32_t(bm.Height) <= kMostExpanded;
    const bool bUp = (bClockwise != 0) != isMirrored(bm);
    BITMAPRECORD turned;
    int32_t nStatus = duplicateTurned(turned, bm, bExpand);
    if (nStatus != 1 && bExpand) nStatus = duplicateTurned(turned, bm, false);
    if (nStatus != 1) return nStatus;
    return replaceByTurned(turned, bm, bClockwise ? 9000 : -9000, bClockwise ? 9000 : 27000, [&]() noexcept {
        ProgressShare progress(bm.Height, double(bm.Width) * bm.Height, nStart, nEnd);
        if (const int32_t n = progress.start(); n != 1) return n;
        const bool bLists = turned.Flags & bm.Flags & BMF_COMPRESSED;
        return bLists ? turnRunLists(turned, bm, bUp, progress) : turnRows(turned, bm, bUp, progress);
    });
}

int32_t R_RotateBuffer90(const uint8_t* pSource, uint8_t* pDest, int32_t bClockwise, int32_t nWidth, int32_t nHeight,
                         int32_t nBitsPerPixel) noexcept {
    if (!pSource || !pDest || nWidth < 0 || nHeight < 0 || !isKnownDepth(nBitsPerPixel)) return -13;
    if (nWidth == 0 || nHeight == 0) return 1;
    const auto nBits = uint32_t(nBitsPerPixel);
    const Rows src =
        Rows::of(const_cast<uint8_t*>(pSource), size_t(rowBytes(uint32_t(nWidth), nBits)), nHeight, bClockwise != 0);
    const Rows dst = Rows::of(pDest, size_t(rowBytes(uint32_t(nHeight), nBits)), nWidth, bClockwise == 0);
    return transpose(bestTranspose(nBitsPerPixel), nBitsPerPixel, src, dst, size_t(nHeight), size_t(nWidth),
                     [](double) { return 1; });
}

}  // extern "C"
